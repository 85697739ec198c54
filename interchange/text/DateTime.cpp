// Instants as photos and logs write them.
#include "interchange/text/DateTime.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "interchange/text/TextFile.h"

namespace interchange {
namespace {

constexpr double kDay = 86'400.0;

/// Takes up to `most` digits off the front of `text`; none where there are fewer than `least`.
std::optional<int> TakeDigits(std::string_view& text, std::size_t least, std::size_t most) {
  std::size_t count = 0;
  int value = 0;
  while (count < most && count < text.size() && text[count] >= '0' && text[count] <= '9') {
    value = value * 10 + (text[count] - '0');
    ++count;
  }
  if (count < least) {
    return std::nullopt;
  }
  text.remove_prefix(count);
  return value;
}

bool TakeOneOf(std::string_view& text, std::string_view characters) {
  if (text.empty() || characters.find(text.front()) == std::string_view::npos) {
    return false;
  }
  text.remove_prefix(1);
  return true;
}

double SecondsOfDate(int year, int month, int day) {
  const std::chrono::sys_days date = std::chrono::year(year) /
                                     std::chrono::month(static_cast<unsigned>(month)) /
                                     std::chrono::day(static_cast<unsigned>(day));
  return static_cast<double>(date.time_since_epoch().count()) * kDay;
}

}  // namespace

std::optional<double> ZoneOf(std::string_view text) {
  text = Trimmed(text);
  if (text == "Z" || text == "z") {
    return 0.0;
  }
  const bool negative = !text.empty() && text.front() == '-';
  if (!TakeOneOf(text, "+-")) {
    return std::nullopt;
  }
  const auto hours = TakeDigits(text, 2, 2);
  TakeOneOf(text, ":");
  const auto minutes = TakeDigits(text, 2, 2);
  if (!hours || !text.empty() || *hours > 15 || minutes.value_or(0) > 59) {
    return std::nullopt;
  }
  const double seconds = *hours * 3'600.0 + minutes.value_or(0) * 60.0;
  return negative ? -seconds : seconds;
}

std::optional<DateTime> DateTimeOf(std::string_view text) {
  text = Trimmed(text);
  const auto year = TakeDigits(text, 4, 4);
  if (!year || !TakeOneOf(text, "-:/.")) {
    return std::nullopt;
  }
  const auto month = TakeDigits(text, 1, 2);
  if (!month || !TakeOneOf(text, "-:/.")) {
    return std::nullopt;
  }
  const auto day = TakeDigits(text, 1, 2);
  if (!day || !TakeOneOf(text, "T ")) {
    return std::nullopt;
  }
  const std::chrono::year_month_day date(std::chrono::year(*year),
                                         std::chrono::month(static_cast<unsigned>(*month)),
                                         std::chrono::day(static_cast<unsigned>(*day)));
  text = Trimmed(text);
  const auto hour = TakeDigits(text, 1, 2);
  if (!date.ok() || *year < 1970 || !hour || !TakeOneOf(text, ":")) {
    return std::nullopt;
  }
  const auto minute = TakeDigits(text, 2, 2);
  if (!minute || *hour > 23 || *minute > 59) {
    return std::nullopt;
  }
  double second = 0.0;
  if (TakeOneOf(text, ":")) {
    const std::size_t length = std::min(text.find_first_not_of("0123456789."), text.size());
    const auto number = NumberOf(text.substr(0, length));
    if (!number || *number >= 61.0) {
      return std::nullopt;
    }
    second = *number;
    text.remove_prefix(length);
  }
  DateTime time{SecondsOfDate(*year, *month, *day) + *hour * 3'600.0 + *minute * 60.0 + second, false};
  text = Trimmed(text);
  if (text.empty()) {
    return time;
  }
  const auto zone = ZoneOf(text == "UTC" ? "Z" : text);
  if (!zone) {
    return std::nullopt;
  }
  return DateTime{time.seconds - *zone, true};
}

double UtcOfGps(double week, double secondsOfWeek) {
  struct Leap {
    double from;  // UTC
    double seconds;
  };
  static const std::array<Leap, 18> kLeaps = {{{SecondsOfDate(1981, 7, 1), 1},
                                               {SecondsOfDate(1982, 7, 1), 2},
                                               {SecondsOfDate(1983, 7, 1), 3},
                                               {SecondsOfDate(1985, 7, 1), 4},
                                               {SecondsOfDate(1988, 1, 1), 5},
                                               {SecondsOfDate(1990, 1, 1), 6},
                                               {SecondsOfDate(1991, 1, 1), 7},
                                               {SecondsOfDate(1992, 7, 1), 8},
                                               {SecondsOfDate(1993, 7, 1), 9},
                                               {SecondsOfDate(1994, 7, 1), 10},
                                               {SecondsOfDate(1996, 1, 1), 11},
                                               {SecondsOfDate(1997, 7, 1), 12},
                                               {SecondsOfDate(1999, 1, 1), 13},
                                               {SecondsOfDate(2006, 1, 1), 14},
                                               {SecondsOfDate(2009, 1, 1), 15},
                                               {SecondsOfDate(2012, 7, 1), 16},
                                               {SecondsOfDate(2015, 7, 1), 17},
                                               {SecondsOfDate(2017, 1, 1), 18}}};
  const double gps = SecondsOfDate(1980, 1, 6) + week * 7 * kDay + secondsOfWeek;
  double leap = 0.0;
  for (const Leap& entry : kLeaps) {
    leap = gps - entry.seconds >= entry.from ? entry.seconds : leap;
  }
  return gps - leap;
}

std::string TextOfDateTime(double seconds) {
  const double day = std::floor(seconds / kDay);
  if (!(std::fabs(day) < 3'000'000.0)) {
    return {};
  }
  const std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(static_cast<int>(day)))};
  const int second = static_cast<int>(std::floor(seconds - day * kDay));
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02u %02d:%02d:%02d", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), second / 3'600,
                second / 60 % 60, second % 60);
  return text.data();
}

}  // namespace interchange
