// The rows of a damaged table. Private to this room.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "qvprj/check/DatabasePages.h"
#include "qvprj/check/LeafScan.h"
#include "qvsql/Database.h"

namespace qvprj {

/// The rows that can still be reached, in the order of their row ids.
struct SalvagedRows {
  std::vector<std::vector<std::string>> rows;
  std::vector<std::int64_t> ids;  ///< of the rows; none where rows have none
  std::size_t lost = 0;           ///< row ids between those of the rows that cannot be read
  bool end_unknown = false;       ///< whether rows may be missing behind the last one

  /// The first and the last of row ids, up to that of the last row, that cannot be read; ascending.
  std::vector<std::pair<std::int64_t, std::int64_t>> lost_ids;
};

/// The columns that are read of each row, as a statement names them, each with ", " before it.
struct RowColumns {
  std::string expressions;
  std::vector<std::string> texts;           ///< the names of those of type TEXT
  std::vector<std::size_t> text_positions;  ///< where they are among all
  std::size_t count = 0;                    ///< of all columns
  TextEncoding encoding = TextEncoding::kUtf8;

  /// Adds a column by its name in the table. Blobs come as hexadecimal digits.
  void Add(const std::string& name, int type);
};

/// Reads the columns of a table: forward from its start until the engine stops at damage, backward from its end, and
/// between the two in ranges that are halved until they can be read or are a single row. How many of them are tried
/// grows with the size of the file.
[[nodiscard]] SalvagedRows SalvageRows(qvsql::Database& database, const std::string& table,
                                       const RowColumns& columns, std::uintmax_t fileBytes);

/// Adds the rows of a scan that the engine did not give; those that it knows not to be there are old copies of rows,
/// and left out. Behind the last row that the engine gave, row ids between the pages of the scan count as lost: what
/// was there nobody can tell. Returns how many rows were added.
std::size_t AddScanned(ScannedRows scanned, SalvagedRows& salvaged);

}  // namespace qvprj
