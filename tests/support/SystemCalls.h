// The system calls on files that a program makes, watched and made to fail. A program that links
// SystemCalls.cpp has the system's functions replaced, in all libraries that it loads.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace support {

/// A call that changes what a folder holds, or makes it durable.
struct FileChange {
  enum class Kind {
    kCreate,    ///< a new, empty file at `path`
    kWrite,     ///< `bytes` at `offset` of `path`
    kTruncate,  ///< `path` to the length `offset`
    kRename,    ///< `path` to `to`
    kRemove,    ///< `path`
    kFlush,     ///< what was written to the file `path`, or what was done in the folder `path`
  };
  Kind kind;
  std::string path;
  std::string to;
  std::uint64_t offset = 0;
  std::vector<unsigned char> bytes;
};

/// Notes all changes that this program makes below `folder`, while `work` runs, in their order.
[[nodiscard]] std::vector<FileChange> ChangesBelow(const std::string& folder,
                                                   const std::function<void()>& work);

/// What a system call does when it is its turn to fail.
enum class Fault {
  kDeviceError,   ///< nothing, and EIO
  kDiskFull,      ///< writes half of what it was to write, then ENOSPC; others ENOSPC
  kNoPermission,  ///< nothing, and EACCES
  kShort,         ///< reads or writes half of what it was to, and says so; other calls: EIO
};

/// While the object lives, the call number `number` (from 0) below `folder` fails, and all after it too if
/// `lasting`.
class FailingCalls {
 public:
  FailingCalls(std::string folder, long number, Fault fault, bool lasting);
  ~FailingCalls();
  FailingCalls(const FailingCalls&) = delete;
  FailingCalls& operator=(const FailingCalls&) = delete;

  /// Whether a call has failed.
  [[nodiscard]] bool Struck() const;
};

/// While the object lives, `act` is called whenever this thread is about to open the file `path`. What it does
/// itself is not watched.
class BeforeOpening {
 public:
  BeforeOpening(const std::string& path, std::function<void()> act);
  ~BeforeOpening();
  BeforeOpening(const BeforeOpening&) = delete;
  BeforeOpening& operator=(const BeforeOpening&) = delete;
};

/// How many files this program has open below `folder`.
[[nodiscard]] int OpenFilesBelow(const std::string& folder);

}  // namespace support
