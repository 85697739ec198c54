// The project database: the engine's own check, tables and columns, and every row.
//
// Rows are looked at by the names of their columns, so that one column too many is one finding and not one a
// cell.

#include <algorithm>
#include <array>
#include <functional>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

#include "detail/NumberText.h"
#include "qvfd/ByteStream.h"
#include "qvprj/check/CheckState.h"
#include "qvprj/check/FoundTables.h"
#include "qvprj/check/Query.h"
#include "qvprj/detail/StoredTables.h"

namespace qvprj {
namespace {

constexpr const char* kUnreadable = "cannot be read: damaged, or in use by another program";

/// Where a finding about a table belongs.
Finding InTable(const CheckState& state, const char* table, Severity severity, std::string kind,
                std::string text, std::optional<std::int64_t> row = std::nullopt) {
  return {severity, std::move(kind), state.database, table, {}, row, std::move(text), 0};
}

const char* TypeWord(int type) {
  constexpr std::array<const char*, 5> kWords = {"", "INTEGER", "REAL", "TEXT", "BLOB"};
  return kWords[static_cast<std::size_t>(type)];
}

/// The beginning of a cell, for a message.
std::string Excerpt(std::string_view cell) {
  constexpr std::size_t kMost = 40;
  const bool isLong = cell.size() > kMost;
  return '\'' + std::string(cell.substr(0, kMost)) + (isLong ? "...'" : "'");
}

// ---- The file as a whole ------------------------------------------------------------------------------

void CheckIntegrity(qvsql::Database& database, CheckState& state) {
  bool damaged = false;
  const auto add = [&](std::string text) {
    damaged = true;
    state.findings.Add(
        {Severity::kError, "integrity", state.database, {}, {}, std::nullopt, std::move(text), 0});
  };
  // A row holds one message, or several lines of them under a heading that names the database.
  const auto takeLines = [&add](std::string_view text) {
    while (!text.empty()) {
      const std::size_t end = std::min(text.find('\n'), text.size());
      const std::string_view line = text.substr(0, end);
      if (!line.empty() && line != "ok" && line.substr(0, 3) != "***") {
        add("the database is damaged: " + std::string(line));
      }
      text.remove_prefix(std::min(end + 1, text.size()));
    }
  };
  const bool ran = ForEachRow(database, "PRAGMA integrity_check", [&](std::span<char* const> cells) {
    takeLines(!cells.empty() && cells[0] != nullptr ? cells[0] : "");
  });
  if (!ran && !damaged) {
    add(kUnreadable);  // the engine gave up before it could say why
  }
}

// ---- Tables and columns -------------------------------------------------------------------------------

void CheckColumns(const StoredTable& table, const std::vector<FoundColumn>& found, CheckState& state) {
  const bool isOld = table.older_columns != 0 && found.size() == table.older_columns;
  const std::size_t expected = isOld ? table.older_columns : table.columns.size();
  const auto add = [&](Severity severity, const char* kind, std::string text) {
    state.findings.Add(InTable(state, table.name, severity, kind, std::move(text)));
  };
  for (std::size_t i = 0; i < expected; ++i) {
    const StoredColumn& column = table.columns[i];
    const auto position = PositionOf(found, column.name);
    const std::string name = std::string("column ") + column.name;
    if (!position) {
      add(Severity::kError, "missing-column", name + " is missing");
      continue;
    }
    if (*position != i) {
      add(Severity::kError, "misplaced-column",
          name + " stands at place " + std::to_string(*position + 1) + ", not " + std::to_string(i + 1) +
              ": readers take another column for it");
    }
    const std::string& type = found[*position].type;
    if (LowerAscii(type) != LowerAscii(TypeWord(column.type))) {
      add(Severity::kWarning, "column-type",
          name + " is declared " + (type.empty() ? "without a type" : type) + ", not " +
              TypeWord(column.type));
    }
  }
  for (const FoundColumn& column : found) {
    const std::string name = LowerAscii(column.name);
    const auto isKnown = [&name](const StoredColumn& known) { return name == known.name; };
    if (std::none_of(table.columns.begin(), table.columns.end(), isKnown)) {
      add(Severity::kWarning, "extra-column", "column " + column.name + " is none of a project");
    }
  }
}

void CheckTableNames(qvsql::Database& database, CheckState& state) {
  for (const std::string& name : OtherTables(database)) {
    state.findings.Add(
        InTable(state, name.c_str(), Severity::kWarning, "extra-table", "is no table of a project"));
  }
}

// ---- Rows ---------------------------------------------------------------------------------------------

/// One row, by the names of the documented columns.
class Row {
 public:
  /// `slots` has, for each column of the table, the position of its value among `cells`; 0 where the table
  /// lacks it. The row id is the first of the cells.
  Row(const StoredTable& table, const std::vector<std::size_t>& slots, std::span<char* const> cells)
      : table_(table), slots_(slots), cells_(cells) {}

  /// None where rows have no ids.
  [[nodiscard]] std::optional<std::int64_t> Id() const {
    return cells_[0] == nullptr ? std::nullopt : qvdetail::WholeInteger(cells_[0]);
  }

  /// The text of a cell, empty for NULL; none where the table lacks the column.
  [[nodiscard]] std::optional<std::string_view> Text(std::size_t column) const {
    if (slots_[column] == 0) {
      return std::nullopt;
    }
    const char* const cell = cells_[slots_[column]];
    return cell == nullptr ? std::string_view() : std::string_view(cell);
  }

  /// The number that a reader takes from a cell; none where the table lacks the column.
  [[nodiscard]] std::optional<int> Integer(std::string_view column) const {
    for (std::size_t i = 0; i < table_.columns.size(); ++i) {
      if (column == table_.columns[i].name) {
        const auto text = Text(i);
        return text ? std::optional(qvdetail::ParseInteger(*text)) : std::nullopt;
      }
    }
    return std::nullopt;
  }

 private:
  const StoredTable& table_;
  const std::vector<std::size_t>& slots_;
  std::span<char* const> cells_;
};

/// What is wrong with the number in a cell: a kind and a few words; no kind where nothing is.
struct NumberFault {
  Severity severity = Severity::kError;
  const char* kind = nullptr;
  std::string text;
};

NumberFault FaultOfReal(std::string_view cell) {
  if (qvdetail::WholeReal(cell)) {
    return {};
  }
  if (cell.empty()) {
    return {Severity::kError, "no-number", "is empty and reads as 0"};
  }
  const std::string lower = LowerAscii(cell);
  if (lower == "inf" || lower == "-inf" || lower == "nan") {
    return {Severity::kWarning, "not-finite", "is " + lower};
  }
  return {Severity::kError, "no-number", "is " + Excerpt(cell) + ", no number"};
}

NumberFault FaultOfInteger(std::string_view cell) {
  const auto readsAs = [cell] { return " and reads as " + std::to_string(qvdetail::ParseInteger(cell)); };
  if (const auto whole = qvdetail::WholeInteger(cell)) {
    const bool fits = *whole == qvdetail::ParseInteger(cell);
    return fits ? NumberFault{}
                : NumberFault{Severity::kError, "out-of-range", "is " + std::string(cell) + readsAs()};
  }
  if (qvdetail::WholeReal(cell)) {
    return {Severity::kError, "not-whole", "is " + std::string(cell) + readsAs()};
  }
  return FaultOfReal(cell);
}

void CheckNumbers(const StoredTable& table, const Row& row, CheckState& state) {
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    const StoredColumn& column = table.columns[i];
    const bool isInteger = column.type == qvsql::kIntegerColumn;
    if (!column.filled || (!isInteger && column.type != qvsql::kRealColumn)) {
      continue;
    }
    const auto cell = row.Text(i);
    if (!cell) {
      continue;
    }
    NumberFault fault = isInteger ? FaultOfInteger(*cell) : FaultOfReal(*cell);
    if (fault.kind != nullptr) {
      state.findings.Add(InTable(state, table.name, fault.severity, fault.kind,
                                 std::string(column.name) + ' ' + fault.text, row.Id()));
    }
  }
}

using RowCheck = std::function<void(const Row&)>;

/// How a statement asks for what a check needs of a blob: its size, or all of it.
constexpr const char* kBlobSize = "length(CAST($ AS BLOB))";
constexpr const char* kBlobDigits = "hex($)";

std::string ValueOf(const StoredColumn& column, std::string_view blobExpression) {
  std::string name = Identifier(column.name);
  if (column.type != qvsql::kBlobColumn) {
    return name;
  }
  const std::size_t mark = blobExpression.find('$');
  return std::string(blobExpression.substr(0, mark)) + name + std::string(blobExpression.substr(mark + 1));
}

/// Looks at the columns of a table, at every number in it, and lets `check` look at every row. False when it
/// is not there or cannot be read to its end.
bool CheckTable(qvsql::Database& database, const StoredTable& table, const char* blobExpression,
                CheckState& state, const RowCheck& check) {
  const std::vector<FoundColumn> found = ColumnsOf(database, table.name);
  if (found.empty()) {
    if (!table.optional) {
      state.findings.Add(InTable(state, table.name, Severity::kError, "missing-table", "is missing"));
    }
    return false;
  }
  CheckColumns(table, found, state);

  const bool hasRowIds =
      database.ExecSQL("SELECT rowid FROM " + Identifier(table.name) + " LIMIT 0", nullptr, nullptr);
  std::string statement = hasRowIds ? "SELECT rowid" : "SELECT NULL";
  std::vector<std::size_t> slots;
  std::size_t next = 1;
  for (const StoredColumn& column : table.columns) {
    const bool isTaken = column.type != qvsql::kTextColumn && PositionOf(found, column.name).has_value();
    slots.push_back(isTaken ? next++ : 0);
    statement += isTaken ? ", " + ValueOf(column, blobExpression) : "";
  }
  statement += " FROM " + Identifier(table.name);
  const bool whole = ForEachRow(database, statement, [&](std::span<char* const> cells) {
    const Row row(table, slots, cells);
    CheckNumbers(table, row, state);
    check(row);
  });
  if (!whole) {
    state.findings.Add(InTable(state, table.name, Severity::kError, "unreadable-table", kUnreadable));
  }
  return whole;
}

/// Takes the id of a row among those of its table. `what` names what has the id.
void TakeId(std::optional<int> id, IdSet& ids, const char* table, const char* what, const Row& row,
            CheckState& state) {
  if (id && !ids.Insert(*id)) {
    state.findings.Add(InTable(state, table, Severity::kError, "repeated-id",
                               std::string(what) + ' ' + std::to_string(*id) + " is there already",
                               row.Id()));
  }
}

/// Complains where `id` is not among `ids`, which are those of `what`s.
void CheckReference(std::optional<int> id, const IdSet& ids, bool known, const char* table, const char* what,
                    const Row& row, CheckState& state) {
  if (known && id && !ids.Has(*id)) {
    const std::string name(what);
    std::string kind = "unknown-" + name;
    std::replace(kind.begin(), kind.end(), ' ', '-');
    state.findings.Add(InTable(state, table, Severity::kError, std::move(kind),
                               name + ' ' + std::to_string(*id) + " is not among the " + name + 's',
                               row.Id()));
  }
}

// ---- Table by table -----------------------------------------------------------------------------------

void CheckProjectTable(qvsql::Database& database, CheckState& state) {
  const StoredTable table = StoredProjectTable();
  std::size_t rows = 0;
  const bool whole = CheckTable(database, table, kBlobSize, state, [&](const Row& row) {
    if (++rows > 1) {
      state.findings.Add(InTable(state, table.name, Severity::kWarning, "extra-row",
                                 "only the first row is read", row.Id()));
    }
  });
  if (whole && rows == 0) {
    state.findings.Add(
        InTable(state, table.name, Severity::kError, "no-row", "has no row: the project cannot be opened"));
  }
}

void CheckCameraTable(qvsql::Database& database, CheckState& state) {
  const StoredTable table = StoredCameraTable();
  state.cameras_known = CheckTable(database, table, kBlobSize, state, [&](const Row& row) {
    ++state.counts.cameras;
    TakeId(row.Integer("id"), state.cameras, table.name, "camera", row, state);
  });
}

/// A flight knows no camera, so a project without any is told of once and not for every image.
void CheckImageTable(qvsql::Database& database, CheckState& state) {
  const StoredTable table = StoredImageTable();
  const bool hasNoCamera = state.cameras_known && state.cameras.Size() == 0;
  state.images_known = CheckTable(database, table, kBlobSize, state, [&](const Row& row) {
    ++state.counts.images;
    TakeId(row.Integer("id"), state.images, table.name, "image", row, state);
    CheckReference(row.Integer("camera_id"), state.cameras, state.cameras_known && !hasNoCamera, table.name,
                   "camera", row, state);
  });
  state.images.Settle();
  if (hasNoCamera && state.counts.images > 0) {
    state.findings.Add(InTable(state, StoredCameraTable().name, Severity::kWarning, "no-camera",
                               "there are images and no camera"));
  }
}

void CheckGCPTable(qvsql::Database& database, CheckState& state) {
  const StoredTable table = StoredGCPTable();
  state.ground_points_known = CheckTable(database, table, kBlobSize, state, [&](const Row& row) {
    ++state.counts.ground_points;
    TakeId(row.Integer("gcp_id"), state.ground_points, table.name, "ground point", row, state);
  });
}

void CheckCPTable(qvsql::Database& database, CheckState& state) {
  const StoredTable table = StoredCPTable();
  std::set<std::pair<int, int>> measured;
  static_cast<void>(CheckTable(database, table, kBlobSize, state, [&](const Row& row) {
    ++state.counts.measurements;
    const auto point = row.Integer("gcp_id");
    const auto image = row.Integer("image_id");
    CheckReference(point, state.ground_points, state.ground_points_known, table.name, "ground point", row,
                   state);
    CheckReference(image, state.images, state.images_known, table.name, "image", row, state);
    if (point && image && !measured.emplace(*point, *image).second) {
      state.findings.Add(InTable(state, table.name, Severity::kError, "repeated-measurement",
                                 "ground point " + std::to_string(*point) + " is measured in image " +
                                     std::to_string(*image) + " already",
                                 row.Id()));
    }
  }));
}

/// The bytes of a blob are not those of so many features or matches.
void ComplainOfSize(std::size_t bytes, int count, const char* what, const char* table, const Row& row,
                    CheckState& state) {
  state.findings.Add(InTable(
      state, table, Severity::kError, "blob-size",
      "has " + std::to_string(count) + ' ' + what + " in a blob of " + std::to_string(bytes) + " bytes",
      row.Id()));
}

void CheckFeatureTable(qvsql::Database& database, CheckState& state) {
  const StoredTable table = StoredFeatureTable();
  constexpr std::size_t kBlobColumn = 2;
  std::size_t rows = 0;
  FeatureCounts features;
  std::size_t points = 0;
  const bool whole = CheckTable(database, table, kBlobSize, state, [&](const Row& row) {
    ++rows;
    const auto image = row.Integer("image_id");
    const int count = row.Integer("feature_count").value_or(0);
    const auto bytes =
        static_cast<std::size_t>(std::max(0, qvdetail::ParseInteger(row.Text(kBlobColumn).value_or(""))));
    CheckReference(image, state.images, state.images_known, table.name, "image", row, state);
    if (count < 0 || bytes != static_cast<std::size_t>(count) * 8) {
      ComplainOfSize(bytes, count, "features", table.name, row, state);
    }
    points += bytes / 8;
    if (image && !features.insert_or_assign(*image, bytes / 8).second) {
      state.findings.Add(InTable(state, table.name, Severity::kWarning, "repeated-image",
                                 "image " + std::to_string(*image) + " is there already: the last one counts",
                                 row.Id()));
    }
  });
  const bool isRead = whole && rows > 0 && ColumnsOf(database, table.name).size() == table.columns.size();
  if (isRead) {
    state.features = std::move(features);
    state.features_known = true;
    state.features_in_table = true;
    state.counts.feature_images = state.features.size();
    state.counts.features = points;
  }
}

// ---- Matches ------------------------------------------------------------------------------------------

template <class Index>
std::string ComplaintOf(const std::vector<unsigned char>& bytes, MatchIndexCheck check) {
  qvfd::ByteReader reader(bytes);
  Index left = 0;
  Index right = 0;
  while (reader.Read(left, right)) {
    check.Take(left, right);
  }
  return check.Complaint();
}

void CheckMatchRow(const StoredTable& table, const Row& row, CheckState& state) {
  constexpr std::size_t kBlobColumn = 3;
  const auto left = row.Integer("left_image_id");
  const auto right = row.Integer("right_image_id");
  const int count = row.Integer("match_count").value_or(0);
  const std::vector<unsigned char> bytes = BytesOfDigits(row.Text(kBlobColumn).value_or(""));
  CheckReference(left, state.images, state.images_known, table.name, "image", row, state);
  CheckReference(right, state.images, state.images_known, table.name, "image", row, state);
  const auto expected = static_cast<std::size_t>(std::max(count, 0));
  const bool isWide = bytes.size() == expected * 8;
  if (count < 0 || (!isWide && bytes.size() != expected * 4)) {
    ComplainOfSize(bytes.size(), count, "matches", table.name, row, state);
    return;
  }
  const MatchIndexCheck check(state, left.value_or(0), right.value_or(0));
  const std::string complaint =
      isWide ? ComplaintOf<std::int32_t>(bytes, check) : ComplaintOf<std::uint16_t>(bytes, check);
  if (!complaint.empty()) {
    state.findings.Add(InTable(state, table.name, Severity::kError, "unknown-feature", complaint, row.Id()));
  }
}

}  // namespace

void CheckTables(qvsql::Database& database, CheckState& state) {
  CheckIntegrity(database, state);
  CheckTableNames(database, state);
  CheckProjectTable(database, state);
  CheckCameraTable(database, state);
  CheckImageTable(database, state);
  CheckGCPTable(database, state);
  CheckCPTable(database, state);
  CheckFeatureTable(database, state);
}

void CheckMatchTable(qvsql::Database& database, CheckState& state) {
  const StoredTable table = StoredMatchTable();
  std::set<std::pair<int, int>> pairs;
  std::size_t rows = 0;
  std::size_t matches = 0;
  const bool whole = CheckTable(database, table, kBlobDigits, state, [&](const Row& row) {
    ++rows;
    matches += static_cast<std::size_t>(std::max(0, row.Integer("match_count").value_or(0)));
    CheckMatchRow(table, row, state);
    const auto left = row.Integer("left_image_id");
    const auto right = row.Integer("right_image_id");
    if (left && right && !pairs.emplace(*left, *right).second) {
      state.findings.Add(InTable(state, table.name, Severity::kWarning, "repeated-pair",
                                 "image pair " + std::to_string(*left) + ", " + std::to_string(*right) +
                                     " is there already: the last one counts",
                                 row.Id()));
    }
  });
  if (whole && rows > 0 && ColumnsOf(database, table.name).size() == table.columns.size()) {
    state.counts.match_pairs = pairs.size();
    state.counts.matches = matches;
  }
}

}  // namespace qvprj
