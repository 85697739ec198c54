#include "support/OddTables.h"

#include <array>
#include <cmath>

#include "qvfd/Text.h"
#include "support/Sql.h"

namespace fuzz {
namespace {

constexpr std::array kTypes = {
    "INTEGER", "REAL",         "TEXT",           "BLOB",    "",        "NUMERIC", "VARCHAR(10)",
    "DOUBLE",  "INT UNSIGNED", "FLOATING POINT", "BOOLEAN", "DATE",    "ANY",     "CLOB COLLATE NOCASE",
    "int",     "real",         "POINT",          "JSON",    "INTEGER", "TEXT",
};

constexpr std::array kConstraints = {
    "",
    " PRIMARY KEY",
    " NOT NULL DEFAULT 7",
    " DEFAULT 'text'",
    " DEFAULT (1.5)",
    " DEFAULT (X'0102')",
    " UNIQUE",
    " CHECK (1)",
    " DEFAULT NULL",
};

/// Expressions of generated columns.
constexpr std::array kExpressions = {
    "1",
    "NULL",
    "'text'",
    "1e999",
    "0.0/0.0",
    "zeroblob(40)",
    "hex(zeroblob(30))",
    "printf('%.20f', 0.1)",
    "printf('%50000d', 1)",
    "zeroblob(300000000)",
    "hex(zeroblob(200000000))",
    "replace(hex(zeroblob(10000)), '0', '0000000000')",
    "9223372036854775807",
    "-1",
    "abs(-9223372036854775808)",
    "json('{')",
};

constexpr std::array kNumbers = {
    "0",          "1",           "2",           "3",
    "-1",         "2147483647",  "-2147483648", "2147483648",
    "4294967296", "1e15",        "0.1",         "-0.0",
    "1e999",      "-1e999",      "5e-324",      "1.7976931348623157e308",
    "4",          "65535",       "8",           "9223372036854775807",
    "16",         "0.017453293", "31.5",        "118.25",
};

constexpr std::array kTexts = {
    "",
    "1",
    "NULL",
    "nan",
    "-inf",
    "0x10",
    " 12abc",
    "1e400",
    "-",
    "+5",
    "1e5",
    "3.7x",
    "yes",
    "2 2",
    "\t4",
    "1,5",
    "--1",
    "1.0",
    "2",
    "'quoted'",
    "\xB1\xBE",
    "\xF0\x9F\x9A\x81",
    "\xED\xA0\x80",
    "infinity",
};

constexpr std::array kViews = {
    "SELECT 1",
    "SELECT 1, 2, 3",
    "SELECT 1, 'a', 2.5, X'00' UNION ALL SELECT 2, 'b', NULL, 7",
    "SELECT * FROM sqlite_master",
    "SELECT * FROM missing",
    "VALUES (1, 2, 3), (4, 5, 6)",
    "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c LIMIT 5) SELECT x, x, x FROM c",
    "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) SELECT x, x, x, x FROM c",
    "SELECT 1, 1, zeroblob(300000000)",
    "SELECT * FROM pragma_database_list",
    "SELECT 1, 2, load_extension('x')",
    "SELECT * FROM json_each('[1,2,3]')",
};

/// A value as an SQL expression.
std::string Value(Input& input, std::span<const char* const> ids) {
  switch (input.Below(12)) {
    case 0:
      return "NULL";
    case 1:
      return std::to_string(input.Value<std::int64_t>());
    case 2: {
      const auto value = input.Value<double>();
      return std::isfinite(value) ? qvfd::ToString<double>(value) : "1e999";
    }
    case 3:
      return Literal(input.Text());
    case 4:
      return BlobLiteral(input.Take(input.Byte()));
    case 5:
      return "zeroblob(" + std::to_string(std::size_t{input.Byte()} * 17) + ")";
    case 6:
      return Literal(input.Choose(kTexts));
    case 7:
      return std::to_string(input.Byte());
    case 8:
      return input.Choose(kNumbers);
    default:
      return ids.empty() ? std::string(input.Choose(kNumbers)) : std::string(input.Choose(ids));
  }
}

std::string Columns(Input& input, const TableForm& form) {
  std::string columns;
  const std::uint8_t shape = input.Byte();
  const std::size_t dropped = (shape & 1U) != 0 ? input.Below(form.columns.size()) : form.columns.size();
  const std::size_t kept = (shape & 2U) != 0 ? input.Below(form.columns.size()) + 1 : form.columns.size();
  for (std::size_t i = 0; i < kept; ++i) {
    if (i == dropped) {
      continue;
    }
    const std::string name = (shape & 4U) != 0 && input.Below(4) == 0 ? input.Text() : form.columns[i];
    columns += (columns.empty() ? "" : ", ") + Quoted(name) + ' ';
    // Each choice is a statement of its own: operands are evaluated in any order.
    if ((shape & 8U) != 0 && input.Below(4) == 0) {
      columns += std::string("AS (") + input.Choose(kExpressions);
      columns += input.Flag() ? ") STORED" : ")";
    } else if ((shape & 16U) != 0) {
      columns += input.Choose(kTypes);
      columns += input.Choose(kConstraints);
    } else {
      columns += kTypes[i % 3];
    }
  }
  if ((shape & 32U) != 0) {
    columns += ", extra";
  }
  columns += (shape & 64U) != 0 ? ", PRIMARY KEY(" + Quoted(form.columns[0]) + ")) WITHOUT ROWID" : ")";
  return "(" + columns;
}

}  // namespace

std::vector<std::string> OddTable(Input& input, const TableForm& form, std::span<const char* const> ids) {
  std::vector<std::string> statements;
  const std::string name = Quoted(form.name);
  const std::uint8_t kind = input.Byte();
  if (kind % 16 == 15) {
    return statements;  // missing
  }
  if (kind % 16 == 14) {
    statements.push_back("CREATE VIEW " + name + " AS " + input.Choose(kViews));
    return statements;
  }
  statements.push_back("CREATE TABLE " + name + Columns(input, form));
  if (kind % 16 == 13) {
    statements.push_back("CREATE TRIGGER t_" + std::string(form.name) + " AFTER INSERT ON " + name +
                         " BEGIN DELETE FROM " + name + "; END");
  }
  const std::size_t rows = input.Below(8);
  for (std::size_t row = 0; row < rows; ++row) {
    std::string sql = "INSERT INTO " + name + "(";
    std::string values;
    // A row names some of the columns; the others keep their defaults.
    const std::size_t named = input.Flag() ? form.columns.size() : input.Below(form.columns.size()) + 1;
    for (std::size_t i = 0; i < named; ++i) {
      sql += (i == 0 ? "" : ", ") + Quoted(form.columns[i]);
      values += (i == 0 ? "" : ", ") + Value(input, i < 3 ? ids : std::span<const char* const>());
    }
    statements.push_back(sql + ") VALUES(" + values + ")");
    if (input.Below(16) == 1) {
      statements.push_back("UPDATE " + name + " SET rowid = " + Value(input, {}));
    }
    if (input.Below(32) == 1) {
      statements.push_back("ALTER TABLE " + name + " ADD COLUMN added_" + std::to_string(row) + " DEFAULT " +
                           Value(input, {}));
    }
  }
  return statements;
}

std::vector<std::string> OddBeginning(Input& input) {
  constexpr std::array kBeginnings = {
      "",
      "PRAGMA encoding = 'UTF-16le'",
      "PRAGMA encoding = 'UTF-16be'",
      "PRAGMA auto_vacuum = FULL",
      "PRAGMA page_size = 1024",
      "PRAGMA legacy_file_format = ON",
  };
  return {input.Choose(kBeginnings)};
}

std::vector<std::string> OddEnd(Input& input, const TableForm& form) {
  const std::string name(form.name);
  switch (input.Below(8)) {
    case 1:
      return {"CREATE INDEX i ON " + name + "(" + form.columns[0] + ")"};
    case 2:
      return {"DELETE FROM " + name + " WHERE rowid % 2"};
    case 3:
      return {"CREATE TEMP TABLE x(y)", "PRAGMA user_version = 5"};
    case 4:
      return {"CREATE VIRTUAL TABLE v USING fts5(a)"};
    case 5:
      return {"PRAGMA writable_schema = ON",
              "UPDATE sqlite_master SET sql = " + Literal(input.Text()) + " WHERE name = " + Literal(name)};
    case 6:
      return {"PRAGMA writable_schema = ON",
              "UPDATE sqlite_master SET rootpage = " + std::to_string(input.Byte()) +
                  " WHERE name = " + Literal(name)};
    case 7:
      return {"ANALYZE"};
    default:
      return {};
  }
}

void ChangeHeader(Input& input, Bytes& file) {
  constexpr std::size_t kHeaderSize = 100;
  if (file.size() < kHeaderSize || input.Below(4) != 1) {
    return;
  }
  if (input.Flag()) {
    file[18] = file[19] = 2;  // write-ahead mode
    return;
  }
  file[input.Below(kHeaderSize)] = input.Byte();
}

}  // namespace fuzz
