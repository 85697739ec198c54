// Rows of a statement as they come, for a function that may throw. Private to this room.
#pragma once

#include <exception>
#include <span>
#include <string>
#include <type_traits>

#include "qvsql/Database.h"

namespace qvprj {

/// Calls `take` with the cells of each row, which are null pointers for NULL. False when the statement fails;
/// what came before the failure was taken. What `take` throws ends the statement and is passed on.
template <class Take>
bool ForEachRow(qvsql::Database& database, const std::string& statement, Take&& take) {
  struct Work {
    std::remove_reference_t<Take>& take;
    std::exception_ptr thrown;
  } work{take, nullptr};
  const auto callback = [](void* user, int columns, char** values, char** /*names*/) {
    Work& current = *static_cast<Work*>(user);
    try {
      current.take(std::span<char* const>(values, static_cast<std::size_t>(columns)));
      return 0;
    } catch (...) {
      current.thrown = std::current_exception();  // nothing may unwind through the engine
      return 1;
    }
  };
  const bool done = database.ExecSQL(statement, callback, &work);
  if (work.thrown) {
    std::rethrow_exception(work.thrown);
  }
  return done;
}

/// A name as a statement takes it.
inline std::string Identifier(const std::string& name) {
  std::string quoted = "\"";
  for (const char c : name) {
    quoted.append(c == '"' ? 2 : 1, c);
  }
  return quoted + '"';
}

}  // namespace qvprj
