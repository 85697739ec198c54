// Getting what can be read out of a damaged pair of files into a new one.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "qvprj/Export.h"

namespace qvprj {

/// What became of one table.
struct TableRecovery {
  std::string table;
  bool found = false;             ///< whether the list of tables has it
  std::size_t kept = 0;           ///< rows that are in the new table; where there are none, it holds defaults
  std::size_t found_by_scan = 0;  ///< those of them to which the engine found no way: from pages of their own
  std::size_t lost = 0;           ///< row ids among those of the kept rows that cannot be read
  bool end_unknown = false;       ///< whether more rows may be lost, behind the last one kept or all of them

  [[nodiscard]] bool IsWhole() const { return found && lost == 0 && !end_unknown; }
};

/// What became of one blob of the track file. A blob that was not found is not told of.
struct BlobRecovery {
  std::string blob;         ///< "tracks", "features" or "matches"
  bool verified = false;    ///< whether its check value holds; the blob is then taken whole, as it is
  std::size_t kept = 0;     ///< whole records that are in the new blob
  std::size_t claimed = 0;  ///< records that there were, by what the blob says; it may be wrong

  [[nodiscard]] bool IsWhole() const { return verified; }
};

/// What became of the track file as a whole.
enum class TrackFileState {
  kSound,    ///< header and directory hold; the blobs tell of themselves
  kDamaged,  ///< header or directory is damaged: blobs were looked for where they should be
  kMissing,  ///< there is none
};

/// What `RecoverProject` got and what it did not.
struct QVPRJ_API RecoveryReport {
  std::string database;    ///< path of the new project database
  std::string track_file;  ///< path of the new track file
  std::vector<TableRecovery> tables;
  std::vector<std::string> other_tables;  ///< tables that are none of a project: not taken over

  /// Pages to which the engine found no way, with rows that may belong to several tables: not taken.
  std::size_t ambiguous_pages = 0;

  TrackFileState tracks = TrackFileState::kMissing;
  std::vector<BlobRecovery> blobs;

  /// Whether not one row and not one record could be read.
  [[nodiscard]] bool IsEmpty() const;

  /// Whether nothing is lost, as far as can be told.
  [[nodiscard]] bool IsComplete() const;
};

/// Reads what can be read of the project at `damaged` and writes it to a new pair of files at `target`, in
/// place of what is there:
///
/// - of every table of the format, all rows that the engine can still reach, from its start, from its end and
///   between damages, as they are: rows that repeat an id or refer to what is lost are kept,
/// - where that is not all of a table, rows on sound pages below what is damaged: the header of the file, the list
///   of tables, or inner pages of a table. Such a page is taken for that table alone whose rows all its rows can
///   be; where there are several, it is not taken. With the header the list of free pages is lost, and with that
///   may come rows that had been deleted,
/// - in place of a row of "data_project" the defaults of a new project, and an empty table for any other that is
///   not there,
/// - blobs of the track file whose check value holds as they are; of others the whole records before the
///   damage. Where nobody can tell, a record that names an image that is not there counts as damage if all
///   images could be read.
///
/// What is damaged without breaking the structure of a file, such as one digit of a number in a table, cannot
/// be told and is taken over. Both new files get a new stamp.
///
/// False when there is nothing to recover (`report.IsEmpty()`), when `target` cannot be written or is one of
/// the files to read, or when memory runs out; what was at `target` is then as it was. Nothing at `damaged` is
/// written or changed. The search in a damaged table ends after a bounded number of tries; what it has not
/// tried counts as lost. Takes memory for one table, or one blob, at a time.
[[nodiscard]] QVPRJ_API bool RecoverProject(const std::string& damaged, const std::string& target,
                                            RecoveryReport& report) noexcept;

}  // namespace qvprj
