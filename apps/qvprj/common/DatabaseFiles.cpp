// Says why a file is not the database that a command needs.
#include "common/DatabaseFiles.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>

#include "common/Failure.h"
#include "qvsql/Database.h"

namespace fs = std::filesystem;

namespace qvapp {
namespace {

constexpr const char* kUnreadable = "cannot be read: the file is damaged, or in use by another program";
constexpr const char* kUnreadableRemedy = "close other programs that use it, or restore it from a backup";

/// A table that a flight database must have, with the columns that are asked for.
struct FlightTable {
  const char* name;
  std::vector<const char*> columns;
};

std::vector<FlightTable> FlightTables() {
  return {
      {"flight_mission", {"id", "project_id", "flight_task_name", "created_at", "survey_average_altitude"}},
      {"pos_data", {"flight_mission_id", "img_idx", "lat", "lng", "alt_msl", "roll", "pitch", "yaw"}}};
}

constexpr std::array kProjectTables = {"data_project", "data_image", "data_camera"};

const char* WhatToGive(DatabaseKind kind) {
  return kind == DatabaseKind::kFlight ? "give the database that the flight controller left behind"
                                       : "give the database file of a saved project";
}

char LowerAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

int AppendFirstCell(void* user, int columnCount, char** values, char** /*names*/) {
  try {
    if (columnCount > 0) {
      static_cast<std::vector<std::string>*>(user)->emplace_back(values[0] != nullptr ? values[0] : "");
    }
    return 0;
  } catch (...) {
    return 1;
  }
}

/// The first column of what `query` gives; none when the engine refuses.
std::optional<std::vector<std::string>> FirstColumn(const std::string& path, const std::string& query) {
  qvsql::Database database;
  std::vector<std::string> cells;
  if (!database.Open(path) || !database.ExecSQL(query, AppendFirstCell, &cells)) {
    return std::nullopt;
  }
  return cells;
}

std::vector<std::string> TableNamesOrThrow(const std::string& path) {
  if (auto names = TableNames(path)) {
    return *std::move(names);
  }
  throw Failure(path, kUnreadable, kUnreadableRemedy);
}

void RequireColumns(const std::string& path, const FlightTable& table) {
  const auto columns =
      FirstColumn(path, std::string("SELECT name FROM pragma_table_info('") + table.name + "')");
  for (const char* column : table.columns) {
    if (columns && !HasTable(*columns, column)) {
      throw Failure(path,
                    std::string("table ") + table.name + " has no column " + column +
                        ": not a flight database as known",
                    WhatToGive(DatabaseKind::kFlight));
    }
  }
}

void RequireReadableRows(const std::string& path, const char* table) {
  const auto count = FirstColumn(path, std::string("SELECT count(*) FROM ") + table);
  if (!count) {
    throw Failure(path, std::string("table ") + table + " " + kUnreadable, kUnreadableRemedy);
  }
}

/// Why the system does not let the file be read; empty when it does.
std::string WhyNotReadable(const std::string& path) {
  errno = 0;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
  return file == nullptr ? std::generic_category().message(errno) : std::string();
}

}  // namespace

std::optional<std::vector<std::string>> TableNames(const std::string& path) {
  return FirstColumn(path, "SELECT name FROM sqlite_master WHERE type IN ('table', 'view') ORDER BY name");
}

bool HasTable(const std::vector<std::string>& names, const std::string& name) {
  const auto isName = [&name](const std::string& other) {
    return std::equal(name.begin(), name.end(), other.begin(), other.end(),
                      [](char a, char b) { return LowerAscii(a) == LowerAscii(b); });
  };
  return std::any_of(names.begin(), names.end(), isName);
}

std::optional<std::uintmax_t> FileBytes(const std::string& path) {
  std::error_code error;
  const std::uintmax_t bytes = fs::file_size(path, error);
  return error ? std::nullopt : std::optional(bytes);
}

void RequireDatabase(const std::string& path, DatabaseKind kind) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (status.type() == fs::file_type::not_found) {
    throw Failure(path, "no such file", "check the path");
  }
  if (status.type() == fs::file_type::none) {
    throw Failure(path, "cannot be reached: " + error.message(), "check the path and its permissions");
  }
  if (fs::is_directory(status)) {
    throw Failure(path, "is a folder, not a database", WhatToGive(kind));
  }
  if (!fs::is_regular_file(status)) {
    throw Failure(path, "is no regular file", WhatToGive(kind));
  }
  if (const std::string reason = WhyNotReadable(path); !reason.empty()) {
    throw Failure(path, "cannot be read: " + reason, "check its permissions");
  }
  if (FileBytes(path) == std::uintmax_t{0}) {
    throw Failure(path, "empty file, not a database", WhatToGive(kind));
  }
  if (qvsql::Database database; !database.Open(path)) {
    throw Failure(path, "not a database", WhatToGive(kind));
  }
}

void ThrowWhyNotFlight(const std::string& path) {
  RequireDatabase(path, DatabaseKind::kFlight);
  const std::vector<std::string> names = TableNamesOrThrow(path);
  for (const FlightTable& table : FlightTables()) {
    if (!HasTable(names, table.name)) {
      throw Failure(path, std::string("table ") + table.name + " is missing: not a flight database",
                    WhatToGive(DatabaseKind::kFlight));
    }
    RequireColumns(path, table);
    RequireReadableRows(path, table.name);
  }
  throw Failure(path, kUnreadable, kUnreadableRemedy);
}

void ThrowWhyNotProject(const std::string& path) {
  RequireDatabase(path, DatabaseKind::kProject);
  const std::vector<std::string> names = TableNamesOrThrow(path);
  for (const char* table : kProjectTables) {
    if (!HasTable(names, table)) {
      throw Failure(path, std::string("table ") + table + " is missing: not a project, or a damaged one",
                    WhatToGive(DatabaseKind::kProject));
    }
    RequireReadableRows(path, table);
  }
  if (FirstColumn(path, "SELECT count(*) FROM data_project") == std::vector<std::string>{"0"}) {
    throw Failure(path, "table data_project is empty: not a project, or a damaged one",
                  "save the project again, or restore it from a backup");
  }
  throw Failure(path, kUnreadable, kUnreadableRemedy);
}

}  // namespace qvapp
