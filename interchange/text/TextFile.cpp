// Text files: whole files in and out, lines, fields and numbers, whatever the locale.
#include "interchange/text/TextFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "interchange/Failure.h"

namespace fs = std::filesystem;

namespace interchange {
namespace {

bool IsBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

std::string Reason(int error) {
  return error == 0 ? "unknown reason" : std::generic_category().message(error);
}

}  // namespace

std::string ReadWholeFile(const std::string& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (!fs::exists(status)) {
    throw Failure(path, "no such file", "check the path");
  }
  if (!fs::is_regular_file(status)) {
    throw Failure(path, "is no regular file", "name a file");
  }
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  const auto size = fs::file_size(path, error);
  std::string bytes(error ? 0 : size, '\0');
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (error || !file || file.gcount() != static_cast<std::streamsize>(bytes.size())) {
    throw Failure(path, "cannot be read: " + Reason(errno), "check its permissions and the disk");
  }
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  if (std::string_view(bytes).substr(0, kMark.size()) == kMark) {
    bytes.erase(0, kMark.size());
  }
  return bytes;
}

void WriteWholeFile(const std::string& path, std::string_view bytes) {
  const std::string made = path + ".part";
  errno = 0;
  {
    std::ofstream file(made, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) {
      const int reason = errno;
      std::error_code ignored;
      fs::remove(made, ignored);
      throw Failure(path, "cannot be written: " + Reason(reason), "make room, or choose another place");
    }
  }
  std::error_code error;
  fs::rename(made, path, error);
  if (error) {
    std::error_code ignored;
    fs::remove(made, ignored);
    throw Failure(path, "cannot be written: " + error.message(), "choose another place");
  }
}

void MakeFolder(const std::string& path) {
  std::error_code error;
  fs::create_directories(path, error);
  if (error || !fs::is_directory(path, error)) {
    throw Failure(path, "the folder cannot be made" + (error ? ": " + error.message() : std::string()),
                  "choose another place");
  }
}

std::string PathIn(const std::string& folder, const std::string& name) {
  return (fs::path(folder) / name).string();
}

bool IsFolder(const std::string& path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

bool IsFile(const std::string& path) {
  std::error_code error;
  return fs::is_regular_file(path, error);
}

std::string FileNameOf(const std::string& path) {
  const fs::path p(path);
  return (p.has_filename() ? p.filename() : p.parent_path().filename()).string();
}

std::string TitleOf(const std::string& path) {
  return fs::path(FileNameOf(path)).stem().string();
}

std::optional<std::string_view> Lines::Next() {
  if (rest_.empty()) {
    return std::nullopt;
  }
  ++number_;
  const std::size_t end = rest_.find('\n');
  std::string_view line = rest_.substr(0, end);
  rest_ = end == std::string_view::npos ? std::string_view() : rest_.substr(end + 1);
  if (!line.empty() && line.back() == '\r') {
    line.remove_suffix(1);
  }
  return line;
}

std::string LineOf(const std::string& path, std::size_t number) {
  return path + " line " + std::to_string(number);
}

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && IsBlank(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

std::string LowerCase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return lower;
}

std::vector<std::string_view> Words(std::string_view line) {
  std::vector<std::string_view> words;
  std::size_t at = 0;
  while (true) {
    while (at < line.size() && IsBlank(line[at])) {
      ++at;
    }
    if (at == line.size()) {
      return words;
    }
    const std::size_t start = at;
    while (at < line.size() && !IsBlank(line[at])) {
      ++at;
    }
    words.push_back(line.substr(start, at - start));
  }
}

std::vector<std::string> Fields(std::string_view line, char separator) {
  std::vector<std::string> fields;
  if (separator == ' ') {
    for (const std::string_view word : Words(line)) {
      fields.emplace_back(word);
    }
    return fields;
  }
  std::size_t at = 0;
  while (true) {
    while (at < line.size() && line[at] != separator && IsBlank(line[at])) {
      ++at;
    }
    std::string field;
    if (at < line.size() && line[at] == '"') {
      for (++at; at < line.size(); ++at) {
        if (line[at] != '"') {
          field += line[at];
        } else if (at + 1 < line.size() && line[at + 1] == '"') {
          field += line[++at];
        } else {
          ++at;
          break;
        }
      }
      at = std::min(line.find(separator, at), line.size());
    } else {
      const std::size_t end = std::min(line.find(separator, at), line.size());
      field = Trimmed(line.substr(at, end - at));
      at = end;
    }
    fields.push_back(std::move(field));
    if (at == line.size()) {
      return fields;
    }
    ++at;
  }
}

std::string QuotedField(const std::string& text) {
  if (text.find_first_of(",\"\n") == std::string::npos) {
    return text;
  }
  std::string quoted = "\"";
  for (const char c : text) {
    quoted.append(c == '"' ? 2 : 1, c);
  }
  return quoted + '"';
}

char SeparatorOf(std::string_view line) {
  for (const char separator : {'\t', ';', ','}) {
    bool quoted = false;
    for (const char c : line) {
      quoted = quoted != (c == '"');
      if (c == separator && !quoted) {
        return separator;
      }
    }
  }
  return ' ';
}

std::optional<double> NumberOf(std::string_view text) {
  text = Trimmed(text);
  if (!text.empty() && text.front() == '+') {
    text.remove_prefix(1);
  }
  if (text.empty() ||
      !(text.front() == '-' || text.front() == '.' || (text.front() >= '0' && text.front() <= '9'))) {
    return std::nullopt;  // from_chars takes "inf" and "nan" for numbers
  }
  double value = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value - value != 0.0) {
    return std::nullopt;
  }
  return value;
}

std::optional<long long> IntegerOf(std::string_view text) {
  text = Trimmed(text);
  if (!text.empty() && text.front() == '+') {
    text.remove_prefix(1);
  }
  long long value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return value;
}

std::string TextOf(double value) {
  std::array<char, 40> buffer{};
  return {buffer.data(), std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr};
}

std::string TextOf(double value, int decimals) {
  std::array<char, 400> buffer{};
  char* const end =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::fixed, decimals)
          .ptr;
  return {buffer.data(), end};
}

}  // namespace interchange
