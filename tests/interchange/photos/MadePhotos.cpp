// Photos that tests make.
#include "MadePhotos.h"

#include <gtest/gtest.h>

#include <cmath>
#include <exiv2/exiv2.hpp>
#include <set>

#include "support/TestFiles.h"

namespace photos_test {
namespace {

std::string DegreesText(double degrees) {
  const double whole = std::floor(std::fabs(degrees));
  const double minutes = std::floor((std::fabs(degrees) - whole) * 60.0);
  const double seconds = ((std::fabs(degrees) - whole) * 60.0 - minutes) * 60.0;
  return std::to_string(std::lround(whole)) + "/1 " + std::to_string(std::lround(minutes)) + "/1 " +
         std::to_string(std::llround(seconds * 1e6)) + "/1000000";
}

}  // namespace

std::string JpegOf(int width, int height) {
  const auto high = [](int value) { return static_cast<char>((value >> 8) & 0xFF); };
  const auto low = [](int value) { return static_cast<char>(value & 0xFF); };
  std::string bytes = "\xFF\xD8";
  bytes += std::string("\xFF\xC0\x00\x0B\x08", 5) + high(height) + low(height) + high(width) + low(width) +
           std::string("\x01\x01\x11\x00", 4);
  bytes += std::string("\xFF\xDA\x00\x08\x01\x01\x00\x00\x3F\x00", 10) + std::string(1, '\0') + "\xFF\xD9";
  return bytes;
}

void Place(MadePhoto& photo, double longitude, double latitude, std::optional<double> altitude) {
  photo.exif.emplace_back("Exif.GPSInfo.GPSLatitude", DegreesText(latitude));
  photo.exif.emplace_back("Exif.GPSInfo.GPSLatitudeRef", latitude < 0 ? "S" : "N");
  photo.exif.emplace_back("Exif.GPSInfo.GPSLongitude", DegreesText(longitude));
  photo.exif.emplace_back("Exif.GPSInfo.GPSLongitudeRef", longitude < 0 ? "W" : "E");
  if (altitude) {
    photo.exif.emplace_back("Exif.GPSInfo.GPSAltitude",
                            std::to_string(std::llround(std::fabs(*altitude) * 1000)) + "/1000");
    photo.exif.emplace_back("Exif.GPSInfo.GPSAltitudeRef", *altitude < 0 ? "1" : "0");
  }
}

MadePhoto Ordinary(double longitude, double latitude, double altitude, const std::string& time) {
  MadePhoto photo;
  photo.exif = {{"Exif.Image.Make", "Sample"},
                {"Exif.Image.Model", "Sample One"},
                {"Exif.Photo.FocalLength", "45/10"},
                {"Exif.Photo.FocalPlaneXResolution", "16393443/1000"},
                {"Exif.Photo.FocalPlaneYResolution", "16393443/1000"},
                {"Exif.Photo.FocalPlaneResolutionUnit", "2"}};
  if (!time.empty()) {
    photo.exif.emplace_back("Exif.Photo.DateTimeOriginal", time);
  }
  Place(photo, longitude, latitude, altitude);
  return photo;
}

void Make(const std::string& path, const MadePhoto& photo) {
  support::WriteText(path, JpegOf(photo.width, photo.height));
  try {
    const auto image = Exiv2::ImageFactory::open(path);
    Exiv2::ExifData exif;
    for (const auto& [key, value] : photo.exif) {
      exif[key] = value;
    }
    Exiv2::XmpData xmp;
    static int count = 0;
    static std::set<std::string> known;
    for (const MadePhoto::Xmp& entry : photo.xmp) {
      if (known.insert(entry.space).second && Exiv2::XmpProperties::prefix(entry.space).empty()) {
        Exiv2::XmpProperties::registerNs(entry.space, "made" + std::to_string(count++));
      }
      xmp["Xmp." + Exiv2::XmpProperties::prefix(entry.space) + "." + entry.name] = entry.value;
    }
    image->setExifData(exif);
    image->setXmpData(xmp);
    image->writeMetadata();
  } catch (const std::exception& error) {
    FAIL() << path << ": " << error.what();
  }
}

}  // namespace photos_test
