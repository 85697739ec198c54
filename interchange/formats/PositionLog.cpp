// Position logs as text: where the camera was at each exposure, one row each.
#include "interchange/formats/PositionLog.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>

#include "interchange/Failure.h"
#include "interchange/text/TextFile.h"

namespace interchange {
namespace {

enum Column : std::size_t {
  kName,
  kIndex,
  kTime,
  kDate,
  kLon,
  kLat,
  kX,
  kY,
  kHeight,
  kYaw,
  kPitch,
  kRoll,
  kColumns
};

struct ColumnWords {
  const char* name;   // as --columns has it
  const char* words;  // what columns of that kind are called, in order of trust, between blanks
};

constexpr std::array<ColumnWords, kColumns> kWords = {{
    {"name", "name image imagename image_name file filename file_name photo photoname label sourcefile"},
    {"index", "index idx img_idx seq sequence number nr no img image_number event eventnumber"},
    {"time", "timestamp_utc utc datetime date_time time timestamp gpstime gps_time utctime utc_time"},
    {"date", "date utcdate utc_date gpsdate gps_date"},
    {"lon", "lon lng long longitude lon_dd longitude_deg"},
    {"lat", "lat latitude lat_dd latitude_deg"},
    {"x", "x easting east e"},
    {"y", "y northing north n"},
    {"height",
     "height alt altitude alt_msl z elevation h ellipsoidal_height ellheight h_ell height_ellipsoid"},
    {"yaw", "yaw heading"},
    {"pitch", "pitch"},
    {"roll", "roll"},
}};

constexpr std::array<std::size_t, kColumns> kNowhere = [] {
  std::array<std::size_t, kColumns> none{};
  none.fill(std::string::npos);
  return none;
}();

/// A name of a column without case, its unit in brackets, and what separates words: "Latitude [deg]" is
/// "latitude".
std::string Normalized(std::string_view name) {
  name = name.substr(0, std::min(name.find('('), name.find('[')));
  std::string made = LowerCase(Trimmed(name));
  for (char& c : made) {
    c = c == ' ' || c == '-' || c == '.' ? '_' : c;
  }
  if (made.starts_with('#') || made.starts_with('%')) {
    made.erase(0, 1);
    made = std::string(Trimmed(made));
    made.erase(0, std::min(made.find_first_not_of('_'), made.size()));
  }
  return made;
}

std::size_t KindOf(const std::string& path, std::string_view name) {
  for (std::size_t kind = 0; kind < kColumns; ++kind) {
    if (name == kWords[kind].name) {
      return kind;
    }
  }
  throw Failure(path, "--columns has no '" + std::string(name) + "'",
                "name, index, time, date, lon, lat, x, y, height, yaw, pitch and roll can be named");
}

struct Layout {
  std::array<std::size_t, kColumns> at = kNowhere;
  bool header = true;  // whether the first line names the columns
  [[nodiscard]] bool Has(Column kind) const { return at[kind] != std::string::npos; }
};

/// What the user says, by names of the first line or by numbers.
void TakeColumns(const std::string& path, const std::string& columns, const std::vector<std::string>& first,
                 Layout& layout) {
  bool named = false;
  for (const std::string& entry : Fields(columns, ',')) {
    const std::size_t equals = entry.find('=');
    if (equals == std::string::npos) {
      throw Failure(path, "--columns has '" + entry + "', which has no '='",
                    "write name=COLUMN,lon=COLUMN,...");
    }
    const std::size_t kind = KindOf(path, LowerCase(Trimmed(std::string_view(entry).substr(0, equals))));
    const std::string wanted = Normalized(std::string_view(entry).substr(equals + 1));
    const auto found = std::find_if(first.begin(), first.end(),
                                    [&](const std::string& field) { return Normalized(field) == wanted; });
    const auto number = IntegerOf(wanted);
    if (found != first.end() && !(number && NumberOf(*found))) {
      layout.at[kind] = static_cast<std::size_t>(found - first.begin());
      named = true;
    } else if (number && *number >= 1 && *number <= static_cast<long long>(first.size())) {
      layout.at[kind] = static_cast<std::size_t>(*number - 1);
    } else {
      throw Failure(LineOf(path, 1), "there is no column '" + entry.substr(equals + 1) + "'",
                    "name one of the first line, or a number from 1 to " + std::to_string(first.size()));
    }
  }
  layout.header = named;
}

/// What the columns' own names say, of the kinds that the user has said nothing of.
void FindColumns(const std::vector<std::string>& first, Layout& layout) {
  for (std::size_t kind = 0; kind < kColumns; ++kind) {
    const auto taken = [&](std::size_t column) {
      return std::find(layout.at.begin(), layout.at.end(), column) != layout.at.end();
    };
    for (const std::string_view word : Words(kWords[kind].words)) {
      if (layout.at[kind] != std::string::npos) {
        break;
      }
      for (std::size_t column = 0; column < first.size(); ++column) {
        if (Normalized(first[column]) == word && !taken(column)) {
          layout.at[kind] = column;
          break;
        }
      }
    }
  }
}

/// A number, with a decimal comma where the separator leaves one.
std::optional<double> DecimalOf(std::string_view text, bool comma) {
  if (!comma || text.find(',') == std::string_view::npos) {
    return NumberOf(text);
  }
  if (text.find('.') != std::string_view::npos || text.find(',') != text.rfind(',')) {
    return std::nullopt;  // thousands: nobody knows which is which
  }
  std::string pointed(text);
  pointed[pointed.find(',')] = '.';
  return NumberOf(pointed);
}

/// Seconds of any origin: an instant, seconds, or, by their size, milliseconds or microseconds since 1970; or
/// a time of day.
std::optional<DateTime> TimeOf(std::string_view text, bool comma) {
  if (const auto instant = DateTimeOf(text)) {
    return instant;
  }
  constexpr double kMicroseconds = 1e15;  // 1970 plus 30 years and more
  constexpr double kMilliseconds = 1e12;
  if (const auto number = DecimalOf(text, comma)) {
    return DateTime{*number > kMicroseconds   ? *number / 1e6
                    : *number > kMilliseconds ? *number / 1e3
                                              : *number,
                    false};
  }
  if (const auto instant = DateTimeOf("1970-01-01 " + std::string(text))) {
    return DateTime{instant->seconds, false};
  }
  return std::nullopt;
}

class TableReader {
 public:
  TableReader(const std::string& path, char separator, const Layout& layout)
      : path_(path), layout_(layout), comma_(separator == ';' || separator == '\t') {}

  void Take(std::size_t line, const std::vector<std::string>& fields, PositionLog& log) const {
    PositionRecord record;
    record.line = line;
    const Column across = layout_.Has(kLon) ? kLon : kX;
    const Column up = layout_.Has(kLon) ? kLat : kY;
    if (Cell(fields, across).empty() && Cell(fields, up).empty()) {
      log.notes.push_back("line " + std::to_string(line) + " has no position and was passed over");
      return;
    }
    record.x = layout_.Has(kLon) ? Angle(line, fields, kLon, 180.0) : Number(line, fields, kX);
    record.y = layout_.Has(kLon) ? Angle(line, fields, kLat, 90.0) : Number(line, fields, kY);
    record.name = Cell(fields, kName);
    if (const std::string cell = Cell(fields, kIndex); !cell.empty()) {
      record.index = IntegerOf(cell);
    }
    if (!Cell(fields, kHeight).empty()) {
      record.height = Number(line, fields, kHeight);
    }
    if (!Cell(fields, kYaw).empty() && !Cell(fields, kPitch).empty() && !Cell(fields, kRoll).empty()) {
      record.attitude = NavigationAngles{Number(line, fields, kYaw), Number(line, fields, kPitch),
                                         Number(line, fields, kRoll)};
    }
    std::string time = Cell(fields, kTime);
    if (const std::string date = Cell(fields, kDate); !date.empty()) {
      time = time.empty() ? date : date + " " + time;
    }
    if (!time.empty()) {
      record.time = TimeOf(time, comma_);
      if (!record.time) {
        throw Failure(LineOf(path_, line), "'" + time + "' is no time",
                      "write YYYY-MM-DD hh:mm:ss, or seconds");
      }
    }
    log.records.push_back(std::move(record));
  }

 private:
  [[nodiscard]] std::string Cell(const std::vector<std::string>& fields, Column kind) const {
    return layout_.at[kind] < fields.size() ? fields[layout_.at[kind]] : std::string();
  }

  [[nodiscard]] double Number(std::size_t line, const std::vector<std::string>& fields, Column kind) const {
    const std::string cell = Cell(fields, kind);
    const auto number = DecimalOf(cell, comma_);
    if (!number) {
      throw Failure(LineOf(path_, line),
                    std::string(kWords[kind].name) + " is '" + cell + "', which is no number",
                    "check the columns; --columns names them");
    }
    return *number;
  }

  [[nodiscard]] double Angle(std::size_t line, const std::vector<std::string>& fields, Column kind,
                             double most) const {
    const std::string cell = Cell(fields, kind);
    const auto angle = AngleOf(cell, comma_);
    if (!angle || std::fabs(*angle) > most) {
      throw Failure(
          LineOf(path_, line), std::string(kWords[kind].name) + " is '" + cell + "', which is no angle",
          "write degrees, or degrees, minutes and seconds; eastings and northings are named x and y");
    }
    return *angle;
  }

  const std::string& path_;
  const Layout& layout_;
  bool comma_;
};

PositionLog ReadTable(const std::string& path, std::string_view text, const std::string& columns) {
  Lines lines(text);
  auto first = lines.Next();
  while (first && Trimmed(*first).empty()) {
    first = lines.Next();
  }
  if (!first) {
    throw Failure(path, "has no lines", "name a position log");
  }
  const char separator = SeparatorOf(*first);
  const std::vector<std::string> names = Fields(*first, separator);
  Layout layout;
  if (!columns.empty()) {
    TakeColumns(path, columns, names, layout);
  }
  if (layout.header) {
    FindColumns(names, layout);
  }
  const bool angles = layout.Has(kLon) && layout.Has(kLat);
  const bool grid = layout.Has(kX) && layout.Has(kY);
  if (!angles && !grid) {
    throw Failure(path, "no columns of longitude and latitude, or of easting and northing, are named",
                  "name them: --columns lon=COLUMN,lat=COLUMN");
  }
  if (!angles) {
    layout.at[kLon] = layout.at[kLat] = std::string::npos;
  }
  PositionLog log;
  log.is_grid = !angles;
  log.format = "table of " + std::to_string(names.size()) + " columns";
  if (layout.Has(kHeight) && layout.header) {
    log.heights_are_ellipsoidal = Normalized(names[layout.at[kHeight]]).find("ell") != std::string::npos;
  }
  // A table of camera exposures tells of those that failed.
  std::size_t result = std::string::npos;
  for (std::size_t i = 0; i < names.size() && layout.header; ++i) {
    if (Normalized(names[i]) == "result" && layout.Has(kIndex)) {
      result = i;
    }
  }
  const TableReader reader(path, separator, layout);
  std::size_t failed = 0;
  const auto take = [&](std::size_t number, std::string_view line) {
    if (Trimmed(line).empty() || Trimmed(line).front() == '#') {
      return;
    }
    const std::vector<std::string> fields = Fields(line, separator);
    if (result < fields.size() && fields[result] == "0") {
      ++failed;
      return;
    }
    reader.Take(number, fields, log);
  };
  if (!layout.header) {
    take(lines.Number(), *first);
  }
  while (const auto line = lines.Next()) {
    take(lines.Number(), *line);
  }
  if (failed > 0) {
    log.notes.push_back(std::to_string(failed) + (failed == 1 ? " exposure that failed was passed over"
                                                              : " exposures that failed were passed over"));
  }
  return log;
}

// ---- ArduPilot --------------------------------------------------------------------------------------------

using Names = std::vector<std::string>;

std::optional<double> ValueOf(const Names& names, const std::vector<std::string>& fields,
                              std::initializer_list<const char*> wanted) {
  for (const char* name : wanted) {
    for (std::size_t i = 0; i < names.size() && i + 1 < fields.size(); ++i) {
      if (names[i] == name) {
        return NumberOf(fields[i + 1]);
      }
    }
  }
  return std::nullopt;
}

/// "CAM" or "TRIG" where a data-flash log has such lines; empty for anything else.
std::string MessageOf(std::string_view text) {
  bool trigger = false;
  bool format = false;
  Lines lines(text);
  while (const auto line = lines.Next()) {
    format = format || line->starts_with("FMT,") || line->starts_with("FMT ,");
    if (format && line->starts_with("CAM,")) {
      return "CAM";
    }
    trigger = trigger || (format && line->starts_with("TRIG,"));
  }
  return trigger ? "TRIG" : "";
}

PositionLog ReadDataFlash(const std::string& path, std::string_view text, const std::string& message) {
  PositionLog log;
  log.format = "data-flash log, messages " + message;
  std::map<std::string, Names> formats;
  Lines lines(text);
  while (const auto line = lines.Next()) {
    const bool isFormat = line->starts_with("FMT");
    if (!isFormat && !line->starts_with(message + ",")) {
      continue;
    }
    const std::vector<std::string> fields = Fields(*line, ',');
    constexpr std::size_t kFixed = 5;  // FMT, type, length, name, types, then the names
    if (isFormat) {
      if (fields.size() > kFixed) {
        formats[fields[3]] = Names(fields.begin() + kFixed, fields.end());
      }
      continue;
    }
    const Names& names = formats[message];
    const auto latitude = ValueOf(names, fields, {"Lat"});
    const auto longitude = ValueOf(names, fields, {"Lng"});
    if (!latitude || !longitude || std::fabs(*latitude) > 90.0 || std::fabs(*longitude) > 180.0) {
      throw Failure(LineOf(path, lines.Number()), "has no Lat and Lng in degrees",
                    "give the log as text, with its FMT lines");
    }
    if (*latitude == 0.0 && *longitude == 0.0) {
      log.notes.push_back("line " + std::to_string(lines.Number()) + " has no position and was passed over");
      continue;
    }
    PositionRecord record;
    record.line = lines.Number();
    record.x = *longitude;
    record.y = *latitude;
    record.height = ValueOf(names, fields, {"Alt"});
    if (const auto number = ValueOf(names, fields, {"Img"})) {
      record.index = static_cast<long long>(*number);
    }
    const auto week = ValueOf(names, fields, {"GPSWeek"});
    const auto milliseconds = ValueOf(names, fields, {"GPSTime"});
    if (week && milliseconds && *week > 0.0 && *week < 1e5) {
      record.time = DateTime{UtcOfGps(*week, *milliseconds / 1e3), true};
    } else if (const auto micros = ValueOf(names, fields, {"TimeUS"})) {
      record.time = DateTime{*micros / 1e6, false};
    }
    const auto roll = ValueOf(names, fields, {"R", "Roll"});
    const auto pitch = ValueOf(names, fields, {"P", "Pitch"});
    const auto yaw = ValueOf(names, fields, {"Y", "Yaw"});
    if (roll && pitch && yaw) {
      record.attitude = NavigationAngles{*yaw, *pitch, *roll};
    }
    log.records.push_back(std::move(record));
  }
  return log;
}

// ---- Angles -----------------------------------------------------------------------------------------------

/// Takes one of the marks behind degrees, minutes or seconds, as which `marks` has them.
bool TakeMark(std::string_view& text, std::initializer_list<std::string_view> marks) {
  for (const std::string_view mark : marks) {
    if (text.starts_with(mark)) {
      text.remove_prefix(mark.size());
      return true;
    }
  }
  return false;
}

/// 'N', 'S', 'E', 'W' at an end of `text`, taken off; 0 where there is none.
char TakeSide(std::string_view& text) {
  const auto side = [](char c) {
    const char upper = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    return std::string_view("NSEW").find(upper) != std::string_view::npos ? upper : '\0';
  };
  text = Trimmed(text);
  char found = '\0';
  if (!text.empty() && side(text.front()) != '\0') {
    found = side(text.front());
    text.remove_prefix(1);
  } else if (!text.empty() && side(text.back()) != '\0') {
    found = side(text.back());
    text.remove_suffix(1);
  }
  text = Trimmed(text);
  return found;
}

}  // namespace

std::optional<double> AngleOf(std::string_view text, bool comma) {
  const char side = TakeSide(text);
  if (const auto number = DecimalOf(text, comma)) {
    if (side != '\0' && *number < 0.0) {
      return std::nullopt;
    }
    return side == 'S' || side == 'W' ? -*number : *number;
  }
  bool negative = side == 'S' || side == 'W';
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
    if (side != '\0') {
      return std::nullopt;
    }
    negative = text.front() == '-';
    text.remove_prefix(1);
  }
  std::array<double, 3> parts{};
  std::size_t count = 0;
  for (; count < parts.size() && !text.empty(); ++count) {
    const std::size_t length =
        std::min(text.find_first_not_of(comma ? "0123456789.," : "0123456789."), text.size());
    const auto number = DecimalOf(text.substr(0, length), comma);
    if (!number || (count > 0 && (*number >= 60.0 || parts[count - 1] != std::floor(parts[count - 1])))) {
      return std::nullopt;
    }
    parts[count] = *number;
    text = Trimmed(text.substr(length));
    switch (count) {
      case 0:
        TakeMark(text, {"\xC2\xB0", "\xB0", "\xC2\xBA", "d", "D", "deg", ":"});
        break;
      case 1:
        TakeMark(text, {"'", "\xE2\x80\xB2", "\xE2\x80\x99", "m", "M", ":"});
        break;
      default:
        TakeMark(text, {"\"", "''", "\xE2\x80\xB3", "\xE2\x80\x9D", "s"});
        break;
    }
    text = Trimmed(text);
  }
  if (count == 0 || !text.empty()) {
    return std::nullopt;
  }
  const double angle = parts[0] + parts[1] / 60.0 + parts[2] / 3'600.0;
  return negative ? -angle : angle;
}

PositionLog ReadPositionLog(const std::string& path, const std::string& columns) {
  const std::string text = ReadWholeFile(path);
  const std::string message = columns.empty() ? MessageOf(text) : std::string();
  PositionLog log = message.empty() ? ReadTable(path, text, columns) : ReadDataFlash(path, text, message);
  if (log.records.empty()) {
    throw Failure(path, "has no positions", "name a log with a row for each photo");
  }
  return log;
}

}  // namespace interchange
