// The two files of a project as files: their names, what they may replace, and getting rid of a half-made
// pair.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/Json.h"

namespace qvapp {

struct ProjectPair {
  std::string database;
  std::string track_file;
};

/// The pair that belongs to the project database at `database`.
[[nodiscard]] ProjectPair PairOf(const std::string& database);

/// Whether both paths name one file, directly or through links, or would if it were there.
[[nodiscard]] bool IsSameFile(const std::string& a, const std::string& b);

/// Throws wrong usage when `path` cannot name a project: it is empty, ends in a separator, or has the
/// extension of track files.
void RequireProjectName(const std::string& path);

/// Throws wrong usage when a file of `pair` is the file `source`, which the command reads.
void RequireApart(const ProjectPair& pair, const std::string& source);

/// Throws when `pair` must not be written: its folder is not there, or something is in its place and `force`
/// is false, is no file, or is a file that is no project.
void RequireFree(const ProjectPair& pair, bool force);

/// A pair of files in the making. What is in its place is put aside until `Keep`; `Undo`, or the end of the
/// object, removes what was made and puts it back.
class NewPair {
 public:
  explicit NewPair(ProjectPair pair);
  ~NewPair();
  NewPair(const NewPair&) = delete;
  NewPair& operator=(const NewPair&) = delete;

  /// The new pair is whole: removes what was put aside.
  void Keep() noexcept;

  /// Gives up the new pair, and says in a few words what that leaves behind.
  std::string Undo();

 private:
  struct Aside {
    std::string place;
    std::string now;  // where it is meanwhile
  };
  void PutAside(const std::string& place);

  ProjectPair pair_;
  std::vector<Aside> aside_;
  bool making_ = false;  // from here on, what is in the pair's place is ours to remove
  bool open_ = true;
};

/// The reason why files of together `bytes` could not be written at `path`, found out by trying.
[[nodiscard]] std::string WhyNotWritable(const std::string& path, std::uintmax_t bytes);

/// Path and size of both files.
[[nodiscard]] Json JsonFiles(const ProjectPair& pair);

}  // namespace qvapp
