// What can be known and done about a database file before and beside the engine. Private: not installed.
#pragma once

#include <filesystem>
#include <string>

namespace qvsql {

/// How a database file was left by whoever wrote it last.
enum class FileState {
  kNotADatabase,  ///< missing, no regular file, or with other content
  kClean,         ///< the file alone is the database
  kClosedLog,   ///< the same, in write-ahead mode: reading it as other files are read would make a log beside
                ///< it
  kUnfinished,  ///< beside it stands a journal or a log that belongs to it: reading it in place would change
                ///< both
};

/// Looks at the file's kind and header, not further; never blocks and creates nothing.
[[nodiscard]] FileState Inspect(const std::string& path) noexcept;

/// Makes a new, empty file at `path`. False when anything is there already or it cannot be made.
[[nodiscard]] bool CreateExclusively(const std::string& path) noexcept;

/// Removes what an older database of that name may have left beside it: a journal, a write-ahead log.
void RemoveSideFiles(const std::string& path) noexcept;

/// A copy of a database and its side files in a folder of its own, gone when the object goes.
class TemporaryCopy {
 public:
  TemporaryCopy() = default;
  ~TemporaryCopy();
  TemporaryCopy(const TemporaryCopy&) = delete;
  TemporaryCopy& operator=(const TemporaryCopy&) = delete;

  /// Copies the database at `path`. False when it cannot be copied whole, for one because somebody is writing
  /// to it.
  [[nodiscard]] bool Make(const std::string& path);

  /// The database in the copy.
  [[nodiscard]] std::string Path() const;

 private:
  std::filesystem::path folder_;  // empty when there is no copy
};

}  // namespace qvsql
