// The tables of a project database as plain lists of columns, for whoever looks at a database without reading
// it into a project. The lists are those by which the tables are written and read: each table's file in
// tables/ hands out its own. Private: not installed.
#pragma once

#include <vector>

namespace qvprj {

/// One column; `type` is a type code of qvsql.
struct StoredColumn {
  const char* name = "";
  int type = 0;
  bool filled = true;  ///< false where no record fills it: it may hold anything, and nothing reads it
};

/// One table, its columns in the order in which readers take them.
struct StoredTable {
  const char* name = "";
  std::vector<StoredColumn> columns;
  bool optional = false;          ///< whether a project may be without it
  std::size_t older_columns = 0;  ///< how many columns the table has in older files; 0 when as many
};

[[nodiscard]] StoredTable StoredProjectTable();
[[nodiscard]] StoredTable StoredCameraTable();
[[nodiscard]] StoredTable StoredImageTable();
[[nodiscard]] StoredTable StoredGCPTable();
[[nodiscard]] StoredTable StoredCPTable();
[[nodiscard]] StoredTable StoredFeatureTable();
[[nodiscard]] StoredTable StoredMatchTable();

}  // namespace qvprj
