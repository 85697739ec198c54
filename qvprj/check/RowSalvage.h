// The rows of a damaged table. Private to this room.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "qvsql/Database.h"

namespace qvprj {

/// The rows that can still be reached, in the order of their row ids.
struct SalvagedRows {
  std::vector<std::vector<std::string>> rows;
  std::size_t lost = 0;      ///< row ids between those of the rows that cannot be read
  bool end_unknown = false;  ///< whether rows may be missing behind the last one
};

/// Reads the columns `columns`, as a statement names them, of a table: forward from its start until the engine
/// stops at damage, backward from its end, and between the two in ranges that are halved until they can be
/// read or are a single row, a bounded number of them.
[[nodiscard]] SalvagedRows SalvageRows(qvsql::Database& database, const std::string& table,
                                       const std::string& columns);

}  // namespace qvprj
