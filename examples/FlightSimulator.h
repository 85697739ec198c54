// A survey flight that never took place: what a drone's controller would have left behind.
//
// The same plan and seed give the same flight on every platform: the random numbers are made here (the
// distributions of the standard library differ between its makers), and what is written is rounded to fewer
// digits than the platforms' mathematics agrees in.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace flightsim {

/// A block of parallel strips, flown to and fro. Angles are compass degrees: 0 is north, 90 is east.
struct SurveyPlan {
  double latitude = 48.3714;      ///< south-west corner of the block, WGS 84 degrees
  double longitude = 10.0931;     ///< south-west corner of the block, WGS 84 degrees
  double ground_height = 512.0;   ///< metres above mean sea level
  double flying_height = 100.0;   ///< metres above ground
  double air_speed = 12.0;        ///< metres a second, relative to the air
  double strip_course = 78.0;     ///< course of the first strip; the second one comes back
  double forward_overlap = 0.80;  ///< share of a photo that the next one of its strip shows, without wind
  double side_overlap = 0.70;     ///< share of a photo that the next strip shows again
  double wind_speed = 4.0;        ///< metres a second
  double wind_from = 300.0;       ///< where the wind comes from
  double gusts = 0.8;             ///< standard deviation of the wind, metres a second
  double missed_share = 0.012;    ///< how often the camera misses a trigger; after a miss, once in four
  int first_index = 1;            ///< image index of the first trigger
  int images = 240;               ///< photos to be taken; the block gets the size that they need

  double sensor_width = 13.2;  ///< millimetres, across the flight direction
  double sensor_height = 8.8;  ///< millimetres, along the flight direction
  double focal_length = 8.8;   ///< millimetres

  /// Metres between two photos of a strip, without wind.
  [[nodiscard]] double PhotoSpacing() const;
  /// Metres between two strips.
  [[nodiscard]] double StripSpacing() const;
  /// Seconds between two triggers: the photo spacing at air speed.
  [[nodiscard]] double TriggerInterval() const;
};

/// One photo as the controller logged it.
struct Photo {
  int index = 0;           ///< number of the trigger; a trigger that the camera missed leaves a gap
  int strip = 0;           ///< from 0; the controller does not log it
  double latitude = 0.0;   ///< WGS 84 degrees
  double longitude = 0.0;  ///< WGS 84 degrees
  double height = 0.0;     ///< metres above mean sea level
  double roll = 0.0;       ///< degrees, right wing down
  double pitch = 0.0;      ///< degrees, nose up
  double yaw = 0.0;        ///< compass degrees of the nose, 0 to 360: course and angle against the wind

  friend bool operator==(const Photo&, const Photo&) = default;
};

/// Flies the plan. The flight ends with the last photo.
[[nodiscard]] std::vector<Photo> Fly(const SurveyPlan& plan, std::uint64_t seed);

/// The two databases of a flight folder.
struct FlightFiles {
  std::string flight;   ///< FOLDER/flight.db: the missions and their logs
  std::string project;  ///< FOLDER/project.db: the project that they were flown for
};
[[nodiscard]] FlightFiles FilesIn(const std::string& folder);

/// Flies two missions of one project, a short trial and on the next day a survey of `images` photos, and
/// writes what the controller leaves behind: both databases, into the existing `folder`.
///
/// True when both are written. Otherwise `error` says why, as one line; files that are there already are a
/// reason, and stay as they are.
[[nodiscard]] bool WriteFlight(const std::string& folder, int images, std::uint64_t seed, std::string& error);

}  // namespace flightsim
