// OpenDroneMap's geo.txt and gcp_list.txt.
#include "interchange/formats/OdmText.h"

#include "interchange/Failure.h"
#include "interchange/text/TextFile.h"

namespace interchange {
namespace {

/// The first line that is neither empty nor a remark: the coordinate system.
std::string TakeSystem(const std::string& path, Lines& lines) {
  while (const auto line = lines.Next()) {
    const std::string_view text = Trimmed(*line);
    if (!text.empty() && text.front() != '#') {
      return std::string(text);
    }
  }
  throw Failure(path, "is empty: its first line should name the coordinate system", "check the file");
}

std::vector<std::string_view> TakeWords(std::string_view line) {
  line = Trimmed(line);
  return line.empty() || line.front() == '#' ? std::vector<std::string_view>() : Words(line);
}

Failure NoLine(const std::string& path, const Lines& lines, const char* form) {
  return {LineOf(path, lines.Number()), std::string("is not of the form '") + form + "'", "check the file"};
}

void RequireOneWord(const std::string& name, const std::string& path) {
  if (Words(name).size() != 1) {
    throw Failure(path, "cannot hold the name '" + name + "': a name there has no blanks",
                  "give it another name");
  }
}

}  // namespace

GeoText ReadGeoText(const std::string& path) {
  constexpr const char* kForm = "name x y [z] [yaw pitch roll] [accuracies]";
  const std::string bytes = ReadWholeFile(path);
  GeoText made;
  Lines lines(bytes);
  made.system = TakeSystem(path, lines);
  while (const auto line = lines.Next()) {
    const std::vector<std::string_view> words = TakeWords(*line);
    if (words.empty()) {
      continue;
    }
    std::vector<std::optional<double>> numbers;
    for (std::size_t i = 1; i < words.size(); ++i) {
      numbers.push_back(NumberOf(words[i]));
      // Angles that are not known are written as nan.
      if (!numbers.back() && LowerCase(words[i]) != "nan") {
        throw NoLine(path, lines, kForm);
      }
    }
    if (numbers.size() < 2 || !numbers[0] || !numbers[1]) {
      throw NoLine(path, lines, kForm);
    }
    OrientationLine& image = made.images.emplace_back();
    image.name = words[0];
    image.x = *numbers[0];
    image.y = *numbers[1];
    const bool height = numbers.size() > 2 && numbers[2];
    image.z = height ? *numbers[2] : 0.0;
    made.has_height.push_back(height);
    if (numbers.size() >= 6 && numbers[3] && numbers[4] && numbers[5]) {
      for (std::size_t i = 0; i < 3; ++i) {
        image.angles[i] = *numbers[3 + i];
      }
      image.has_angles = true;
    }
    if (numbers.size() >= 8) {
      image.horizontal_accuracy = numbers[6];
      image.vertical_accuracy = numbers[7];
    }
  }
  return made;
}

void WriteGeoText(const std::string& path, const GeoText& text) {
  std::string bytes = text.system + "\n";
  for (const OrientationLine& image : text.images) {
    RequireOneWord(image.name, path);
    bytes += image.name + " " + TextOf(image.x) + " " + TextOf(image.y) + " " + TextOf(image.z);
    if (image.has_angles) {
      for (const double angle : image.angles) {
        bytes += " " + TextOf(angle);
      }
    }
    bytes += "\n";
  }
  WriteWholeFile(path, bytes);
}

GcpList ReadGcpList(const std::string& path) {
  constexpr const char* kForm = "x y z column row image [name]";
  const std::string bytes = ReadWholeFile(path);
  GcpList made;
  Lines lines(bytes);
  made.system = TakeSystem(path, lines);
  while (const auto line = lines.Next()) {
    const std::vector<std::string_view> words = TakeWords(*line);
    if (words.empty()) {
      continue;
    }
    GcpObservation observation;
    double* const places[] = {&observation.x, &observation.y, &observation.z, &observation.column,
                              &observation.row};
    for (std::size_t i = 0; i < std::size(places); ++i) {
      const auto number = i < words.size() ? NumberOf(words[i]) : std::nullopt;
      if (!number || words.size() < 6) {
        throw NoLine(path, lines, kForm);
      }
      *places[i] = *number;
    }
    observation.image = words[5];
    observation.point = words.size() > 6 ? words[6] : "";
    made.observations.push_back(std::move(observation));
  }
  return made;
}

void WriteGcpList(const std::string& path, const GcpList& list) {
  std::string bytes = list.system + "\n";
  for (const GcpObservation& observation : list.observations) {
    RequireOneWord(observation.image, path);
    bytes += TextOf(observation.x) + " " + TextOf(observation.y) + " " + TextOf(observation.z) + " " +
             TextOf(observation.column) + " " + TextOf(observation.row) + " " + observation.image;
    if (!observation.point.empty()) {
      RequireOneWord(observation.point, path);
      bytes += " " + observation.point;
    }
    bytes += "\n";
  }
  WriteWholeFile(path, bytes);
}

}  // namespace interchange
