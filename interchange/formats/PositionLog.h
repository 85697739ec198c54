// Position logs as text: where the camera was at each exposure, one row each.
//
// - Tables (CSV, separated by comma, semicolon, tab or blanks) with a line of column names: what
//   post-processed and real-time GNSS tools write, and the topic camera_capture of a PX4 flight log as a CSV
//   file (timestamp, timestamp_utc in microseconds, seq, lat, lon in degrees, alt above mean sea level,
//   ground_distance, q, result: 0 is a failed exposure; https://docs.px4.io/main/en/msg_docs/CameraCapture).
//   Its attitude q is not taken: releases differ in what it is relative to.
// - ArduPilot data-flash logs as text: lines "CAM, ..." with the columns that the log's own line "FMT, ...,
//   CAM, ..." names (libraries/AP_Camera/LogStructure.h: TimeUS, I, Img, GPSTime in milliseconds of the week,
//   GPSWeek, Lat, Lng in degrees, Alt above mean sea level, RelAlt, GPSAlt, R, P, Y of the vehicle in
//   degrees; older releases write Roll, Pitch, Yaw). Lines "TRIG" are the trigger, not the exposure, and
//   taken only where there is no "CAM".
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "interchange/geometry/NavigationAngles.h"
#include "interchange/text/DateTime.h"

namespace interchange {

/// One exposure.
struct PositionRecord {
  std::size_t line = 0;            ///< of the file, from 1
  std::string name;                ///< of the photo; empty where the log names none
  std::optional<long long> index;  ///< its number; none where the log has none
  std::optional<DateTime> time;    ///< seconds of any constant origin where not UTC
  double x = 0.0;                  ///< longitude in degrees, or easting
  double y = 0.0;                  ///< latitude in degrees, or northing
  std::optional<double> height;    ///< metres, as the log has it
  std::optional<NavigationAngles> attitude;
};

struct PositionLog {
  std::string format;  ///< in words, for a report
  std::vector<PositionRecord> records;

  /// Whether the columns are called easting and northing (or x and y), so that they need a coordinate system.
  bool is_grid = false;
  bool heights_are_ellipsoidal = false;  ///< the column's name says so
  std::vector<std::string> notes;        ///< rows and columns that were passed over
};

/// Reads a log. `columns` says which column is what, where their own names do not:
/// "name=Photo,lon=LON_DD,lat=LAT_DD"; left of "=" one of name, index, time, date, lon, lat, x, y, height,
/// yaw, pitch, roll; right of it the name of a column, or its number from 1. Throws `Failure` when the file
/// cannot be read, has no positions, or a row is not what it should be, with the line.
[[nodiscard]] PositionLog ReadPositionLog(const std::string& path, const std::string& columns);

/// An angle in degrees: "41.0346", "-98.08", with a decimal comma where `comma` is true; degrees and minutes,
/// or degrees, minutes and seconds, such as "41 02 04.8N", "41d02'04.8\"N", "41:02:04.8", "W 98 5.39".
/// Minutes and seconds are below 60; a sign and a side together are nothing.
[[nodiscard]] std::optional<double> AngleOf(std::string_view text, bool comma = false);

}  // namespace interchange
