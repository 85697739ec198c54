// Texts with one image a line: its position and its angles.
#include "interchange/formats/OrientationText.h"

#include <algorithm>

#include "interchange/Failure.h"
#include "interchange/text/TextFile.h"

namespace interchange {
namespace {

constexpr std::size_t kNumbers = 6;

Failure NoLine(const std::string& path, const Lines& lines, const std::string& form) {
  return {LineOf(path, lines.Number()), "is not of the form '" + form + "'", "check the file"};
}

std::vector<double> NumbersOf(const std::vector<std::string>& fields, std::size_t from) {
  std::vector<double> numbers;
  for (std::size_t i = from; i < fields.size(); ++i) {
    const auto number = NumberOf(fields[i]);
    if (!number) {
      break;
    }
    numbers.push_back(*number);
  }
  return numbers;
}

/// The position and, behind it, the angles.
void Take(const std::vector<double>& numbers, OrientationLine& line) {
  line.x = numbers[0];
  line.y = numbers[1];
  line.z = numbers[2];
  if (numbers.size() >= kNumbers) {
    std::copy_n(numbers.begin() + 3, 3, line.angles);
    line.has_angles = true;
  }
}

std::string Joined(const OrientationLine& line, char separator, const std::string& name) {
  std::string text = name;
  for (const double number : {line.x, line.y, line.z}) {
    text += separator + TextOf(number);
  }
  if (line.has_angles) {
    for (const double angle : line.angles) {
      text += separator + TextOf(angle);
    }
  }
  return text + "\n";
}

}  // namespace

std::vector<OrientationLine> ReadOpkText(const std::string& path) {
  constexpr const char* kForm = "name X Y Z Omega Phi Kappa";
  const std::string text = ReadWholeFile(path);
  std::vector<OrientationLine> made;
  Lines lines(text);
  while (const auto raw = lines.Next()) {
    const std::string_view line = Trimmed(*raw);
    if (line.empty() || line.front() == '#') {
      continue;
    }
    const char separator = SeparatorOf(line);
    const std::vector<std::string> fields = Fields(line, separator);
    const std::vector<double> numbers =
        fields.size() > kNumbers ? NumbersOf(fields, fields.size() - kNumbers) : std::vector<double>();
    if (numbers.size() != kNumbers) {
      if (made.empty() && LowerCase(line).find("omega") != std::string::npos) {
        continue;  // a first line that names the columns
      }
      throw NoLine(path, lines, kForm);
    }
    OrientationLine& entry = made.emplace_back();
    entry.name = fields[0];
    if (separator == ' ') {
      // What is before the numbers, blanks and all.
      const std::vector<std::string_view> words = Words(line);
      const char* const numbersBegin = words[words.size() - kNumbers].data();
      entry.name = Trimmed(line.substr(0, static_cast<std::size_t>(numbersBegin - line.data())));
    }
    Take(numbers, entry);
  }
  return made;
}

void WriteOpkText(const std::string& path, const std::vector<OrientationLine>& lines) {
  std::string text = "# imageName X Y Z Omega Phi Kappa\n";
  for (const OrientationLine& line : lines) {
    text += Joined(line, ' ', line.name);
  }
  WriteWholeFile(path, text);
}

std::vector<OrientationLine> ReadYprText(const std::string& path) {
  constexpr const char* kForm = "name,c1,c2,z,yaw,pitch,roll";
  const std::string text = ReadWholeFile(path);
  std::vector<OrientationLine> made;
  Lines lines(text);
  while (const auto raw = lines.Next()) {
    const std::string_view line = Trimmed(*raw);
    if (line.empty() || line.front() == '#') {
      continue;
    }
    const std::vector<std::string> fields = Fields(line, SeparatorOf(line));
    const std::vector<double> numbers = NumbersOf(fields, 1);
    if (numbers.size() < 3) {
      if (made.empty() && lines.Number() == 1) {
        continue;  // it names the columns
      }
      throw NoLine(path, lines, kForm);
    }
    OrientationLine& entry = made.emplace_back();
    entry.name = fields[0];
    Take(numbers, entry);
    if (numbers.size() >= kNumbers + 2) {
      entry.horizontal_accuracy = numbers[kNumbers];
      entry.vertical_accuracy = numbers[kNumbers + 1];
    }
  }
  return made;
}

void WriteYprText(const std::string& path, const std::vector<OrientationLine>& lines) {
  std::string text = "name,c1,c2,z,yaw,pitch,roll\n";
  for (const OrientationLine& line : lines) {
    text += Joined(line, ',', QuotedField(line.name));
  }
  WriteWholeFile(path, text);
}

}  // namespace interchange
