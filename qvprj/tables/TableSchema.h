// How a table is described once, as data, and how that one list creates, writes and reads it. Private: not
// installed.
//
// A table is an array of Column<Row>, where Row is a plain structure of what one row holds. Each column has a
// name, a type code, the text of its cell and what a reader does with that text. All numbers of all tables
// become text and back in this file.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "detail/FixedText.h"
#include "detail/NumberText.h"
#include "qvfd/Text.h"
#include "qvprj/detail/StoredTables.h"
#include "qvsql/Database.h"

namespace qvprj {

template <class Row>
struct Column {
  const char* name;
  int type;
  std::string (*write)(const Row& row);
  void (*read)(Row& row, const std::string& cell);
  bool filled = true;  ///< false where the schema has a column that no record fills
};

/// The columns of one Row, each made from a path of members that leads to its value:
/// `Columns<ImageRow>::Real<&ImageRow::initial, &EOP::x>("x")`.
template <class Row>
struct Columns {
  template <auto... path>
  static constexpr Column<Row> Integer(const char* name) {
    return {name, qvsql::kIntegerColumn,
            [](const Row& row) { return qvdetail::FormatInteger((row.*....*path)); },
            [](Row& row, const std::string& cell) { (row.*....*path) = qvdetail::ParseInteger(cell); }};
  }

  template <auto... path>
  static constexpr Column<Row> Real(const char* name) {
    return {name, qvsql::kRealColumn, [](const Row& row) { return qvfd::ToString<double>((row.*....*path)); },
            [](Row& row, const std::string& cell) { (row.*....*path) = qvdetail::ParseReal(cell); }};
  }

  /// What a reader makes of the number of a flag differs from table to table, so it is said there.
  template <auto... path>
  static constexpr Column<Row> Flag(const char* name, void (*read)(Row& row, const std::string& cell)) {
    return {name, qvsql::kIntegerColumn,
            [](const Row& row) { return std::string((row.*....*path) ? "1" : "0"); }, read};
  }

  template <auto... path>
  static constexpr Column<Row> Text(const char* name) {
    return {name, qvsql::kTextColumn, [](const Row& row) { return (row.*....*path); },
            [](Row& row, const std::string& cell) { (row.*....*path) = cell; }};
  }

  /// A text that is written and not read.
  template <auto... path>
  static constexpr Column<Row> WrittenText(const char* name) {
    return {name, qvsql::kTextColumn, [](const Row& row) { return (row.*....*path); },
            [](Row&, const std::string&) {}};
  }

  /// A text in a fixed array, of which `capacity` - 1 characters are kept.
  template <std::size_t capacity, auto... path>
  static constexpr Column<Row> FixedText(const char* name) {
    return {name, qvsql::kTextColumn, [](const Row& row) { return qvdetail::TextOf((row.*....*path)); },
            [](Row& row, const std::string& cell) {
              static_assert(capacity <= sizeof(row.*....*path));
              qvdetail::CopyText((row.*....*path), capacity, cell);
            }};
  }

  /// A column that the schema has and no record fills: it is written as empty text and not read.
  static constexpr Column<Row> Empty(const char* name, int type) {
    return {name, type, [](const Row&) { return std::string(); }, [](Row&, const std::string&) {}, false};
  }

  /// The same, written as 0.
  static constexpr Column<Row> Zero(const char* name) {
    return {name, qvsql::kRealColumn, [](const Row&) { return std::string("0"); },
            [](Row&, const std::string&) {}, false};
  }

  /// The blob column of a table; its bytes travel beside the cells.
  static constexpr Column<Row> Blob(const char* name) {
    Column<Row> column = Empty(name, qvsql::kBlobColumn);
    column.filled = true;
    return column;
  }
};

/// The cells of a whole table, as a database hands them out. The stride is the number of columns that the
/// table has, whatever was expected; what lies outside the cells reads as empty text.
struct TableCells {
  int rows = 0;
  int columns = 0;
  std::vector<std::string> cells;

  [[nodiscard]] const std::string& At(int row, std::size_t column) const {
    static const std::string kEmpty;
    const std::size_t index = static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) + column;
    return index < cells.size() ? cells[index] : kEmpty;
  }
};

/// The columns alone.
template <class Row>
[[nodiscard]] StoredTable Stored(const char* table, std::span<const Column<Row>> schema) {
  StoredTable stored;
  stored.name = table;
  for (const auto& column : schema) {
    stored.columns.push_back({column.name, column.type, column.filled});
  }
  return stored;
}

/// Creates the table.
template <class Row>
[[nodiscard]] bool CreateTable(qvsql::Database& database, const char* table,
                               std::span<const Column<Row>> schema) {
  std::vector<qvsql::Field> fields;
  fields.reserve(schema.size());
  for (const auto& column : schema) {
    fields.emplace_back(column.name, column.type);
  }
  return database.CreateTable(table, std::move(fields));
}

template <class Row>
void AppendRow(std::span<const Column<Row>> schema, const Row& row, std::vector<std::string>& cells) {
  for (const auto& column : schema) {
    cells.push_back(column.write(row));
  }
}

/// Fills `row` with row `index` of the cells.
template <class Row>
void ReadRow(std::span<const Column<Row>> schema, const TableCells& cells, int index, Row& row) {
  for (std::size_t i = 0; i < schema.size(); ++i) {
    schema[i].read(row, cells.At(index, i));
  }
}

}  // namespace qvprj
