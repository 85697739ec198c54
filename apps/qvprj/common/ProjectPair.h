// The two files of a project as files: their names, what they may replace, and replacing them.
#pragma once

#include <cstdint>
#include <functional>
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

/// What a failure to write `pair` leaves, in a few words: "what was there before is untouched".
[[nodiscard]] std::string WhatStays(const ProjectPair& pair);

/// Lets `write` make a new pair at the paths that it is given, and puts it in place of `pair` as a whole,
/// once it is safe on the disk. What `write` throws is thrown, and another failure where the new pair, of
/// about `bytes`, cannot be put in place; what was there before is untouched then, and nothing else left
/// behind.
void ReplaceProject(const ProjectPair& pair, std::uintmax_t bytes,
                    const std::function<void(const ProjectPair& made)>& write);

/// The reason why files of together `bytes` could not be written at `path`, found out by trying.
[[nodiscard]] std::string WhyNotWritable(const std::string& path, std::uintmax_t bytes);

/// Path and size of both files.
[[nodiscard]] Json JsonFiles(const ProjectPair& pair);

}  // namespace qvapp
