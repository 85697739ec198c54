// The tables of a database as they are, beside those that are documented.
#include "qvprj/check/FoundTables.h"

#include <algorithm>

#include "qvprj/check/Query.h"

namespace qvprj {

std::string LowerAscii(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return lower;
}

std::vector<StoredTable> StoredTables() {
  return {StoredProjectTable(), StoredCameraTable(),  StoredImageTable(), StoredGCPTable(),
          StoredCPTable(),      StoredFeatureTable(), StoredMatchTable()};
}

std::vector<FoundColumn> ColumnsOf(qvsql::Database& database, const char* table) {
  std::vector<FoundColumn> columns;
  const std::string statement = std::string("SELECT name, type FROM pragma_table_info('") + table + "')";
  static_cast<void>(ForEachRow(database, statement, [&columns](std::span<char* const> cells) {
    columns.push_back({cells[0] == nullptr ? "" : cells[0], cells[1] == nullptr ? "" : cells[1]});
  }));
  return columns;
}

std::optional<std::size_t> PositionOf(const std::vector<FoundColumn>& columns, const char* name) {
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (LowerAscii(columns[i].name) == name) {
      return i;
    }
  }
  return std::nullopt;
}

std::vector<std::string> OtherTables(qvsql::Database& database) {
  const std::vector<StoredTable> known = StoredTables();
  std::vector<std::string> others;
  const auto take = [&](std::span<char* const> cells) {
    const std::string name = cells[0] == nullptr ? "" : cells[0];
    const auto isName = [&name](const StoredTable& table) { return LowerAscii(name) == table.name; };
    if (std::none_of(known.begin(), known.end(), isName)) {
      others.push_back(name);
    }
  };
  static_cast<void>(ForEachRow(
      database, "SELECT name FROM sqlite_master WHERE type IN ('table', 'view') AND name NOT LIKE 'sqlite_%'",
      take));
  return others;
}

std::vector<unsigned char> BytesOfDigits(std::string_view digits) {
  const auto value = [](char c) { return static_cast<unsigned>(c <= '9' ? c - '0' : c - 'A' + 10); };
  std::vector<unsigned char> bytes(digits.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<unsigned char>(value(digits[2 * i]) * 16U + value(digits[2 * i + 1]));
  }
  return bytes;
}

}  // namespace qvprj
