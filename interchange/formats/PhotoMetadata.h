// What photos say of themselves in EXIF and XMP: time, position, attitude, camera. Nothing of a project.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "interchange/geometry/NavigationAngles.h"
#include "interchange/text/DateTime.h"

namespace interchange {

/// The metadata of one photo. What it does not tell, or tells in a way that makes no sense, is not there;
/// `notes` say what was passed over.
struct PhotoMetadata {
  std::string path;  ///< absolute
  std::string name;  ///< of the file

  /// Whether the file is a photo whose metadata could be read; where not, `notes` say why, and nothing else
  /// is set.
  bool readable = false;
  std::vector<std::string> notes;

  int width = 0;   ///< of the stored pixels
  int height = 0;  ///< of the stored pixels
  std::string make;
  std::string model;

  double focal_length = 0.0;   ///< millimetres; 0 where it is not known
  double sensor_width = 0.0;   ///< millimetres, of the whole image; 0 where it is not known
  double sensor_height = 0.0;  ///< millimetres

  /// How the sensor size was found, in words; empty where it was not.
  std::string sensor_from;

  /// When it was taken, with fractions of a second where they are told. UTC where the photo tells its zone,
  /// or has no other time than that of its GPS receiver.
  std::optional<DateTime> time;

  std::optional<double> longitude;  ///< degrees, with `latitude` or not at all
  std::optional<double> latitude;
  std::optional<double> altitude;  ///< metres above mean sea level, by the EXIF standard

  std::optional<NavigationAngles> attitude;
  std::string attitude_from;  ///< which tags, and how their angles were turned; empty without attitude
};

/// Reads one photo. Never throws for what is in the file: a damaged file, or one that is no photo, comes back
/// with `readable` false.
///
/// - The sensor size is that of FocalPlaneXResolution and its unit, over the image size that EXIF tells (a
///   photo that was scaled afterwards keeps its sensor); else of the 35-mm equivalent focal length, which by
///   CIPA DCG-001 relates the diagonals, 43.267 mm for the film.
/// - Attitude is that of the XMP namespace "http://pix4d.com/camera/1.0" (Yaw, Pitch, Roll; pitch 0 straight
///   down), or of "http://www.dji.com/drone-dji/1.0/" (GimbalYawDegree and so on: north, east, down, applied
///   in the order yaw, pitch, roll, by the manuals of its aircraft; pitch -90 straight down), turned by
///   `NavigationOfGimbal`.
/// - A longitude and latitude of exactly 0, or a GPSStatus of "V" (no fix), is no position.
[[nodiscard]] PhotoMetadata ReadPhoto(const std::string& path);

/// Reads all photos in a folder and the folders below it, by the names of their files (JPEG, TIFF, DNG, PNG),
/// in the natural order of their paths. Links to folders are not followed. Throws `Failure` when there is no
/// such folder, or it cannot be listed.
[[nodiscard]] std::vector<PhotoMetadata> ReadPhotos(const std::string& folder);

/// Whether `a` comes before `b` where runs of digits count as numbers: "IMG_9" before "IMG_10".
[[nodiscard]] bool NaturallyLess(const std::string& a, const std::string& b);

}  // namespace interchange
