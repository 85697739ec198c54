// COLMAP's sparse model: three files in a folder, binary or text.
#include "interchange/formats/ColmapModel.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "interchange/Failure.h"
#include "interchange/formats/ByteCursor.h"
#include "interchange/text/TextFile.h"

namespace interchange {
namespace {

constexpr std::array kModels = {
    ColmapCameraModel{0, "SIMPLE_PINHOLE", "f cx cy", 3},
    ColmapCameraModel{1, "PINHOLE", "fx fy cx cy", 4},
    ColmapCameraModel{2, "SIMPLE_RADIAL", "f cx cy k", 4},
    ColmapCameraModel{3, "RADIAL", "f cx cy k1 k2", 5},
    ColmapCameraModel{4, "OPENCV", "fx fy cx cy k1 k2 p1 p2", 8},
    ColmapCameraModel{5, "OPENCV_FISHEYE", "fx fy cx cy k1 k2 k3 k4", 8},
    ColmapCameraModel{6, "FULL_OPENCV", "fx fy cx cy k1 k2 p1 p2 k3 k4 k5 k6", 12},
    ColmapCameraModel{7, "FOV", "fx fy cx cy omega", 5},
    ColmapCameraModel{8, "SIMPLE_RADIAL_FISHEYE", "f cx cy k", 4},
    ColmapCameraModel{9, "RADIAL_FISHEYE", "f cx cy k1 k2", 5},
    ColmapCameraModel{10, "THIN_PRISM_FISHEYE", "fx fy cx cy k1 k2 p1 p2 k3 k4 sx1 sy1", 12},
};

// ---- binary
// ------------------------------------------------------------------------------------------------

std::vector<ColmapCamera> ReadBinaryCameras(const std::string& path) {
  const std::string bytes = ReadWholeFile(path);
  ByteCursor cursor(bytes, path);
  std::vector<ColmapCamera> cameras(cursor.TakeCount(4 + 4 + 8 + 8));
  for (ColmapCamera& camera : cameras) {
    camera.id = cursor.Take<std::uint32_t>();
    camera.model = cursor.Take<std::int32_t>();
    camera.width = cursor.Take<std::uint64_t>();
    camera.height = cursor.Take<std::uint64_t>();
    const ColmapCameraModel* const model = FindColmapCameraModel(camera.model);
    if (model == nullptr) {
      throw Failure(path,
                    "camera " + std::to_string(camera.id) + " has the model " + std::to_string(camera.model) +
                        ", which is not known here, so that nothing behind it can be read",
                    "take it over with a model such as OPENCV");
    }
    camera.parameters.resize(model->parameter_count);
    for (double& parameter : camera.parameters) {
      parameter = cursor.Take<double>();
    }
  }
  cursor.RequireEnd();
  return cameras;
}

std::vector<ColmapImage> ReadBinaryImages(const std::string& path) {
  const std::string bytes = ReadWholeFile(path);
  ByteCursor cursor(bytes, path);
  std::vector<ColmapImage> images(cursor.TakeCount(4 + 7 * 8 + 4 + 1 + 8));
  for (ColmapImage& image : images) {
    image.id = cursor.Take<std::uint32_t>();
    for (double* value : {&image.rotation.w, &image.rotation.x, &image.rotation.y, &image.rotation.z,
                          &image.translation.x, &image.translation.y, &image.translation.z}) {
      *value = cursor.Take<double>();
    }
    image.camera = cursor.Take<std::uint32_t>();
    image.name = cursor.TakeText();
    image.points.resize(cursor.TakeCount(8 + 8 + 8));
    for (ColmapImagePoint& point : image.points) {
      point.x = cursor.Take<double>();
      point.y = cursor.Take<double>();
      point.point = cursor.Take<std::uint64_t>();
    }
  }
  cursor.RequireEnd();
  return images;
}

std::vector<ColmapPoint> ReadBinaryPoints(const std::string& path) {
  const std::string bytes = ReadWholeFile(path);
  ByteCursor cursor(bytes, path);
  std::vector<ColmapPoint> points(cursor.TakeCount(8 + 3 * 8 + 3 + 8 + 8));
  for (ColmapPoint& point : points) {
    point.id = cursor.Take<std::uint64_t>();
    for (double* value : {&point.position.x, &point.position.y, &point.position.z}) {
      *value = cursor.Take<double>();
    }
    for (std::uint8_t& value : point.colour) {
      value = cursor.Take<std::uint8_t>();
    }
    point.error = cursor.Take<double>();
    point.track.resize(cursor.TakeCount(4 + 4));
    for (ColmapPoint::Element& element : point.track) {
      element.image = cursor.Take<std::uint32_t>();
      element.point = cursor.Take<std::uint32_t>();
    }
  }
  cursor.RequireEnd();
  return points;
}

std::string BinaryCameras(const ColmapModel& model) {
  std::string bytes;
  Append(bytes, std::uint64_t{model.cameras.size()});
  for (const ColmapCamera& camera : model.cameras) {
    Append(bytes, camera.id);
    Append(bytes, std::int32_t{camera.model});
    Append(bytes, camera.width);
    Append(bytes, camera.height);
    for (const double parameter : camera.parameters) {
      Append(bytes, parameter);
    }
  }
  return bytes;
}

std::string BinaryImages(const ColmapModel& model) {
  std::string bytes;
  Append(bytes, std::uint64_t{model.images.size()});
  for (const ColmapImage& image : model.images) {
    Append(bytes, image.id);
    for (const double value : {image.rotation.w, image.rotation.x, image.rotation.y, image.rotation.z,
                               image.translation.x, image.translation.y, image.translation.z}) {
      Append(bytes, value);
    }
    Append(bytes, image.camera);
    bytes.append(image.name).push_back('\0');
    Append(bytes, std::uint64_t{image.points.size()});
    for (const ColmapImagePoint& point : image.points) {
      Append(bytes, point.x);
      Append(bytes, point.y);
      Append(bytes, point.point);
    }
  }
  return bytes;
}

std::string BinaryPoints(const ColmapModel& model) {
  std::string bytes;
  Append(bytes, std::uint64_t{model.points.size()});
  for (const ColmapPoint& point : model.points) {
    Append(bytes, point.id);
    for (const double value : {point.position.x, point.position.y, point.position.z}) {
      Append(bytes, value);
    }
    for (const std::uint8_t value : point.colour) {
      Append(bytes, value);
    }
    Append(bytes, point.error);
    Append(bytes, std::uint64_t{point.track.size()});
    for (const ColmapPoint::Element& element : point.track) {
      Append(bytes, element.image);
      Append(bytes, element.point);
    }
  }
  return bytes;
}

// ---- text
// --------------------------------------------------------------------------------------------------

/// The words of a line, read one after the other.
class WordCursor {
 public:
  WordCursor(std::string_view line, std::string where) : words_(Words(line)), where_(std::move(where)) {}

  [[nodiscard]] std::string_view Take() {
    if (next_ == words_.size()) {
      throw Failure(where_, "ends before it is complete", "take a whole copy of the file");
    }
    return words_[next_++];
  }

  [[nodiscard]] double TakeNumber() {
    const std::string_view word = Take();
    const auto number = NumberOf(word);
    if (!number) {
      throw Failure(where_, "'" + std::string(word) + "' is no number", "take a whole copy of the file");
    }
    return *number;
  }

  template <class T>
  [[nodiscard]] T TakeInteger() {
    const std::string_view word = Take();
    T number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || end != word.data() + word.size()) {
      throw Failure(where_, "'" + std::string(word) + "' is no number of the kind that belongs there",
                    "take a whole copy of the file");
    }
    return number;
  }

  /// -1 for none.
  [[nodiscard]] std::uint64_t TakePointId() {
    if (next_ < words_.size() && words_[next_] == "-1") {
      ++next_;
      return kNoColmapPoint;
    }
    return TakeInteger<std::uint64_t>();
  }

  [[nodiscard]] std::size_t Left() const { return words_.size() - next_; }
  [[nodiscard]] const std::string& Where() const { return where_; }

 private:
  std::vector<std::string_view> words_;
  std::string where_;
  std::size_t next_ = 0;
};

/// Whether a line holds a record: it is neither empty nor a remark.
bool IsRecord(std::string_view line) {
  line = Trimmed(line);
  return !line.empty() && line.front() != '#';
}

std::vector<ColmapCamera> ReadTextCameras(const std::string& path) {
  const std::string text = ReadWholeFile(path);
  std::vector<ColmapCamera> cameras;
  Lines lines(text);
  while (const auto line = lines.Next()) {
    if (!IsRecord(*line)) {
      continue;
    }
    WordCursor words(*line, LineOf(path, lines.Number()));
    ColmapCamera& camera = cameras.emplace_back();
    camera.id = words.TakeInteger<std::uint32_t>();
    const std::string_view name = words.Take();
    const ColmapCameraModel* const model = FindColmapCameraModel(name);
    if (model == nullptr) {
      throw Failure(words.Where(), "the camera model '" + std::string(name) + "' is not known here",
                    "take the camera over with a model such as OPENCV");
    }
    camera.model = model->number;
    camera.width = words.TakeInteger<std::uint64_t>();
    camera.height = words.TakeInteger<std::uint64_t>();
    for (std::size_t i = 0; i < model->parameter_count; ++i) {
      camera.parameters.push_back(words.TakeNumber());
    }
  }
  return cameras;
}

std::vector<ColmapImage> ReadTextImages(const std::string& path) {
  const std::string text = ReadWholeFile(path);
  std::vector<ColmapImage> images;
  Lines lines(text);
  while (const auto line = lines.Next()) {
    if (!IsRecord(*line)) {
      continue;
    }
    WordCursor words(*line, LineOf(path, lines.Number()));
    ColmapImage& image = images.emplace_back();
    image.id = words.TakeInteger<std::uint32_t>();
    for (double* value : {&image.rotation.w, &image.rotation.x, &image.rotation.y, &image.rotation.z,
                          &image.translation.x, &image.translation.y, &image.translation.z}) {
      *value = words.TakeNumber();
    }
    image.camera = words.TakeInteger<std::uint32_t>();
    image.name = words.Take();
    // The line behind an image holds its points; it may be empty.
    WordCursor points(lines.Next().value_or(""), LineOf(path, lines.Number()));
    image.points.reserve(points.Left() / 3);
    while (points.Left() > 0) {
      ColmapImagePoint& point = image.points.emplace_back();
      point.x = points.TakeNumber();
      point.y = points.TakeNumber();
      point.point = points.TakePointId();
    }
  }
  return images;
}

std::vector<ColmapPoint> ReadTextPoints(const std::string& path) {
  const std::string text = ReadWholeFile(path);
  std::vector<ColmapPoint> points;
  Lines lines(text);
  while (const auto line = lines.Next()) {
    if (!IsRecord(*line)) {
      continue;
    }
    WordCursor words(*line, LineOf(path, lines.Number()));
    ColmapPoint& point = points.emplace_back();
    point.id = words.TakePointId();
    for (double* value : {&point.position.x, &point.position.y, &point.position.z}) {
      *value = words.TakeNumber();
    }
    for (std::uint8_t& value : point.colour) {
      value = words.TakeInteger<std::uint8_t>();
    }
    point.error = words.TakeNumber();
    while (words.Left() > 0) {
      ColmapPoint::Element& element = point.track.emplace_back();
      element.image = words.TakeInteger<std::uint32_t>();
      element.point = words.TakeInteger<std::uint32_t>();
    }
  }
  return points;
}

void AppendNumber(std::string& text, double value) {
  if (!std::isfinite(value)) {
    throw Failure("the model", "has a number that is infinite or none, which readers of the text form refuse",
                  "write the binary form");
  }
  text.append(TextOf(value)).push_back(' ');
}

void EndLine(std::string& text) {
  if (!text.empty() && text.back() == ' ') {
    text.pop_back();
  }
  text.push_back('\n');
}

std::string TextCameras(const ColmapModel& model) {
  std::string text = "# CAMERA_ID, MODEL, WIDTH, HEIGHT, PARAMS[]\n";
  for (const ColmapCamera& camera : model.cameras) {
    const ColmapCameraModel* const kind = FindColmapCameraModel(camera.model);
    text += std::to_string(camera.id) + " " + std::string(kind == nullptr ? "?" : kind->name) + " " +
            std::to_string(camera.width) + " " + std::to_string(camera.height) + " ";
    for (const double parameter : camera.parameters) {
      AppendNumber(text, parameter);
    }
    EndLine(text);
  }
  return text;
}

std::string TextImages(const ColmapModel& model) {
  std::string text =
      "# IMAGE_ID, QW, QX, QY, QZ, TX, TY, TZ, CAMERA_ID, NAME\n# POINTS2D[] as (X, Y, POINT3D_ID)\n";
  for (const ColmapImage& image : model.images) {
    text += std::to_string(image.id) + " ";
    for (const double value : {image.rotation.w, image.rotation.x, image.rotation.y, image.rotation.z,
                               image.translation.x, image.translation.y, image.translation.z}) {
      AppendNumber(text, value);
    }
    text += std::to_string(image.camera) + " " + image.name + "\n";
    for (const ColmapImagePoint& point : image.points) {
      AppendNumber(text, point.x);
      AppendNumber(text, point.y);
      text += (point.point == kNoColmapPoint ? "-1" : std::to_string(point.point)) + " ";
    }
    EndLine(text);
  }
  return text;
}

std::string TextPoints(const ColmapModel& model) {
  std::string text = "# POINT3D_ID, X, Y, Z, R, G, B, ERROR, TRACK[] as (IMAGE_ID, POINT2D_IDX)\n";
  for (const ColmapPoint& point : model.points) {
    text += std::to_string(point.id) + " ";
    for (const double value : {point.position.x, point.position.y, point.position.z}) {
      AppendNumber(text, value);
    }
    for (const std::uint8_t value : point.colour) {
      text += std::to_string(int{value}) + " ";
    }
    AppendNumber(text, point.error);
    for (const ColmapPoint::Element& element : point.track) {
      text += std::to_string(element.image) + " " + std::to_string(element.point) + " ";
    }
    EndLine(text);
  }
  return text;
}

std::vector<std::string> Write(const std::string& folder, const std::string& extension,
                               const std::string& cameras, const std::string& images,
                               const std::string& points) {
  MakeFolder(folder);
  std::vector<std::string> paths;
  const auto write = [&](const std::string& name, const std::string& bytes) {
    paths.push_back(PathIn(folder, name + extension));
    WriteWholeFile(paths.back(), bytes);
  };
  write("cameras", cameras);
  write("images", images);
  write("points3D", points);
  return paths;
}

}  // namespace

const ColmapCameraModel* FindColmapCameraModel(int number) {
  const auto* const found =
      std::find_if(kModels.begin(), kModels.end(),
                   [number](const ColmapCameraModel& model) { return model.number == number; });
  return found == kModels.end() ? nullptr : found;
}

const ColmapCameraModel* FindColmapCameraModel(std::string_view name) {
  const auto* const found = std::find_if(
      kModels.begin(), kModels.end(), [name](const ColmapCameraModel& model) { return model.name == name; });
  return found == kModels.end() ? nullptr : found;
}

ColmapModel ReadColmapModel(const std::string& folder) {
  const auto path = [&](const char* name) { return PathIn(folder, name); };
  if (IsFile(path("cameras.bin")) && IsFile(path("images.bin"))) {
    return {ReadBinaryCameras(path("cameras.bin")), ReadBinaryImages(path("images.bin")),
            ReadBinaryPoints(path("points3D.bin"))};
  }
  if (IsFile(path("cameras.txt")) && IsFile(path("images.txt"))) {
    return {ReadTextCameras(path("cameras.txt")), ReadTextImages(path("images.txt")),
            ReadTextPoints(path("points3D.txt"))};
  }
  throw Failure(folder, "holds no COLMAP model: cameras, images and points3D, each .bin or .txt",
                "name the folder of a sparse model, often sparse/0");
}

std::vector<std::string> WriteColmapBinary(const std::string& folder, const ColmapModel& model) {
  return Write(folder, ".bin", BinaryCameras(model), BinaryImages(model), BinaryPoints(model));
}

std::vector<std::string> WriteColmapText(const std::string& folder, const ColmapModel& model) {
  for (const ColmapImage& image : model.images) {
    if (Words(image.name).size() != 1) {
      throw Failure("image " + image.name,
                    "its name has a blank or is empty, and readers of the text form cut it there",
                    "write the binary form");
    }
  }
  if (IsFile(PathIn(folder, "cameras.bin"))) {
    throw Failure(folder, "holds a binary model, which readers take before text", "choose another folder");
  }
  return Write(folder, ".txt", TextCameras(model), TextImages(model), TextPoints(model));
}

}  // namespace interchange
