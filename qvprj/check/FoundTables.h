// The tables of a database as they are, beside those that are documented. Private to this room.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qvprj/detail/StoredTables.h"
#include "qvsql/Database.h"

namespace qvprj {

/// A column as the database has it.
struct FoundColumn {
  std::string name;
  std::string type;
};

[[nodiscard]] std::string LowerAscii(std::string_view text);

/// All tables of the format.
[[nodiscard]] std::vector<StoredTable> StoredTables();

/// The columns of a table; none when it is not there.
[[nodiscard]] std::vector<FoundColumn> ColumnsOf(qvsql::Database& database, const char* table);

/// The position of the column `name`; none where there is none.
[[nodiscard]] std::optional<std::size_t> PositionOf(const std::vector<FoundColumn>& columns,
                                                    const char* name);

/// The tables and views that are none of a project.
[[nodiscard]] std::vector<std::string> OtherTables(qvsql::Database& database);

/// The bytes whose hexadecimal digits these are, in capitals.
[[nodiscard]] std::vector<unsigned char> BytesOfDigits(std::string_view digits);

}  // namespace qvprj
