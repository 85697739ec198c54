// Paths and files. Paths are narrow strings: the ANSI code page on Windows, bytes as they are elsewhere.
#pragma once

#include <string>
#include <vector>

#include "qvfd/Export.h"

namespace qvfd {

/// Path arithmetic on text, and the few file operations that a project needs. '/' separates directories, on
/// Windows '\' too. Nothing here throws but std::bad_alloc out of the operations that return text.
class QVFD_API PathHelper {
 public:
  /// The directory part: "a/b" of "a/b/p.db", "/" of "/p.db", empty when there is none.
  [[nodiscard]] static std::string GetFileDirectory(std::string path);

  /// The file name without directory and without its last extension: "p.v2" of "a/p.v2.db". A leading dot is
  /// part of the title: the title of ".db" is ".db".
  [[nodiscard]] static std::string GetFileTitle2(std::string path);

  /// The last extension with its dot: ".db" of "a/p.v2.db"; empty when there is none.
  [[nodiscard]] static std::string GetFileExtension(std::string path);

  /// `name` inside `directory`; `name` alone when `directory` is empty.
  [[nodiscard]] static std::string Merge(std::string directory, std::string name);

  /// Whether a regular file is at `path`, directly or behind a symbolic link.
  [[nodiscard]] static bool IsFileExisted(std::string path) noexcept;

  /// Deletes a file or a symbolic link. False when nothing was deleted: nothing is there, it is a directory,
  /// a device or another thing that is no file, or the system refused.
  static bool RemoveFile(std::string path) noexcept;

  /// Copies the file `from` to `to` and replaces what is there. The copy is made beside the target and then
  /// renamed, so a copy that fails leaves the target as it was. Does nothing when `from` is no regular file,
  /// when `to` is something else than a file, or when both are the same file.
  static void CopyFile2(std::string from, std::string to) noexcept;

  /// Appends the full path (`directory` joined with the name) of every regular file in `directory`, links to
  /// regular files included, to `names`, sorted by bytes. An empty `directory` is the current one. Adds
  /// nothing when the directory cannot be read.
  static void GetFileNames(std::string directory, std::vector<std::string>& names) noexcept;
};

}  // namespace qvfd
