// Says why a file is not the database that a command needs. The library answers with true or false; what is
// wrong is found out here, after the fact, so that nothing is looked at twice while all is well.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qvapp {

/// What a command expects a database to be.
enum class DatabaseKind { kFlight, kProject };

/// Throws a `Failure` when there is no database at `path`: no such file, a folder, an empty file, another
/// kind of file, one that may not be read.
void RequireDatabase(const std::string& path, DatabaseKind kind);

/// Throws the reason why the missions of the flight database at `path` could not be read.
[[noreturn]] void ThrowWhyNotFlight(const std::string& path);

/// Throws the reason why the project at `path` could not be opened.
[[noreturn]] void ThrowWhyNotProject(const std::string& path);

/// The names of all tables and views; none when the file is no database or cannot be read.
[[nodiscard]] std::optional<std::vector<std::string>> TableNames(const std::string& path);

/// Whether `names` has the table `name`, in any case of its letters, as the database engine sees it.
[[nodiscard]] bool HasTable(const std::vector<std::string>& names, const std::string& name);

/// The size of a file; none when it is missing.
[[nodiscard]] std::optional<std::uintmax_t> FileBytes(const std::string& path);

}  // namespace qvapp
