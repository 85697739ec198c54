// What photos say of themselves in EXIF and XMP. The only file that knows the library that reads it.
#include "interchange/formats/PhotoMetadata.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <exception>
#include <exiv2/exiv2.hpp>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "interchange/Failure.h"
#include "interchange/text/TextFile.h"

namespace fs = std::filesystem;

namespace interchange {
namespace {

// Bounds for files from strangers: no photo is larger, no value that is used here longer, no folder fuller.
constexpr std::uintmax_t kLargestFile = std::uintmax_t{4} << 30;
constexpr long kLongestValue = 1'024;
constexpr std::size_t kLongestText = 64;
constexpr std::size_t kMostPhotos = 1'000'000;

constexpr double kFilmDiagonal = 43.267;  // millimetres, of 36 x 24

/// The text of a value; empty where there is none, or it is too long to be one.
std::string TextOfTag(const Exiv2::ExifData& exif, const char* key) {
  const auto found = exif.findKey(Exiv2::ExifKey(key));
  if (found == exif.end() || static_cast<long>(found->size()) > kLongestValue) {
    return {};
  }
  std::string text = found->toString();
  text.resize(std::min(text.size(), text.find('\0')));
  return std::string(Trimmed(text));
}

/// Without control characters, short.
std::string NameOfTag(const Exiv2::ExifData& exif, const char* key) {
  std::string text = TextOfTag(exif, key);
  for (char& c : text) {
    c = static_cast<unsigned char>(c) < ' ' || c == '\x7F' ? '?' : c;
  }
  text.resize(std::min(text.size(), kLongestText));
  return text;
}

/// "4928/100", "41" or "4.5" as a number; none without a value.
std::optional<double> QuotientOf(std::string_view text) {
  const std::size_t slash = text.find('/');
  if (slash == std::string_view::npos) {
    return NumberOf(text);
  }
  const auto top = NumberOf(text.substr(0, slash));
  const auto bottom = NumberOf(text.substr(slash + 1));
  if (!top || !bottom || *bottom == 0.0) {
    return std::nullopt;
  }
  return *top / *bottom;
}

std::optional<double> NumberOfTag(const Exiv2::ExifData& exif, const char* key) {
  const std::string text = TextOfTag(exif, key);
  const std::vector<std::string_view> words = Words(text);
  return words.empty() ? std::nullopt : QuotientOf(words.front());
}

double PositiveOfTag(const Exiv2::ExifData& exif, const char* key) {
  const double value = NumberOfTag(exif, key).value_or(0.0);
  return value > 0.0 && std::isfinite(value) ? value : 0.0;
}

/// Degrees, minutes and seconds, three quotients.
std::optional<double> DegreesOfTag(const Exiv2::ExifData& exif, const char* key, const char* keyOfSide,
                                   char negative) {
  const std::string text = TextOfTag(exif, key);
  const std::vector<std::string_view> words = Words(text);
  if (words.empty() || words.size() > 3) {
    return std::nullopt;
  }
  double degrees = 0.0;
  double unit = 1.0;
  for (const std::string_view word : words) {
    auto part = QuotientOf(word);
    if (!part && word == "0/0" && unit < 1.0) {
      part = 0.0;  // how some writers say that minutes or seconds are not used
    }
    if (!part || *part < 0.0) {
      return std::nullopt;
    }
    degrees += *part * unit;
    unit /= 60.0;
  }
  const std::string side = TextOfTag(exif, keyOfSide);
  return !side.empty() && (side.front() == negative || side.front() == negative + ('a' - 'A')) ? -degrees
                                                                                               : degrees;
}

void ReadPosition(const Exiv2::ExifData& exif, PhotoMetadata& photo) {
  const auto latitude = DegreesOfTag(exif, "Exif.GPSInfo.GPSLatitude", "Exif.GPSInfo.GPSLatitudeRef", 'S');
  const auto longitude = DegreesOfTag(exif, "Exif.GPSInfo.GPSLongitude", "Exif.GPSInfo.GPSLongitudeRef", 'W');
  if (!latitude || !longitude) {
    return;
  }
  if (TextOfTag(exif, "Exif.GPSInfo.GPSStatus") == "V") {
    photo.notes.emplace_back("its GPS had no fix; the position was not used");
    return;
  }
  if (std::fabs(*latitude) > 90.0 || std::fabs(*longitude) > 180.0 ||
      (*latitude == 0.0 && *longitude == 0.0)) {
    photo.notes.emplace_back("its GPS position is none; it was not used");
    return;
  }
  photo.latitude = latitude;
  photo.longitude = longitude;
  if (const auto altitude = NumberOfTag(exif, "Exif.GPSInfo.GPSAltitude")) {
    const std::string side = TextOfTag(exif, "Exif.GPSInfo.GPSAltitudeRef");
    photo.altitude = side == "1" ? -*altitude : *altitude;
  }
}

void ReadTime(const Exiv2::ExifData& exif, PhotoMetadata& photo) {
  for (const bool original : {true, false}) {
    std::string text =
        TextOfTag(exif, original ? "Exif.Photo.DateTimeOriginal" : "Exif.Photo.DateTimeDigitized");
    const std::string fraction =
        TextOfTag(exif, original ? "Exif.Photo.SubSecTimeOriginal" : "Exif.Photo.SubSecTimeDigitized");
    if (!fraction.empty() && fraction.find_first_not_of("0123456789") == std::string::npos) {
      text += "." + fraction;
    }
    auto time = DateTimeOf(text);
    if (!time) {
      continue;
    }
    // By number: older releases do not know the names OffsetTimeOriginal and OffsetTimeDigitized.
    if (const auto zone = ZoneOf(TextOfTag(exif, original ? "Exif.Photo.0x9011" : "Exif.Photo.0x9012"))) {
      time = DateTime{time->seconds - *zone, true};
    }
    photo.time = time;
    return;
  }
  std::string date = TextOfTag(exif, "Exif.GPSInfo.GPSDateStamp");
  const std::string time = TextOfTag(exif, "Exif.GPSInfo.GPSTimeStamp");
  const std::vector<std::string_view> words = Words(time);
  auto midnight = DateTimeOf(date + " 00:00:00Z");
  if (!midnight || words.size() != 3) {
    return;
  }
  constexpr std::array kUnits = {3'600.0, 60.0, 1.0};
  for (std::size_t i = 0; i < words.size(); ++i) {
    const auto part = QuotientOf(words[i]);
    if (!part || *part < 0.0 || *part > 60.0) {
      return;
    }
    midnight->seconds += *part * kUnits[i];
  }
  photo.time = midnight;
}

/// Millimetres of the unit of FocalPlaneResolutionUnit; an inch where none is told, as the standard has it.
double UnitOfResolution(const Exiv2::ExifData& exif) {
  constexpr std::array kUnits = {25.4, 25.4, 25.4,
                                 10.0, 1.0,  0.001};  // 2 inch, 3 cm; 4 mm, 5 um of some makers
  const auto unit = static_cast<std::size_t>(
      std::clamp(NumberOfTag(exif, "Exif.Photo.FocalPlaneResolutionUnit").value_or(2.0), 0.0,
                 static_cast<double>(kUnits.size() - 1)));
  return kUnits[unit];
}

bool IsSensor(double millimetres) {
  return millimetres > 0.5 && millimetres < 200.0;
}

void ReadSensor(const Exiv2::ExifData& exif, PhotoMetadata& photo) {
  photo.focal_length = PositiveOfTag(exif, "Exif.Photo.FocalLength");
  if (photo.width <= 0 || photo.height <= 0) {
    return;
  }
  double columns = PositiveOfTag(exif, "Exif.Photo.PixelXDimension");
  double rows = PositiveOfTag(exif, "Exif.Photo.PixelYDimension");
  columns = columns > 0.0 ? columns : photo.width;
  rows = rows > 0.0 ? rows : photo.height;
  if (columns != photo.width || rows != photo.height) {
    photo.notes.push_back("EXIF tells " + TextOf(columns) + " x " + TextOf(rows) +
                          " pixels: the sensor is taken for a photo that was scaled, not cut");
    if ((columns > rows) != (photo.width > photo.height)) {
      std::swap(columns, rows);  // of a photo that was turned
    }
  }
  const double unit = UnitOfResolution(exif);
  const double acrossX = PositiveOfTag(exif, "Exif.Photo.FocalPlaneXResolution");
  const double acrossY = PositiveOfTag(exif, "Exif.Photo.FocalPlaneYResolution");
  const double width = acrossX > 0.0 ? columns / acrossX * unit : 0.0;
  const double height = acrossY > 0.0 ? rows / acrossY * unit : 0.0;
  if (IsSensor(width) && IsSensor(height)) {
    photo.sensor_width = width;
    photo.sensor_height = height;
    photo.sensor_from = "EXIF FocalPlaneResolution";
    return;
  }
  const double film = PositiveOfTag(exif, "Exif.Photo.FocalLengthIn35mmFilm");
  if (film > 0.0 && photo.focal_length > 0.0) {
    const double diagonal = kFilmDiagonal * photo.focal_length / film;
    const double pixels = std::hypot(photo.width, photo.height);
    if (IsSensor(diagonal)) {
      photo.sensor_width = diagonal * photo.width / pixels;
      photo.sensor_height = diagonal * photo.height / pixels;
      photo.sensor_from = "35-mm equivalent focal length, by the diagonal";
    }
  }
}

/// The three angles of a namespace, whatever its prefix.
std::optional<NavigationAngles> AnglesOfTags(const Exiv2::XmpData& xmp, std::string_view space,
                                             const std::array<const char*, 3>& names) {
  std::array<std::optional<double>, 3> angles;
  for (const Exiv2::Xmpdatum& datum : xmp) {
    for (std::size_t i = 0; i < names.size(); ++i) {
      if (datum.tagName() != names[i] || static_cast<long>(datum.size()) > kLongestValue) {
        continue;
      }
      std::string uri = Exiv2::XmpProperties::ns(datum.groupName());
      if (!uri.empty() && uri.back() == '/') {
        uri.pop_back();
      }
      const auto value = QuotientOf(Trimmed(datum.toString()));
      if (uri == space && value && std::fabs(*value) <= 360.0) {
        angles[i] = value;
      }
    }
  }
  if (!angles[0] || !angles[1] || !angles[2]) {
    return std::nullopt;
  }
  return NavigationAngles{*angles[0], *angles[1], *angles[2]};
}

void ReadAttitude(const Exiv2::XmpData& xmp, PhotoMetadata& photo) {
  if (const auto angles = AnglesOfTags(xmp, "http://pix4d.com/camera/1.0", {"Yaw", "Pitch", "Roll"})) {
    photo.attitude = angles;
    photo.attitude_from = "XMP Camera:Yaw, Pitch, Roll as they are (pitch 0 straight down)";
    return;
  }
  if (const auto angles = AnglesOfTags(xmp, "http://www.dji.com/drone-dji/1.0",
                                       {"GimbalYawDegree", "GimbalPitchDegree", "GimbalRollDegree"})) {
    photo.attitude = NavigationOfGimbal(angles->yaw, angles->pitch, angles->roll);
    photo.attitude_from = "XMP gimbal angles (pitch -90 straight down), turned so that pitch is 0 there";
  }
}

void ReadMetadata(Exiv2::Image& image, PhotoMetadata& photo) {
  image.readMetadata();
  const Exiv2::ExifData& exif = image.exifData();
  photo.width = static_cast<int>(std::clamp<long>(static_cast<long>(image.pixelWidth()), 0, 1'000'000));
  photo.height = static_cast<int>(std::clamp<long>(static_cast<long>(image.pixelHeight()), 0, 1'000'000));
  photo.make = NameOfTag(exif, "Exif.Image.Make");
  photo.model = NameOfTag(exif, "Exif.Image.Model");
  ReadTime(exif, photo);
  ReadPosition(exif, photo);
  ReadSensor(exif, photo);
  ReadAttitude(image.xmpData(), photo);
  const double turn = NumberOfTag(exif, "Exif.Image.Orientation").value_or(1.0);
  if (turn != 1.0 && turn != 0.0) {
    photo.notes.push_back("its orientation tag is " + TextOf(turn) +
                          ": viewers turn it, width and height are those of the stored pixels");
  }
}

bool HasPhotoExtension(const fs::path& path) {
  const std::string extension = LowerCase(path.extension().string());
  constexpr std::array kExtensions = {".jpg", ".jpeg", ".tif", ".tiff", ".dng", ".png"};
  return std::find(kExtensions.begin(), kExtensions.end(), extension) != kExtensions.end();
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

PhotoMetadata ReadPhoto(const std::string& path) {
  std::error_code error;
  fs::path absolute = fs::absolute(path, error);
  PhotoMetadata photo;
  // Absolute in any case: the library takes "-", and what begins like "http:", for something else than a
  // file.
  photo.path = absolute.lexically_normal().string();
  photo.name = FileNameOf(photo.path);
  if (error || !fs::is_regular_file(absolute, error)) {
    photo.notes.emplace_back("is no regular file");
    return photo;
  }
  const std::uintmax_t bytes = fs::file_size(absolute, error);
  if (error || bytes == 0 || bytes > kLargestFile) {
    photo.notes.emplace_back(bytes == 0 ? "the file is empty" : "the file is too large for a photo");
    return photo;
  }
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);  // it would write to standard error
  PhotoMetadata read = photo;
  try {
    const auto image = Exiv2::ImageFactory::open(photo.path);
    ReadMetadata(*image, read);
  } catch (const std::exception&) {
    // The library's own words name this machine's paths and its sources.
    photo.notes.emplace_back("cannot be read: it is damaged, or no photo");
    return photo;
  }
  if (read.width == 0 || read.height == 0) {
    photo.notes.emplace_back("has no image size: it is damaged, or no photo");
    return photo;
  }
  read.readable = true;
  return read;
}

std::vector<PhotoMetadata> ReadPhotos(const std::string& folder) {
  if (!IsFolder(folder)) {
    throw Failure(folder, "no such folder", "name the folder that holds the photos");
  }
  std::vector<std::string> paths;
  std::error_code error;
  fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied, error);
  for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
    std::error_code ignored;
    if (!HasPhotoExtension(entry->path()) || !entry->is_regular_file(ignored)) {
      continue;
    }
    if (paths.size() == kMostPhotos) {
      throw Failure(folder, "it has more than a million photos", "name the folder of one survey");
    }
    paths.push_back(entry->path().string());
  }
  if (error) {
    throw Failure(folder, "cannot be listed: " + error.message(), "check its permissions");
  }
  std::sort(paths.begin(), paths.end(), NaturallyLess);
  std::vector<PhotoMetadata> photos;
  photos.reserve(paths.size());
  for (const std::string& path : paths) {
    photos.push_back(ReadPhoto(path));
  }
  return photos;
}

bool NaturallyLess(const std::string& a, const std::string& b) {
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < a.size() && j < b.size()) {
    if (!IsDigit(a[i]) || !IsDigit(b[j])) {
      if (a[i] != b[j]) {
        return static_cast<unsigned char>(a[i]) < static_cast<unsigned char>(b[j]);
      }
      ++i;
      ++j;
      continue;
    }
    const auto value = [](const std::string& text, std::size_t& at) {
      while (at < text.size() && text[at] == '0') {
        ++at;
      }
      const std::size_t start = at;
      while (at < text.size() && IsDigit(text[at])) {
        ++at;
      }
      return std::string_view(text).substr(start, at - start);
    };
    const std::string_view x = value(a, i);
    const std::string_view y = value(b, j);
    if (x.size() != y.size()) {
      return x.size() < y.size();
    }
    if (x != y) {
      return x < y;
    }
  }
  if (i == a.size() && j == b.size()) {
    return a < b;  // "IMG_01" and "IMG_1"
  }
  return i == a.size();
}

}  // namespace interchange
