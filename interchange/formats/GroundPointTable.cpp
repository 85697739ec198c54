// Ground points as tables.
#include "interchange/formats/GroundPointTable.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "interchange/Failure.h"
#include "interchange/text/TextFile.h"

namespace interchange {
namespace {

enum Column {
  kName,
  kX,
  kY,
  kZ,
  kRole,
  kType,
  kEnabled,
  kAccuracyXy,
  kAccuracyZ,
  kImage,
  kPixelColumn,
  kPixelRow,
  kColumns
};

struct ColumnName {
  Column column;
  std::string_view name;
};

constexpr std::array kNames = {
    ColumnName{kName, "name"},
    ColumnName{kName, "id"},
    ColumnName{kName, "label"},
    ColumnName{kName, "point"},
    ColumnName{kX, "x"},
    ColumnName{kX, "easting"},
    ColumnName{kX, "east"},
    ColumnName{kX, "e"},
    ColumnName{kX, "lon"},
    ColumnName{kX, "longitude"},
    ColumnName{kY, "y"},
    ColumnName{kY, "northing"},
    ColumnName{kY, "north"},
    ColumnName{kY, "n"},
    ColumnName{kY, "lat"},
    ColumnName{kY, "latitude"},
    ColumnName{kZ, "z"},
    ColumnName{kZ, "height"},
    ColumnName{kZ, "h"},
    ColumnName{kZ, "elevation"},
    ColumnName{kZ, "alt"},
    ColumnName{kZ, "altitude"},
    ColumnName{kRole, "role"},
    ColumnName{kType, "type"},
    ColumnName{kRole, "kind"},
    ColumnName{kEnabled, "enabled"},
    ColumnName{kEnabled, "enable"},
    ColumnName{kEnabled, "active"},
    ColumnName{kAccuracyXy, "accuracy_xy"},
    ColumnName{kAccuracyXy, "accuracy_h"},
    ColumnName{kAccuracyXy, "sigma_xy"},
    ColumnName{kAccuracyZ, "accuracy_z"},
    ColumnName{kAccuracyZ, "accuracy_v"},
    ColumnName{kAccuracyZ, "sigma_z"},
    ColumnName{kImage, "image"},
    ColumnName{kImage, "photo"},
    ColumnName{kImage, "file"},
    ColumnName{kPixelColumn, "column"},
    ColumnName{kPixelColumn, "px"},
    ColumnName{kPixelColumn, "im_x"},
    ColumnName{kPixelColumn, "u"},
    ColumnName{kPixelRow, "row"},
    ColumnName{kPixelRow, "py"},
    ColumnName{kPixelRow, "im_y"},
    ColumnName{kPixelRow, "v"},
};

/// Of each kind of column, where it stands.
using Places = std::array<std::optional<std::size_t>, kColumns>;

std::optional<Column> ColumnOf(const std::string& text) {
  const std::string lower = LowerCase(Trimmed(text));
  const auto* const found = std::find_if(kNames.begin(), kNames.end(),
                                         [&](const ColumnName& entry) { return entry.name == lower; });
  return found == kNames.end() ? std::nullopt : std::optional(found->column);
}

Places PlacesOf(const std::vector<std::string>& names) {
  Places places;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const auto column = ColumnOf(names[i]);
    if (column && !places[*column]) {
      places[*column] = i;
    }
  }
  return places;
}

/// Whether a first line names columns: a name and both coordinates are among them.
bool NamesColumns(const std::vector<std::string>& fields) {
  const Places places = PlacesOf(fields);
  return places[kName] && places[kX] && places[kY];
}

class LineReader {
 public:
  LineReader(const std::vector<std::string>& fields, const Places& places, std::string where)
      : fields_(fields), places_(places), where_(std::move(where)) {}

  [[nodiscard]] std::string Text(Column column) const {
    const auto place = places_[column];
    return place && *place < fields_.size() ? fields_[*place] : std::string();
  }

  /// None where the cell is empty or not there.
  [[nodiscard]] std::optional<double> Number(Column column) const {
    const std::string text = Text(column);
    if (text.empty()) {
      return std::nullopt;
    }
    const auto number = NumberOf(text);
    if (!number) {
      throw Failure(where_, "'" + text + "' is no number", "write numbers with a decimal point");
    }
    return number;
  }

  [[nodiscard]] double Required(Column column, const char* what) const {
    const auto number = Number(column);
    if (!number) {
      throw Failure(where_, std::string("has no ") + what,
                    "check the file, or name its columns with --columns");
    }
    return *number;
  }

  [[nodiscard]] const std::string& Where() const { return where_; }

 private:
  const std::vector<std::string>& fields_;
  const Places& places_;
  std::string where_;
};

void TakeRole(const LineReader& reader, Column column, GroundPointLine& line) {
  const std::string role = LowerCase(reader.Text(column));
  if (role.empty()) {
    return;
  }
  if (const auto number = IntegerOf(role)) {
    line.type = static_cast<int>(*number);
  } else if (role == "check" || role == "checkpoint" || role == "check point" || role == "cp") {
    line.is_check = true;
  } else if (role == "control" || role == "gcp" || role == "control point") {
    line.is_check = false;
  } else {
    throw Failure(reader.Where(), "'" + role + "' is neither control nor check",
                  "write one of them, or a number");
  }
}

GroundPointLine LineOf(const LineReader& reader) {
  GroundPointLine line;
  line.name = reader.Text(kName);
  line.x = reader.Required(kX, "x");
  line.y = reader.Required(kY, "y");
  line.z = reader.Number(kZ).value_or(0.0);
  TakeRole(reader, kRole, line);
  TakeRole(reader, kType, line);
  const std::string enabled = LowerCase(reader.Text(kEnabled));
  line.enabled = !(enabled == "0" || enabled == "no" || enabled == "false" || enabled == "off");
  line.horizontal_accuracy = reader.Number(kAccuracyXy);
  line.vertical_accuracy = reader.Number(kAccuracyZ);
  line.image = reader.Text(kImage);
  if (!line.image.empty()) {
    line.column = reader.Required(kPixelColumn, "column of the measurement");
    line.row = reader.Required(kPixelRow, "row of the measurement");
  }
  return line;
}

}  // namespace

GroundPointTable ReadGroundPointTable(const std::string& path, const std::string& columns) {
  const std::string text = ReadWholeFile(path);
  GroundPointTable table;
  Lines lines(text);
  std::optional<Places> places;
  char separator = ',';
  if (!columns.empty()) {
    const std::vector<std::string> names = Fields(columns, ',');
    places = PlacesOf(names);
    if (!NamesColumns(names)) {
      throw Failure("--columns", "'" + columns + "' does not name at least name, x and y",
                    "see 'qvprj gcp import --help'");
    }
  }
  bool first = true;
  while (const auto raw = lines.Next()) {
    const std::string_view line = Trimmed(*raw);
    if (line.empty() || line.front() == '#') {
      continue;
    }
    if (first) {
      separator = SeparatorOf(line);
    }
    const std::vector<std::string> fields = Fields(line, separator);
    if (first && NamesColumns(fields)) {
      if (!places) {
        places = PlacesOf(fields);
        table.latitude_first = *(*places)[kY] < *(*places)[kX];
      }
      first = false;
      continue;
    }
    first = false;
    if (!places) {
      places = PlacesOf({"name", "x", "y", "z"});
    }
    table.lines.push_back(LineOf(LineReader(fields, *places, interchange::LineOf(path, lines.Number()))));
    if (table.lines.back().name.empty()) {
      throw Failure(interchange::LineOf(path, lines.Number()), "names no point", "check the file");
    }
  }
  return table;
}

void WriteGroundPointTable(const std::string& path, const GroundPointTable& table) {
  std::string text = "name,x,y,z,role,type,enabled,image,column,row\n";
  for (const GroundPointLine& line : table.lines) {
    text += QuotedField(line.name) + "," + TextOf(line.x) + "," + TextOf(line.y) + "," + TextOf(line.z) +
            "," + (line.is_check ? *line.is_check ? "check" : "control" : "") + "," +
            (line.type ? std::to_string(*line.type) : "") + "," + (line.enabled ? "1" : "0") + ",";
    text += line.image.empty() ? ",,"
                               : QuotedField(line.image) + "," + TextOf(line.column) + "," + TextOf(line.row);
    text += "\n";
  }
  WriteWholeFile(path, text);
}

}  // namespace interchange
