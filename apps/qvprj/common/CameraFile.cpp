// Cameras that a person describes in a JSON file.
#include "common/CameraFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string_view>
#include <system_error>

#include "common/Failure.h"
#include "qvfd/Text.h"

namespace qvapp {
namespace {

using nlohmann::json;

constexpr const char* kRemedy = "correct the camera file";

/// In the order of `CameraInfo::distortion`.
constexpr std::array<const char*, 10> kCoefficients = {"k1",    "k2",   "k3", "p1", "p2",
                                                       "alpha", "beta", "n1", "n2", "n3"};

constexpr std::array<const char*, 10> kOtherKeys = {
    "id", "name", "width", "height", "ccdwidth", "ccdheight", "focallength", "x0", "y0", "distortion_type"};

std::string ReadText(const std::string& path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) {
    throw Failure(path, "is a folder, not a camera file", "name the JSON file in it");
  }
  errno = 0;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
  if (file == nullptr) {
    throw Failure(
        path, errno == ENOENT ? "no such file" : "cannot be read: " + std::generic_category().message(errno),
        "check the path of the camera file");
  }
  constexpr std::size_t kLargest = std::size_t{1} << 20U;
  std::string text(kLargest + 1, '\0');
  text.resize(std::fread(text.data(), 1, text.size(), file.get()));
  if (text.size() > kLargest) {
    throw Failure(path, "is larger than 1 MiB: not a camera file", "give a JSON file with cameras");
  }
  return text;
}

/// Notes what the parser has seen, for messages that name the key, and finds keys that are there twice (the
/// parser would silently keep the last one).
class KeyWatch {
 public:
  explicit KeyWatch(const std::string& path) : path_(path) {}

  void Note(json::parse_event_t event, const json& parsed) {
    if (event == json::parse_event_t::object_start) {
      open_.emplace_back();
    } else if (event == json::parse_event_t::object_end) {
      open_.pop_back();
    } else if (event == json::parse_event_t::key) {
      last_ = parsed.get<std::string>();
      if (!open_.back().insert(last_).second) {
        throw Failure(path_, "key '" + last_ + "' is there twice", kRemedy);
      }
    }
  }

  [[nodiscard]] const std::string& Last() const { return last_; }

 private:
  const std::string& path_;
  std::vector<std::set<std::string>> open_;
  std::string last_;
};

/// "line 3, column 5" of the byte `position`, counted from 1.
std::string PlaceIn(std::string_view text, std::size_t position) {
  const std::string_view before = text.substr(0, position > 0 ? position - 1 : 0);
  std::size_t line = 1;
  std::size_t column = 1;
  for (const char c : before) {
    line += c == '\n' ? 1U : 0U;
    column = c == '\n' ? 1 : column + 1;
  }
  return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

json Parse(const std::string& path, const std::string& text) {
  KeyWatch keys(path);
  try {
    return json::parse(text, [&keys](int /*depth*/, json::parse_event_t event, json& parsed) {
      keys.Note(event, parsed);
      return true;
    });
  } catch (const json::parse_error& error) {
    throw Failure(path, "not JSON: unexpected text at " + PlaceIn(text, error.byte), kRemedy);
  } catch (const json::out_of_range&) {
    throw Failure(path, "key '" + keys.Last() + "' is no finite number", kRemedy);
  }
}

/// One camera object, with the words that name it in a message.
class CameraReader {
 public:
  CameraReader(const std::string& path, std::string label, const json& object)
      : path_(path), label_(std::move(label)), object_(object) {}

  [[nodiscard]] qvfd::CameraInfo Read() const {
    RequireKnownKeys();
    qvfd::CameraInfo camera;
    camera.id = Integer("id", 0);
    camera.name = Name();
    camera.width = PositiveInteger("width");
    camera.height = PositiveInteger("height");
    camera.ccdwidth = PositiveReal("ccdwidth");
    camera.ccdheight = PositiveReal("ccdheight");
    camera.focallength = PositiveReal("focallength");
    camera.x0 = Real("x0", camera.x0);
    camera.y0 = Real("y0", camera.y0);
    camera.distortion_type = Integer("distortion_type", camera.distortion_type);
    for (std::size_t i = 0; i < kCoefficients.size(); ++i) {
      camera.distortion[i] = Real(kCoefficients[i], 0.0);
    }
    camera.pixel_size_x = camera.ccdwidth / camera.width;
    camera.pixel_size_y = camera.ccdheight / camera.height;
    return camera;
  }

 private:
  [[noreturn]] void Fail(const std::string& problem) const {
    throw Failure(path_, label_ + problem, kRemedy);
  }

  [[noreturn]] void FailAt(const std::string& key, const std::string& problem) const {
    Fail("key '" + key + "' " + problem);
  }

  void RequireKnownKeys() const {
    if (!object_.is_object()) {
      Fail("a camera is an object in braces");
    }
    for (const auto& item : object_.items()) {
      const auto isKey = [&item](const char* key) { return item.key() == key; };
      if (std::none_of(kOtherKeys.begin(), kOtherKeys.end(), isKey) &&
          std::none_of(kCoefficients.begin(), kCoefficients.end(), isKey)) {
        FailAt(item.key(), "is not known");
      }
    }
  }

  [[nodiscard]] const json& Required(const char* key) const {
    const auto found = object_.find(key);
    if (found == object_.end()) {
      FailAt(key, "is missing");
    }
    return *found;
  }

  [[nodiscard]] int Integer(const char* key, int otherwise) const {
    return object_.contains(key) ? ToInteger(key, object_[key]) : otherwise;
  }

  [[nodiscard]] double Real(const char* key, double otherwise) const {
    return object_.contains(key) ? ToReal(key, object_[key]) : otherwise;
  }

  [[nodiscard]] int PositiveInteger(const char* key) const {
    const int value = ToInteger(key, Required(key));
    if (value <= 0) {
      FailAt(key, "must be above 0");
    }
    return value;
  }

  [[nodiscard]] double PositiveReal(const char* key) const {
    const double value = ToReal(key, Required(key));
    if (!(value > 0.0)) {
      FailAt(key, "must be above 0");
    }
    return value;
  }

  [[nodiscard]] int ToInteger(const char* key, const json& value) const {
    constexpr int kMost = std::numeric_limits<int>::max();
    if (!value.is_number_integer()) {
      FailAt(key, "must be a whole number");
    }
    const bool tooLarge = value.is_number_unsigned() && value.get<std::uint64_t>() > std::uint64_t{kMost};
    if (tooLarge || value.get<std::int64_t>() < std::numeric_limits<int>::min()) {
      FailAt(key, "is out of range");
    }
    return value.get<int>();
  }

  [[nodiscard]] double ToReal(const char* key, const json& value) const {
    if (!value.is_number()) {
      FailAt(key, "must be a number");
    }
    const auto number = value.get<double>();
    if (!std::isfinite(number)) {
      FailAt(key, "is no finite number");
    }
    return number;
  }

  [[nodiscard]] std::string Name() const {
    if (!object_.contains("name")) {
      return {};
    }
    if (!object_["name"].is_string()) {
      FailAt("name", "must be text");
    }
    const auto name = object_["name"].get<std::string>();
    if (name.find('\0') != std::string::npos) {
      FailAt("name", "must not hold a NUL character");
    }
    return qvfd::StringConverter::FromUTF8(name);
  }

  const std::string& path_;
  std::string label_;
  const json& object_;
};

}  // namespace

std::vector<qvfd::CameraInfo> ReadCameraFile(const std::string& path) {
  const json document = Parse(path, ReadText(path));
  if (!document.is_array()) {
    return {CameraReader(path, "", document).Read()};
  }
  if (document.empty()) {
    throw Failure(path, "holds no camera", "add one, or leave --camera out");
  }
  std::vector<qvfd::CameraInfo> cameras;
  std::set<int> ids;
  for (const json& object : document) {
    const std::string label = "camera " + std::to_string(cameras.size() + 1) + ": ";
    cameras.push_back(CameraReader(path, label, object).Read());
    const int id = cameras.back().id;
    if (!ids.insert(id).second) {
      throw Failure(path, label + "key 'id' is " + std::to_string(id) + " as for an earlier camera", kRemedy);
    }
  }
  return cameras;
}

}  // namespace qvapp
