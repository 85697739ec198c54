// How a pair of files is replaced so that no instant has half of it. Two files cannot be renamed in one step, so
// what counts is one small file, the record, of which the name tells whether the new pair holds:
//
//   .qv-H.lock    held by who is replacing; H is a hash of the database's name, so that names of any length,
//                 and several pairs in one folder, go well together
//   .qv-H.db      the new database    )  1. written and flushed to the disk
//   .qv-H.gb      the new track file  )
//   .qv-H.record  what the old and the new files look like; written and flushed
//   .qv-H.commit  2. the record renamed: from here on the new pair holds
//                 3. the new files renamed over the old ones, in any order
//                 4. the commit removed
//
// The folder is flushed after each numbered step, so the steps reach the disk in this order; within a step the
// order does not matter. Before 2 an interruption leaves the old pair, and files that the next replacement
// removes; after 2 whoever comes next finishes 3 and 4. The record knows files by their size and first bytes,
// which hold the stamp of a save and the check values of the container: a commit that is found beside other
// files than those it was made for is out of date and counts for nothing.

#include "qvprj/project/PairReplacement.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>
#include <thread>
#include <vector>

#if defined(_WIN32)
#include "detail/Windows.h"
#else
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include "detail/NoThrow.h"
#include "qvfd/BlobFile.h"
#include "qvfd/PathHelper.h"
#include "qvsql/SideFiles.h"

namespace qvprj {
namespace {

using qvfd::PathHelper;

constexpr std::chrono::seconds kLongestWait(10);
constexpr std::chrono::milliseconds kBetweenTries(5);

// ---- The system --------------------------------------------------------------------------------------
//
// Nothing here needs memory: after the commit nothing may fail for the lack of it.

#if defined(_WIN32)

bool Flush(const char* path) {
  const HANDLE file = CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                  nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  const bool flushed = file != INVALID_HANDLE_VALUE && FlushFileBuffers(file) != 0;
  if (file != INVALID_HANDLE_VALUE) {
    CloseHandle(file);
  }
  return flushed;
}

/// Renaming writes through; there is nothing to flush a folder with.
bool FlushFolder(const char* /*path*/) {
  return true;
}

bool Rename(const char* from, const char* to) {
  return MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
}

void KeepPermissions(const char* /*from*/, const char* /*to*/) {}

#else

bool FlushOpened(const char* path, int flags) {
  const int file = open(path, flags | O_RDONLY | O_CLOEXEC);
  if (file < 0) {
    return false;
  }
  const bool flushed = fsync(file) == 0;
  const int error = errno;
  close(file);
  errno = error;
  return flushed;
}

bool Flush(const char* path) {
  return FlushOpened(path, O_NOFOLLOW);
}

/// Some file systems cannot flush a folder, and need not.
bool FlushFolder(const char* path) {
  return FlushOpened(path, O_DIRECTORY) || errno == EINVAL || errno == ENOTSUP || errno == EACCES;
}

bool Rename(const char* from, const char* to) {
  return std::rename(from, to) == 0;
}

void KeepPermissions(const char* from, const char* to) {
  struct stat status = {};
  if (stat(from, &status) == 0 && S_ISREG(status.st_mode)) {
    static_cast<void>(chmod(to, status.st_mode & 07777U));
  }
}

#endif

bool IsThere(const std::string& path) {
#if defined(_WIN32)
  return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
#else
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0;
#endif
}

void Remove(const std::string& path) {
  std::remove(path.c_str());
}

/// A lock that a process loses however it ends. Its file is gone when nobody holds it.
class Lock {
 public:
  /// Waits for others, but not for ever.
  explicit Lock(const std::string& path) : path_(path) {
    const auto end = std::chrono::steady_clock::now() + kLongestWait;
    while (!Try() && isHeldByOther_ && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(kBetweenTries);
    }
  }
  ~Lock() { Release(); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

#if defined(_WIN32)

  [[nodiscard]] bool IsHeld() const {
    return file_ != INVALID_HANDLE_VALUE;
  }

 private:
  bool Try() {
    file_ = CreateFileA(path_.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                        FILE_ATTRIBUTE_HIDDEN | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    isHeldByOther_ = !IsHeld() && GetLastError() == ERROR_SHARING_VIOLATION;
    return IsHeld();
  }

  void Release() {
    if (IsHeld()) {
      CloseHandle(file_);
    }
  }

  HANDLE file_ = INVALID_HANDLE_VALUE;

#else

  [[nodiscard]] bool IsHeld() const {
    return file_ >= 0;
  }

 private:
  bool Try() {
    file_ = open(path_.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
    isHeldByOther_ = false;
    if (file_ < 0) {
      return false;
    }
    // A file system without locks has no second holder to be feared more than no saving at all.
    const bool locked = flock(file_, LOCK_EX | LOCK_NB) == 0 || (errno != EWOULDBLOCK && errno != EINTR);
    if (locked && IsStillThere()) {
      return true;
    }
    isHeldByOther_ = true;
    close(file_);
    file_ = -1;
    return false;
  }

  /// Who held it before has removed the file, and what was opened may be that one.
  [[nodiscard]] bool IsStillThere() const {
    struct stat opened = {};
    struct stat named = {};
    return fstat(file_, &opened) == 0 && lstat(path_.c_str(), &named) == 0 && opened.st_ino == named.st_ino &&
           opened.st_dev == named.st_dev;
  }

  void Release() {
    if (IsHeld()) {
      Remove(path_);
      close(file_);
    }
  }

  int file_ = -1;

#endif

  const std::string& path_;
  bool isHeldByOther_ = false;
};

// ---- Names and looks ---------------------------------------------------------------------------------

/// All paths of a replacement, made before it begins.
struct Places {
  PairFiles target;
  PairFiles made;
  std::string folder;
  std::string lock;
  std::string record;
  std::string commit;
  // Of the old database: its journal must not meet the new one.
  std::array<std::string, qvsql::kSideFileEnds.size()> sideFiles;
};

/// FNV-1a, 64 bits.
std::uint64_t HashOf(const std::string& name) {
  std::uint64_t hash = 0xCBF29CE484222325U;
  for (const char c : name) {
#if defined(_WIN32)
    const char byte = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;  // one file in either case
#else
    const char byte = c;
#endif
    hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001B3U;
  }
  return hash;
}

Places PlacesOf(const PairFiles& pair) {
  constexpr char kDigits[] = "0123456789abcdef";
  const std::string name =
      PathHelper::GetFileTitle2(pair.database) + PathHelper::GetFileExtension(pair.database);
  std::string stem = ".qv-";
  const std::uint64_t hash = HashOf(name);
  for (unsigned shift = 64; shift > 0; shift -= 4) {
    stem += kDigits[(hash >> (shift - 4)) & 0xFU];
  }
  const std::string folder = PathHelper::GetFileDirectory(pair.database);
  const std::string start = PathHelper::Merge(folder, stem);
  // Field by field: where memory runs out in the middle of an initializer list, g++ 12 destroys what it has made
  // of a temporary twice.
  Places places;
  places.target = pair;
  places.made.database = start + ".db";
  places.made.track_file = start + ".gb";
  places.folder = folder.empty() ? "." : folder;
  places.lock = start + ".lock";
  places.record = start + ".record";
  places.commit = start + ".commit";
  for (std::size_t i = 0; i < places.sideFiles.size(); ++i) {
    places.sideFiles[i] = pair.database + qvsql::kSideFileEnds[i];
  }
  return places;
}

/// What a file looks like: enough to tell it from the one before and the one after.
struct Look {
  static constexpr std::size_t kStartSize = 100;  // a database's header, more than a container's

  std::int32_t isThere = 0;
  std::uint64_t size = 0;
  std::vector<unsigned char> start = std::vector<unsigned char>(kStartSize);

  friend bool operator==(const Look&, const Look&) = default;
};

Look LookOf(const std::string& path) {
  Look look;
  if (!PathHelper::IsFileExisted(path)) {
    return look;
  }
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
  if (file == nullptr) {
    return look;
  }
  look.isThere = 1;
  look.size = std::fread(look.start.data(), 1, Look::kStartSize, file.get());
  if (look.size == Look::kStartSize) {
    std::error_code error;
    look.size = std::filesystem::file_size(path, error);
  }
  return look;
}

struct Record {
  Look oldDatabase;
  Look oldTrackFile;
  Look newDatabase;
  Look newTrackFile;
};

constexpr int kRecordTag = 2;

bool WriteRecord(const std::string& path, const Record& record) {
  return qvfd::WriteBlobFileInPlace(path, {.tag = kRecordTag}, [&record](qvfd::BlobFileWriter& file) {
    file.Begin(0);
    for (const Look* const look :
         {&record.oldDatabase, &record.oldTrackFile, &record.newDatabase, &record.newTrackFile}) {
      file.Write(look->isThere);
      file.Write(look->size);
      file.WriteArray(look->start);
    }
    return true;
  });
}

bool ReadRecord(const std::string& path, Record& record) {
  qvfd::BlobFileReader file;
  if (!file.Open(path) || file.Tag() != kRecordTag || !file.Begin(0)) {
    return false;
  }
  for (Look* const look :
       {&record.oldDatabase, &record.oldTrackFile, &record.newDatabase, &record.newTrackFile}) {
    if (!file.Read(look->isThere, look->size) || !file.ReadArray(Look::kStartSize, look->start)) {
      return false;
    }
  }
  return file.IsSound();
}

// ---- The steps ---------------------------------------------------------------------------------------

/// Removes what was made for a pair that does not hold.
void RemoveMade(const Places& places) {
  Remove(places.record);
  Remove(places.made.database);
  Remove(places.made.track_file);
}

/// Gives a commit up: it first, so that it is never found without the files that it speaks of.
void GiveUpCommit(const Places& places) {
  Remove(places.commit);
  static_cast<void>(FlushFolder(places.folder.c_str()));
  RemoveMade(places);
}

/// What is to be done about a commit.
struct Pending {
  bool holds = false;      // the commit is for the files that are there
  bool database = false;   // the new database is still to be put in place
  bool trackFile = false;  // the new track file is, or the old one to be removed
};

/// Puts the new track file in its place, or removes the old one where the new pair has none.
bool PutTrackFileInPlace(const Places& places) {
  const char* const made = places.made.track_file.c_str();
  const char* const target = places.target.track_file.c_str();
  return Rename(made, target) || (!IsThere(places.made.track_file) && std::remove(target) == 0);
}

/// Steps 3 and 4. False when the new database could not be put in its place: nothing has changed then.
bool PutInPlace(const Places& places, const Pending& pending) {
  if (pending.database) {
    bool sideFilesWereThere = false;
    for (const std::string& sideFile : places.sideFiles) {
      sideFilesWereThere = std::remove(sideFile.c_str()) == 0 || sideFilesWereThere;
    }
    if (sideFilesWereThere) {
      static_cast<void>(FlushFolder(places.folder.c_str()));
    }
    if (!Rename(places.made.database.c_str(), places.target.database.c_str())) {
      return false;
    }
  }
  // From here on the new pair holds; a commit that stays behind says where the track file is.
  if (pending.trackFile && !PutTrackFileInPlace(places)) {
    return true;
  }
  if (FlushFolder(places.folder.c_str())) {
    Remove(places.commit);
    static_cast<void>(FlushFolder(places.folder.c_str()));
  }
  return true;
}

Pending PendingAt(const Places& places) {
  Record record;
  if (!ReadRecord(places.commit, record)) {
    return {};
  }
  // A file is in place; or it is waiting, and what it replaces is as it was, or gone.
  struct Judgement {
    bool holds;
    bool waits;
  };
  const auto judge = [](const std::string& target, const std::string& made, const Look& before,
                        const Look& after) -> Judgement {
    const Look now = LookOf(target);
    if (now == after) {
      return {true, false};
    }
    const bool isOld = now == before || !now.isThere;
    return {isOld && LookOf(made) == after, true};
  };
  const Judgement database =
      judge(places.target.database, places.made.database, record.oldDatabase, record.newDatabase);
  const Judgement trackFile =
      judge(places.target.track_file, places.made.track_file, record.oldTrackFile, record.newTrackFile);
  return {database.holds && trackFile.holds, database.waits, trackFile.waits};
}

/// Finishes or gives up what is pending. Under the lock.
void Settle(const Places& places) {
  if (!IsThere(places.commit)) {
    return;
  }
  const Pending pending = PendingAt(places);
  if (!pending.holds) {
    GiveUpCommit(places);
    return;
  }
  static_cast<void>(PutInPlace(places, pending));
}

/// Whether a file can be put at the path: nothing or a file, not a directory or a device.
bool TakesFile(const std::string& path) {
  return !path.empty() && path.find('\0') == std::string::npos &&
         (PathHelper::IsFileExisted(path) || !IsThere(path));
}

bool MakeDurable(const Places& places) {
  const Record record{LookOf(places.target.database), LookOf(places.target.track_file),
                      LookOf(places.made.database), LookOf(places.made.track_file)};
  if (!record.newDatabase.isThere || !WriteRecord(places.record, record) ||
      !Flush(places.made.database.c_str()) ||
      (record.newTrackFile.isThere && !Flush(places.made.track_file.c_str())) ||
      !Flush(places.record.c_str())) {
    return false;
  }
  KeepPermissions(places.target.database.c_str(), places.made.database.c_str());
  KeepPermissions(places.target.track_file.c_str(), places.made.track_file.c_str());
  return FlushFolder(places.folder.c_str());
}

/// Steps 2 to 4.
bool Commit(const Places& places) {
  if (!Rename(places.record.c_str(), places.commit.c_str())) {
    return false;
  }
  const Pending all{true, true, IsThere(places.made.track_file) || IsThere(places.target.track_file)};
  if (!FlushFolder(places.folder.c_str()) || !PutInPlace(places, all)) {
    GiveUpCommit(places);
    return false;
  }
  return true;
}

}  // namespace

bool ReplacePair(const PairFiles& pair, const std::function<bool(const PairFiles& made)>& write) noexcept {
  return qvdetail::NoThrow([&] {
    if (!TakesFile(pair.database) || !TakesFile(pair.track_file)) {
      return false;
    }
    const Places places = PlacesOf(pair);
    const Lock lock(places.lock);
    if (!lock.IsHeld()) {
      return false;
    }
    Settle(places);
    if (IsThere(places.commit)) {
      return false;  // what it waits for cannot be done: nothing may come in its place
    }
    RemoveMade(places);  // left by one that was interrupted
    const bool replaced =
        qvdetail::NoThrow([&] { return write(places.made) && MakeDurable(places); }) && Commit(places);
    if (!replaced) {
      RemoveMade(places);
    }
    return replaced;
  });
}

PairFiles FinishReplacement(const PairFiles& pair) {
  const Places places = PlacesOf(pair);
  if (!IsThere(places.commit)) {
    return pair;
  }
  const Lock lock(places.lock);
  if (lock.IsHeld()) {
    Settle(places);
  }
  return FilesThatHold(pair);
}

PairFiles FilesThatHold(const PairFiles& pair) {
  const Places places = PlacesOf(pair);
  PairFiles files = pair;
  if (!IsThere(places.commit)) {
    return files;
  }
  const Pending pending = PendingAt(places);
  if (pending.holds && pending.database) {
    files.database = places.made.database;
  }
  if (pending.holds && pending.trackFile) {
    files.track_file = places.made.track_file;
  }
  return files;
}

void DropReplacement(const PairFiles& pair) {
  const Places places = PlacesOf(pair);
  if (!IsThere(places.commit)) {
    return;
  }
  const Lock lock(places.lock);
  if (lock.IsHeld()) {
    GiveUpCommit(places);
  }
}

}  // namespace qvprj
