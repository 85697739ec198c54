// Tables as other programs might have made them: valid SQL, and little else that a reader would expect.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "Target.h"

namespace fuzz {

/// A table as it should be.
struct TableForm {
  const char* name;
  std::vector<const char*> columns;
};

/// The statements that make a table of about this form: whole or lacking columns, with odd types, keys,
/// defaults and generated columns, as a view, in another order, with odd rows, with triggers. `ids` are values
/// that occur in its first columns more often than others.
[[nodiscard]] std::vector<std::string> OddTable(Input& input, const TableForm& form,
                                                std::span<const char* const> ids);

/// The statements that come before all tables (encoding, page size) and those that come behind.
[[nodiscard]] std::vector<std::string> OddBeginning(Input& input);
[[nodiscard]] std::vector<std::string> OddEnd(Input& input, const TableForm& form);

/// Changes to the header of a database file: that it is in write-ahead mode, written by another version, and
/// so on.
void ChangeHeader(Input& input, Bytes& file);

}  // namespace fuzz
