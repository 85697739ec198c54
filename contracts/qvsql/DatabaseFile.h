// What can be known and done about a database file before and beside the engine. Private: not installed.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace qvsql {

/// How a database file was left by whoever wrote it last.
enum class FileState {
  kNotADatabase,  ///< missing, no regular file, or with other content
  kClean,         ///< the file alone is the database
  kClosedLog,  ///< the same, but read the usual way files would be made beside it: write-ahead mode, empty log
  kUnfinished,  ///< a journal or a log beside it belongs to it: to read it in place would change both
};

/// Looks at the file's kind and header, not further; never blocks and creates nothing.
[[nodiscard]] FileState Inspect(const std::string& path) noexcept;

/// Whether a file, which is known to be a regular one, begins as a database does. One look at its first
/// bytes.
[[nodiscard]] bool BeginsAsDatabase(const std::string& path) noexcept;

/// The length of a database file without a last page that is not whole, by what its header says of pages; 0 where
/// all of its pages are whole, or none is. Of the file at `path` it is known to be one.
[[nodiscard]] std::uintmax_t LengthOfWholePages(const std::string& path);

/// A new, empty file at `path`, which has to outlive the object; gone with the object unless it is kept.
class NewFile {
 public:
  explicit NewFile(const std::string& path) noexcept;
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  /// False when anything is at the path already, or nothing can be made there.
  [[nodiscard]] bool IsMade() const { return made_; }
  void Keep() { kept_ = true; }

 private:
  const std::string& path_;
  bool made_ = false;
  bool kept_ = false;
};

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

  /// Cuts the copy of the database itself to this length.
  [[nodiscard]] bool CutTo(std::uintmax_t length) const;

  /// The database in the copy.
  [[nodiscard]] std::string Path() const;

 private:
  std::filesystem::path folder_;  // empty when there is no copy
};

}  // namespace qvsql
