#include "support/SystemCalls.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <map>
#include <mutex>
#include <utility>

namespace {

using support::Fault;
using support::FileChange;

struct Watch {
  std::string folder;  // empty: nothing is watched
  std::vector<FileChange>* changes = nullptr;
  long untilFault = -1;  // calls that still succeed; -1: no fault is set
  Fault fault = Fault::kDeviceError;
  bool lasting = false;
  bool struck = false;
  std::string awaited{};  // the file before whose opening something is done
  std::function<void()> act{};
};

thread_local Watch watch;
thread_local bool inside = false;  // what the watching itself does is not watched

/// The system's own function of the same name.
template <class Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
#define QV_REAL(name) (Real<decltype(name)>(#name))

class Inside {
 public:
  Inside() : before_(std::exchange(inside, true)) {}
  ~Inside() { inside = before_; }
  Inside(const Inside&) = delete;
  Inside& operator=(const Inside&) = delete;

 private:
  bool before_;
};

bool IsWatching() {
  return !inside && !watch.folder.empty();
}

bool IsBelow(const std::string& path) {
  return path == watch.folder || path.starts_with(watch.folder + "/");
}

/// The path of a file that is open; empty for what is no file.
std::string PathOf(int file) {
  char path[4096];
  const std::string link = "/proc/self/fd/" + std::to_string(file);
  const ssize_t size = readlink(link.c_str(), path, sizeof path);
  return size < 0 ? std::string() : std::string(path, static_cast<std::size_t>(size));
}

enum class Turn { kGoOn, kFail, kHalf, kHalfThenFull };

/// Whether this call fails; counted for calls on what is watched alone.
Turn TurnOf(const std::string& path, bool moves) {
  if (!IsBelow(path) || watch.untilFault < 0) {
    return Turn::kGoOn;
  }
  if (watch.untilFault > 0) {
    --watch.untilFault;
    return Turn::kGoOn;
  }
  if (watch.struck && !watch.lasting) {
    return Turn::kGoOn;
  }
  const bool first = !std::exchange(watch.struck, true);
  switch (watch.fault) {
    case Fault::kDeviceError:
      errno = EIO;
      return Turn::kFail;
    case Fault::kNoPermission:
      errno = EACCES;
      return Turn::kFail;
    case Fault::kDiskFull:
      errno = ENOSPC;
      return moves && first ? Turn::kHalfThenFull : Turn::kFail;
    case Fault::kShort:
      errno = EIO;
      return moves ? Turn::kHalf : Turn::kFail;
  }
  return Turn::kGoOn;
}

void Note(FileChange change) {
  if (watch.changes != nullptr) {
    watch.changes->push_back(std::move(change));
  }
}

void NoteWrite(const std::string& path, std::uint64_t offset, const void* data, ssize_t size) {
  if (watch.changes != nullptr && size > 0) {
    const auto* const bytes = static_cast<const unsigned char*>(data);
    Note({FileChange::Kind::kWrite, path, "", offset, {bytes, bytes + size}});
  }
}

std::string Absolute(const char* path) {
  return std::filesystem::absolute(path).lexically_normal().string();
}

/// Opens with what the system has; notes what that made.
template <class Open>
auto Opened(const char* name, bool creates, bool truncates, Open open) -> decltype(open()) {
  using Result = decltype(open());
  if (!IsWatching() || name == nullptr) {
    return open();
  }
  const Inside guard;
  const std::string path = Absolute(name);
  if (watch.act && path == watch.awaited) {
    watch.act();
  }
  if (TurnOf(path, false) == Turn::kFail) {
    if constexpr (std::is_pointer_v<Result>) {
      return nullptr;
    } else {
      return -1;
    }
  }
  struct stat status = {};
  const bool wasThere = lstat(name, &status) == 0;
  const Result result = open();
  const int error = errno;
  if (IsBelow(path) && (result != Result{} || !std::is_pointer_v<Result>)) {
    if (creates && !wasThere && lstat(name, &status) == 0) {
      Note({FileChange::Kind::kCreate, path, "", 0, {}});
    } else if (truncates && wasThere && status.st_size > 0) {
      Note({FileChange::Kind::kTruncate, path, "", 0, {}});
    }
  }
  errno = error;
  return result;
}

/// Moves bytes, all or as many as it is this call's turn to.
template <class Move>
ssize_t Moved(int file, std::size_t size, Move move) {
  if (!IsWatching()) {
    return move(size);
  }
  const Inside guard;
  const std::string path = PathOf(file);
  const Turn turn = TurnOf(path, true);
  if (turn == Turn::kFail) {
    return -1;
  }
  const std::size_t part = turn == Turn::kGoOn || size < 2 ? size : size / 2;
  if (turn == Turn::kHalfThenFull) {
    watch.lasting = true;  // a disk that is full stays full
  }
  return move(part);
}

template <class Change>
int Changed(Change change, FileChange note) {
  if (!IsWatching()) {
    return change();
  }
  const Inside guard;
  if (TurnOf(note.path, false) == Turn::kFail) {
    return -1;
  }
  const int result = change();
  const int error = errno;
  if (result == 0 && IsBelow(note.path)) {
    Note(std::move(note));
  }
  errno = error;
  return result;
}

int OpenWith(int (*real)(const char*, int, ...), const char* path, int flags, mode_t mode) {
  return Opened(path, (flags & O_CREAT) != 0, (flags & O_TRUNC) != 0,
                [=] { return real(path, flags, mode); });
}

mode_t ModeOf(int flags, va_list arguments) {
  return (flags & O_CREAT) != 0 ? static_cast<mode_t>(va_arg(arguments, unsigned)) : 0;
}

std::FILE* FopenWith(std::FILE* (*real)(const char*, const char*), const char* path, const char* mode) {
  const bool writes = mode[0] == 'w';
  return Opened(path, writes || mode[0] == 'a', writes, [=] { return real(path, mode); });
}

ssize_t PositionOf(int file) {
  return lseek(file, 0, SEEK_CUR);
}

}  // namespace

#pragma GCC visibility push(default)  // the libraries are to find these, not the system's
extern "C" {

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeOf(flags, arguments);
  va_end(arguments);
  return OpenWith(QV_REAL(open), path, flags, mode);
}

int open64(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeOf(flags, arguments);
  va_end(arguments);
  return OpenWith(QV_REAL(open64), path, flags, mode);
}

std::FILE* fopen(const char* path, const char* mode) {
  return FopenWith(QV_REAL(fopen), path, mode);
}

std::FILE* fopen64(const char* path, const char* mode) {
  return FopenWith(QV_REAL(fopen64), path, mode);
}

DIR* opendir(const char* path) {
  return Opened(path, false, false, [=] { return QV_REAL(opendir)(path); });
}

ssize_t read(int file, void* data, size_t size) {
  return Moved(file, size, [=](size_t part) { return QV_REAL(read)(file, data, part); });
}

ssize_t pread(int file, void* data, size_t size, off_t offset) {
  return Moved(file, size, [=](size_t part) { return QV_REAL(pread)(file, data, part, offset); });
}

ssize_t pread64(int file, void* data, size_t size, off64_t offset) {
  return Moved(file, size, [=](size_t part) { return QV_REAL(pread64)(file, data, part, offset); });
}

ssize_t write(int file, const void* data, size_t size) {
  return Moved(file, size, [=](size_t part) {
    const ssize_t offset = inside ? PositionOf(file) : 0;
    const ssize_t written = QV_REAL(write)(file, data, part);
    if (inside && IsBelow(PathOf(file))) {
      NoteWrite(PathOf(file), static_cast<std::uint64_t>(offset), data, written);
    }
    return written;
  });
}

ssize_t pwrite(int file, const void* data, size_t size, off_t offset) {
  return Moved(file, size, [=](size_t part) {
    const ssize_t written = QV_REAL(pwrite)(file, data, part, offset);
    if (inside && IsBelow(PathOf(file))) {
      NoteWrite(PathOf(file), static_cast<std::uint64_t>(offset), data, written);
    }
    return written;
  });
}

ssize_t pwrite64(int file, const void* data, size_t size, off64_t offset) {
  return pwrite(file, data, size, offset);
}

// As one write of the first piece: callers go on with the rest.
ssize_t writev(int file, const iovec* pieces, int count) {
  if (!IsWatching()) {
    return QV_REAL(writev)(file, pieces, count);
  }
  for (int i = 0; i < count; ++i) {
    if (pieces[i].iov_len > 0) {
      return write(file, pieces[i].iov_base, pieces[i].iov_len);
    }
  }
  return 0;
}

int ftruncate(int file, off_t length) noexcept {
  const std::string path = IsWatching() ? PathOf(file) : std::string();
  return Changed([=] { return QV_REAL(ftruncate)(file, length); },
                 {FileChange::Kind::kTruncate, path, "", static_cast<std::uint64_t>(length), {}});
}

int ftruncate64(int file, off64_t length) noexcept {
  return ftruncate(file, length);
}

int fsync(int file) {
  const std::string path = IsWatching() ? PathOf(file) : std::string();
  return Changed([=] { return QV_REAL(fsync)(file); }, {FileChange::Kind::kFlush, path, "", 0, {}});
}

int fdatasync(int file) {
  const std::string path = IsWatching() ? PathOf(file) : std::string();
  return Changed([=] { return QV_REAL(fdatasync)(file); }, {FileChange::Kind::kFlush, path, "", 0, {}});
}

int rename(const char* from, const char* to) noexcept {
  const bool watching = IsWatching();
  return Changed(
      [=] { return QV_REAL(rename)(from, to); },
      {FileChange::Kind::kRename, watching ? Absolute(from) : "", watching ? Absolute(to) : "", 0, {}});
}

int unlink(const char* path) noexcept {
  return Changed([=] { return QV_REAL(unlink)(path); },
                 {FileChange::Kind::kRemove, IsWatching() ? Absolute(path) : "", "", 0, {}});
}

int remove(const char* path) noexcept {
  return Changed([=] { return QV_REAL(remove)(path); },
                 {FileChange::Kind::kRemove, IsWatching() ? Absolute(path) : "", "", 0, {}});
}

}  // extern "C"
#pragma GCC visibility pop

namespace support {

std::vector<FileChange> ChangesBelow(const std::string& folder, const std::function<void()>& work) {
  std::vector<FileChange> changes;
  watch = {.folder = std::filesystem::canonical(folder).string(), .changes = &changes};
  work();
  watch = {};
  return changes;
}

FailingCalls::FailingCalls(std::string folder, long number, Fault fault, bool lasting) {
  watch = {.folder = std::filesystem::canonical(folder).string(),
           .changes = nullptr,
           .untilFault = number,
           .fault = fault,
           .lasting = lasting};
}

FailingCalls::~FailingCalls() {
  watch = {};
}

bool FailingCalls::Struck() const {
  return watch.struck;
}

BeforeOpening::BeforeOpening(const std::string& path, std::function<void()> act) {
  const std::filesystem::path folder = std::filesystem::canonical(std::filesystem::path(path).parent_path());
  watch = {.folder = folder.string(),
           .awaited = (folder / std::filesystem::path(path).filename()).string(),
           .act = std::move(act)};
}

BeforeOpening::~BeforeOpening() {
  watch = {};
}

int OpenFilesBelow(const std::string& folder) {
  const Inside guard;
  const std::string below = std::filesystem::canonical(folder).string() + "/";
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const std::string path = PathOf(std::stoi(entry.path().filename().string()));
    count += path.starts_with(below) ? 1 : 0;
  }
  return count;
}

}  // namespace support
