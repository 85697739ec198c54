// Photos that tests make: the headers of a JPEG of any size, with the metadata that a test wants.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace photos_test {

/// What goes into a photo. Values are as the library that writes them takes texts: "41/1 2/1 48/10".
struct MadePhoto {
  int width = 4000;
  int height = 3000;
  std::vector<std::pair<std::string, std::string>> exif;  ///< by key, such as "Exif.Image.Make"

  /// By namespace, name and value; prefixes are made up.
  struct Xmp {
    std::string space;
    std::string name;
    std::string value;
  };
  std::vector<Xmp> xmp;
};

/// A photo of the ordinary kind: a camera of 6.17 x 4.63 mm, a position and a time.
MadePhoto Ordinary(double longitude, double latitude, double altitude, const std::string& time);

/// Adds GPS tags of a position, in degrees and millionths of a second of arc.
void Place(MadePhoto& photo, double longitude, double latitude, std::optional<double> altitude);

/// Writes the photo.
void Make(const std::string& path, const MadePhoto& photo);

/// The bytes of a JPEG without metadata: frame header, scan header, no more than a tool that reads headers
/// looks at.
std::string JpegOf(int width, int height);

}  // namespace photos_test
