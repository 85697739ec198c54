// The two files of a project as files.
#include "common/ProjectPair.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <system_error>

#include "common/DatabaseFiles.h"
#include "common/Failure.h"
#include "qvfd/PathHelper.h"
#include "qvprj/project/PairReplacement.h"
#include "qvprj/project/QvProject.h"
#include "qvsql/Database.h"

namespace fs = std::filesystem;

namespace qvapp {
namespace {

/// The library alone knows how a track file is named.
struct TrackFile : qvprj::QvProject {
  using QvProject::GetTrackFileName;
};

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

bool EndsInSeparator(const std::string& path) {
#ifdef _WIN32
  return path.back() == '/' || path.back() == '\\';
#else
  return path.back() == '/';
#endif
}

bool HasTrackFileExtension(const std::string& path) {
  const std::string extension = qvfd::PathHelper::GetFileExtension(path);
  return extension.size() == 3 && extension[0] == '.' && (extension[1] == 'g' || extension[1] == 'G') &&
         (extension[2] == 'b' || extension[2] == 'B');
}

/// True for a link that leads nowhere too: a name that is taken.
bool IsTaken(const std::string& path) {
  std::error_code error;
  return fs::exists(fs::symlink_status(path, error));
}

void RequireFolder(const std::string& path) {
  const std::string folder = qvfd::PathHelper::GetFileDirectory(path);
  std::error_code error;
  const fs::file_status status = fs::status(folder.empty() ? std::string(".") : folder, error);
  if (status.type() == fs::file_type::not_found) {
    throw Failure(path, "the folder '" + folder + "' does not exist", "make it first");
  }
  if (status.type() == fs::file_type::none) {
    throw Failure(path, "the folder '" + folder + "' cannot be reached: " + error.message(),
                  "check its permissions");
  }
  if (!fs::is_directory(status)) {
    throw Failure(path, "'" + folder + "' is no folder", "name a file in a folder");
  }
}

void RequireFileOrNothing(const std::string& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (fs::is_directory(status)) {
    throw Failure(path, "is a folder: no file can be put in its place", "choose another name");
  }
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    throw Failure(path, "is no regular file: it is not replaced", "choose another name");
  }
}

/// Also what an interrupted save leaves counts as a project: some of its tables, or none at all.
bool HoldsProject(const std::vector<std::string>& tables) {
  return tables.empty() || HasTable(tables, "data_project") || HasTable(tables, "data_image") ||
         HasTable(tables, "data_camera");
}

/// --force is there to renew a project. A slip of the finger must not cost a flight, or a photo.
void RequireProjectOrNothing(const std::string& path) {
  const auto bytes = FileBytes(path);
  if (!bytes || *bytes == 0) {
    return;
  }
  if (qvsql::Database database; !database.Open(path)) {
    throw Failure(path, "is no database; it is not replaced", "choose another name, or remove it yourself");
  }
  const auto tables = TableNames(path);
  if (!tables) {
    throw Failure(path, "cannot be read (damaged, or in use by another program); it is not replaced",
                  "choose another name, or remove it yourself");
  }
  if (!HoldsProject(*tables)) {
    throw Failure(path, "is a database but no project; it is not replaced",
                  "choose another name, or remove it yourself");
  }
}

/// `place` with `suffix` behind it, or with the first of `suffix` 2, 3, ... that is free.
std::string FreeNameBeside(const std::string& place, const std::string& suffix) {
  std::string name = place + suffix;
  for (int number = 2; IsTaken(name); ++number) {
    name = place + suffix + std::to_string(number);
  }
  return name;
}

/// Writes `bytes` to a new file at `path`; the system's reason when that fails, empty text otherwise.
std::string TryToWrite(const std::string& path, std::uintmax_t bytes) {
  const std::array<char, 65536> block{};
  errno = 0;
  File file(std::fopen(path.c_str(), "wbx"), &std::fclose);
  if (file == nullptr) {
    return std::generic_category().message(errno);
  }
  std::setvbuf(file.get(), nullptr, _IONBF, 0);
  for (std::uintmax_t written = 0; written < bytes; written += block.size()) {
    if (std::fwrite(block.data(), 1, block.size(), file.get()) != block.size()) {
      return std::generic_category().message(errno);
    }
  }
  const bool closed = std::fclose(file.release()) == 0;
  return closed ? std::string() : std::generic_category().message(errno);
}

}  // namespace

ProjectPair PairOf(const std::string& database) {
  return {database, TrackFile::GetTrackFileName(database)};
}

bool IsSameFile(const std::string& a, const std::string& b) {
  std::error_code error;
  const bool bothThere = fs::exists(a, error) && fs::exists(b, error);
  if (bothThere) {
    return fs::equivalent(a, b, error);
  }
  const auto whereabouts = [&error](const std::string& path) {
    return fs::weakly_canonical(fs::absolute(path, error), error);
  };
  return whereabouts(a) == whereabouts(b);
}

void RequireProjectName(const std::string& path) {
  constexpr const char* kRemedy = "give a file name such as survey.db";
  if (path.empty()) {
    throw Failure(path, "is no file name", kRemedy, kWrongUsage);
  }
  if (EndsInSeparator(path)) {
    throw Failure(path, "names a folder, not a file", kRemedy, kWrongUsage);
  }
  if (HasTrackFileExtension(path)) {
    throw Failure(path, "the extension .gb belongs to the track file beside the project", kRemedy,
                  kWrongUsage);
  }
}

void RequireApart(const ProjectPair& pair, const std::string& source) {
  for (const std::string& file : {pair.database, pair.track_file}) {
    if (IsSameFile(file, source)) {
      throw Failure(file, "is the file that is read from: it is never replaced", "choose another name",
                    kWrongUsage);
    }
  }
}

void RequireFree(const ProjectPair& pair, bool force) {
  RequireFolder(pair.database);
  for (const std::string& file : {pair.database, pair.track_file}) {
    RequireFileOrNothing(file);
    if (!force && IsTaken(file)) {
      throw Failure(file, "exists already", "use --force to replace it");
    }
  }
  RequireProjectOrNothing(pair.database);
}

std::string WhatStays(const ProjectPair& pair) {
  return IsTaken(pair.database) || IsTaken(pair.track_file) ? "what was there before is untouched"
                                                            : "nothing was left behind";
}

void ReplaceProject(const ProjectPair& pair, std::uintmax_t bytes,
                    const std::function<void(const ProjectPair& made)>& write) {
  std::exception_ptr failure;
  const bool replaced =
      qvprj::ReplacePair({pair.database, pair.track_file}, [&](const qvprj::PairFiles& made) {
        try {
          write({made.database, made.track_file});
          return true;
        } catch (...) {
          failure = std::current_exception();
          return false;
        }
      });
  if (failure) {
    std::rethrow_exception(failure);
  }
  if (!replaced) {
    throw Failure(pair.database, "cannot be saved: " + WhyNotWritable(pair.database, bytes),
                  "make room, or choose another place; " + WhatStays(pair));
  }
}

std::string WhyNotWritable(const std::string& path, std::uintmax_t bytes) {
  const std::string folder = qvfd::PathHelper::GetFileDirectory(path);
  std::error_code error;
  const fs::space_info space = fs::space(folder.empty() ? std::string(".") : folder, error);
  if (!error && space.available < bytes) {
    return "about " + std::to_string(bytes) + " bytes are needed and " + std::to_string(space.available) +
           " are free";
  }
  constexpr std::uintmax_t kMostToTry = std::uintmax_t{64} << 20U;
  const std::string probe = FreeNameBeside(path, ".probe");
  const std::string reason = TryToWrite(probe, std::min(bytes, kMostToTry));
  qvfd::PathHelper::RemoveFile(probe);
  return reason.empty() ? "no reason was found: its folder has room and takes files" : reason;
}

Json JsonFiles(const ProjectPair& pair) {
  const auto file = [](const std::string& path) {
    return Json{{"path", JsonText(path)}, {"bytes", JsonBytes(FileBytes(path))}};
  };
  return {{"database", file(pair.database)}, {"track_file", file(pair.track_file)}};
}

}  // namespace qvapp
