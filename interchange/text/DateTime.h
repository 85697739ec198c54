// Instants as photos and logs write them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace interchange {

struct DateTime {
  double seconds = 0.0;  ///< since 1970-01-01 00:00 of the clock that was read, or of UTC
  bool utc = false;      ///< whether the text told its zone, and `seconds` are UTC

  friend bool operator==(const DateTime&, const DateTime&) = default;
};

/// "2014-10-19 13:20:51.25", with "T" for the blank, with ":", "/" or "." in the date, with "Z" or a zone
/// such as "+02:00" behind it; seconds may be missing. None for anything else, such as a date that does not
/// exist.
[[nodiscard]] std::optional<DateTime> DateTimeOf(std::string_view text);

/// The seconds of "+02:00", "-0330" or "Z".
[[nodiscard]] std::optional<double> ZoneOf(std::string_view text);

/// UTC in seconds since 1970, of a GPS week (from 1980-01-06) and the seconds in it. Leap seconds are those
/// announced up to 2017, which are all there are until at least 2026.
[[nodiscard]] double UtcOfGps(double week, double secondsOfWeek);

/// "2014-10-19 13:20:51", without fractions.
[[nodiscard]] std::string TextOfDateTime(double seconds);

}  // namespace interchange
