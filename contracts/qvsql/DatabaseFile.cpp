// What can be known and done about a database file before and beside the engine.
//
// A database file begins with a header of 100 bytes, of which this file reads:
//   0   16 bytes  "SQLite format 3" and a NUL
//   16  2 bytes   page size, big-endian: a power of two from 512 to 32768, or 1 for 65536
//   18  1 byte    write version: 1 with a rollback journal, 2 in write-ahead mode
//   19  1 byte    read version: the same
// Source: the engine's documentation of its file format.

#include "DatabaseFile.h"

#if !defined(_WIN32)
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <random>
#include <string_view>
#include <system_error>
#include <vector>

#include "qvsql/SideFiles.h"

namespace fs = std::filesystem;

namespace qvsql {
namespace {

constexpr std::string_view kMagic("SQLite format 3\0", 16);
constexpr std::size_t kHeaderSize = 100;

using HeaderBytes = std::array<unsigned char, kHeaderSize>;

/// The first bytes of a file, `Size` of them. What is known to be no regular file is not to be asked: opening
/// a FIFO may block and opening a device may set it going.
template <std::size_t Size>
bool ReadStart(const std::string& path, std::array<unsigned char, Size>& bytes) {
#if defined(_WIN32)
  std::FILE* const file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    return false;
  }
  std::setvbuf(file, nullptr, _IONBF, 0);
  const bool whole = std::fread(bytes.data(), 1, Size, file) == Size;
  std::fclose(file);
  return whole;
#else
  const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (file < 0) {
    return false;
  }
  const ssize_t size = read(file, bytes.data(), Size);
  close(file);
  return size == ssize_t{Size};
#endif
}

bool IsRegularFile(const std::string& path) {
#if defined(_WIN32)
  std::error_code error;
  return fs::is_regular_file(path, error);
#else
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
#endif
}

std::uint32_t PageSizeOf(const HeaderBytes& header) {
  constexpr std::uint32_t kLargest = 65536;  // which does not fit: 1 stands for it
  const std::uint32_t pageSize = header[16] * 256U + header[17];
  return pageSize == 1 ? kLargest : pageSize;
}

bool IsDatabaseHeader(const HeaderBytes& header) {
  const std::string_view text(reinterpret_cast<const char*>(header.data()), header.size());
  const std::uint32_t pageSize = PageSizeOf(header);
  const bool pageSizeHolds = std::has_single_bit(pageSize) && pageSize >= 512;
  return text.substr(0, kMagic.size()) == kMagic && pageSizeHolds;
}

bool InWriteAheadMode(const HeaderBytes& header) {
  return header[18] == 2 || header[19] == 2;
}

/// Where the side files are: beside the file itself, also when `path` is a link to it.
std::string RealPath(const std::string& path) {
  std::error_code error;
  const fs::path real = fs::canonical(path, error);
  return error ? path : real.string();
}

bool HasContent(const std::string& path) {
  std::error_code error;
  const std::uintmax_t size = fs::file_size(path, error);
  return !error && size > 0;
}

bool NamesFile(const std::string& path) {
  return !path.empty() && path.find('\0') == std::string::npos;
}

/// Size and time of last change of a file: equal before and after a copy when nobody wrote to it.
struct Stamp {
  std::uintmax_t size = 0;
  fs::file_time_type time;

  friend bool operator==(const Stamp&, const Stamp&) = default;
};

std::vector<Stamp> StampsOf(const std::string& path) {
  std::vector<Stamp> stamps;
  for (const char* const suffix : {"", kJournalEnd, kLogEnd}) {
    const std::string file = path + suffix;
    std::error_code error;
    const std::uintmax_t size = fs::file_size(file, error);
    const fs::file_time_type time = fs::last_write_time(file, error);
    stamps.push_back(error ? Stamp{} : Stamp{size, time});
  }
  return stamps;
}

fs::path MakeTemporaryFolder() {
  std::random_device random;
  constexpr int kAttempts = 16;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const std::string name = "qvsql-" + std::to_string(random()) + "-" + std::to_string(random());
    fs::path folder = fs::temp_directory_path() / name;
    if (fs::create_directory(folder)) {
      fs::permissions(folder, fs::perms::owner_all);
      return folder;
    }
  }
  return {};
}

}  // namespace

FileState Inspect(const std::string& path) noexcept {
  try {
    HeaderBytes header{};
    if (!NamesFile(path) || !IsRegularFile(path) || !ReadStart(path, header) || !IsDatabaseHeader(header)) {
      return FileState::kNotADatabase;
    }
    const std::string real = RealPath(path);
    // The engine takes any log for the database's, whatever the header says, and makes an index beside it.
    if (HasContent(real + kJournalEnd) || HasContent(real + kLogEnd)) {
      return FileState::kUnfinished;
    }
    std::error_code error;
    const bool hasLog = fs::exists(fs::symlink_status(real + kLogEnd, error));
    return InWriteAheadMode(header) || hasLog ? FileState::kClosedLog : FileState::kClean;
  } catch (const std::exception&) {
    return FileState::kNotADatabase;
  }
}

bool BeginsAsDatabase(const std::string& path) noexcept {
  std::array<unsigned char, kMagic.size()> start{};
  return NamesFile(path) && ReadStart(path, start) &&
         std::equal(kMagic.begin(), kMagic.end(), start.begin(),
                    [](char magic, unsigned char byte) { return static_cast<unsigned char>(magic) == byte; });
}

std::uintmax_t LengthOfWholePages(const std::string& path) {
  HeaderBytes header{};
  std::error_code error;
  const std::uintmax_t size = fs::file_size(path, error);
  if (error || !ReadStart(path, header) || !IsDatabaseHeader(header)) {
    return 0;
  }
  const std::uintmax_t cut = size % PageSizeOf(header);
  return cut == 0 ? 0 : size - cut;
}

NewFile::NewFile(const std::string& path) noexcept : path_(path) {
  std::FILE* const file = NamesFile(path) ? std::fopen(path.c_str(), "wbx") : nullptr;
  if (file != nullptr) {
    made_ = true;
    std::fclose(file);
  }
}

NewFile::~NewFile() {
  if (made_ && !kept_) {
    std::remove(path_.c_str());
  }
}

void RemoveSideFiles(const std::string& path) noexcept {
  try {
    for (const char* const suffix : kSideFileEnds) {
      const std::string file = path + suffix;
      std::error_code error;
      if (fs::is_regular_file(file, error)) {
        fs::remove(file, error);
      }
    }
  } catch (const std::exception&) {
    return;  // out of memory: the engine will refuse what does not fit the new file
  }
}

TemporaryCopy::~TemporaryCopy() {
  if (!folder_.empty()) {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }
}

bool TemporaryCopy::Make(const std::string& path) {
  const std::string source = RealPath(path);
  folder_ = MakeTemporaryFolder();
  if (folder_.empty()) {
    return false;
  }
  constexpr int kAttempts = 3;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const std::vector<Stamp> before = StampsOf(source);
    bool whole = true;
    for (const char* const suffix : {"", kJournalEnd, kLogEnd}) {
      const std::string from = source + suffix;
      const std::string to = Path() + suffix;
      std::error_code error;
      fs::remove(to, error);
      if (fs::is_regular_file(from, error)) {
        fs::copy_file(from, to, error);
        whole = whole && !error;
        // The copy must be writable for the engine to finish what was begun, whatever the original allows.
        fs::permissions(to, fs::perms::owner_read | fs::perms::owner_write, error);
      }
    }
    if (whole && StampsOf(source) == before) {
      return true;
    }
  }
  return false;
}

bool TemporaryCopy::CutTo(std::uintmax_t length) const {
  std::error_code error;
  fs::resize_file(Path(), length, error);
  return !error;
}

std::string TemporaryCopy::Path() const {
  return (folder_ / "copy.db").string();
}

}  // namespace qvsql
