// The blob container's file. All values are little-endian.
//
//   file      := header payloads directory
//   header    := magic[8] version:u32 tag:i32 count:u32 zero:u32 directory_offset:u64 stamp:u32
//                reserved[20] check:u64                                                 (64 bytes)
//   payloads  := for each blob: zero bytes up to the next multiple of 64, then its bytes
//   directory := zero bytes up to the next multiple of 64 (this is directory_offset), then
//                for each blob: id:i32 zero:u32 offset:u64 length:u64 check:u64         (32 bytes)
//                and last check:u64 of all those entries
//
// Blobs come in ascending order of their ids, each as close to the one before as the alignment allows, and
// the file ends with the directory; so every byte has one owner and nothing can overlap. A check is the
// XXH3-64 (seed 0) of what stands before it, of the payload in a directory entry. `reserved` is written as
// zeros and read as anything; `stamp` is 0 or the same in files that belong together. The directory stands last, so that the check values of payloads can be computed
// while they are written.

#include "qvfd/BlobFile.h"

#include <algorithm>
#include <array>
#include <exception>
#include <filesystem>
#include <fstream>
#include <ios>
#include <new>
#include <span>
#include <system_error>
#include <utility>

#include "qvfd/ReplaceFile.h"

#if defined(QVFD_XXHASH_DISPATCHES)
#include <xxh_x86dispatch.h>  // the same functions, with the widest instructions that the processor has
#else
#include <xxhash.h>
#endif

namespace fs = std::filesystem;

namespace qvfd {
namespace {

// The first byte is no text, the line ends show a transfer that meddled with them.
constexpr std::array<unsigned char, 8> kMagic = {0x89, 'Q', 'V', 'B', '\r', '\n', 0x1A, '\n'};
constexpr std::uint32_t kVersion = 1;
constexpr std::uint64_t kAlignment = 64;
constexpr std::size_t kReservedSize = 20;
constexpr std::size_t kCheckSize = 8;
constexpr std::size_t kHeaderSize = 8 + 4 + 4 + 4 + 4 + 8 + 4 + kReservedSize + kCheckSize;
constexpr std::size_t kEntrySize = 4 + 4 + 8 + 8 + 8;
static_assert(kHeaderSize == kAlignment);

struct Header {
  BlobFileLabel label;
  std::uint32_t count = 0;
  std::uint64_t directoryOffset = 0;
};

struct Entry {
  std::int32_t id = 0;
  std::uint64_t offset = 0;
  std::uint64_t length = 0;
  std::uint64_t check = 0;
};

std::uint64_t CheckOf(std::span<const unsigned char> bytes) {
  return XXH3_64bits(bytes.data(), bytes.size());
}

std::uint64_t Align(std::uint64_t offset) {
  return (offset + kAlignment - 1) / kAlignment * kAlignment;
}

/// Small enough to stay in the processor's cache between reading, checking and copying.
constexpr std::size_t kBufferSize = std::size_t{256} << 10U;

/// The check value of bytes that come in pieces.
class RunningCheck {
 public:
  RunningCheck() : state_(XXH3_createState(), XXH3_freeState) {
    if (!state_) {
      throw std::bad_alloc();
    }
    Restart();
  }
  void Restart() { XXH3_64bits_reset(state_.get()); }
  void Add(const void* data, std::size_t size) { XXH3_64bits_update(state_.get(), data, size); }
  [[nodiscard]] std::uint64_t Value() const { return XXH3_64bits_digest(state_.get()); }

 private:
  std::unique_ptr<XXH3_state_t, XXH_errorcode (*)(XXH3_state_t*)> state_;
};

// ---- Header and directory ----------------------------------------------------------------------------

std::vector<unsigned char> HeaderBytes(const Header& header) {
  ByteWriter bytes;
  bytes.Reserve(kHeaderSize);
  for (const unsigned char c : kMagic) {
    bytes.Write(c);
  }
  bytes.Write(kVersion);
  bytes.Write(header.label.tag);
  bytes.Write(header.count);
  bytes.Write(std::uint32_t{0});
  bytes.Write(header.directoryOffset);
  bytes.Write(header.label.stamp);
  for (std::size_t i = 0; i < kReservedSize; ++i) {
    bytes.Write(std::uint8_t{0});
  }
  bytes.Write(CheckOf(bytes.Bytes()));
  return bytes.Take();
}

std::vector<unsigned char> DirectoryBytes(const std::vector<Entry>& entries) {
  ByteWriter bytes;
  bytes.Reserve(entries.size() * kEntrySize + kCheckSize);
  for (const Entry& entry : entries) {
    bytes.Write(entry.id);
    bytes.Write(std::uint32_t{0});
    bytes.Write(entry.offset);
    bytes.Write(entry.length);
    bytes.Write(entry.check);
  }
  bytes.Write(CheckOf(bytes.Bytes()));
  return bytes.Take();
}

bool ParseHeader(const std::vector<unsigned char>& bytes, Header& header) {
  ByteReader reader(bytes);
  std::array<unsigned char, kMagic.size()> magic{};
  for (unsigned char& c : magic) {
    if (!reader.Read(c)) {
      return false;
    }
  }
  std::uint32_t version = 0;
  std::uint32_t zero = 0;
  std::vector<unsigned char> reserved;
  std::uint64_t check = 0;
  return magic == kMagic && reader.Read(version) && version == kVersion && reader.Read(header.label.tag) &&
         reader.Read(header.count) && reader.Read(zero) && reader.Read(header.directoryOffset) &&
         reader.Read(header.label.stamp) && reader.ReadArray(kReservedSize, reserved) && reader.Read(check) &&
         check == CheckOf(std::span(bytes).first(kHeaderSize - kCheckSize));
}

/// Reads the directory's entries and holds them against the only layout that the format allows.
bool ParseDirectory(const std::vector<unsigned char>& bytes, const Header& header,
                    std::vector<Entry>& entries) {
  const std::size_t entriesSize = bytes.size() - kCheckSize;
  ByteReader reader(bytes);
  std::uint64_t end = kHeaderSize;
  for (std::uint32_t i = 0; i < header.count; ++i) {
    Entry entry;
    std::uint32_t zero = 0;
    if (!reader.Read(entry.id) || !reader.Read(zero) || !reader.Read(entry.offset) ||
        !reader.Read(entry.length) || !reader.Read(entry.check)) {
      return false;
    }
    const bool ascending = entries.empty() || entries.back().id < entry.id;
    if (!ascending || entry.offset != Align(end) || entry.offset > header.directoryOffset ||
        entry.length > header.directoryOffset - entry.offset) {
      return false;
    }
    end = entry.offset + entry.length;
    entries.push_back(entry);
  }
  std::uint64_t check = 0;
  return Align(end) == header.directoryOffset && reader.Read(check) &&
         check == CheckOf(std::span(bytes).first(entriesSize));
}

/// The directory's size, when the header fits a file of `fileSize` bytes; 0 otherwise.
std::uint64_t DirectorySize(const Header& header, std::uint64_t fileSize) {
  const std::uint64_t size = std::uint64_t{header.count} * kEntrySize + kCheckSize;
  const bool fits = header.directoryOffset <= fileSize && fileSize - header.directoryOffset == size;
  return fits ? size : 0;
}

}  // namespace

// ---- Reading -----------------------------------------------------------------------------------------

struct BlobFileReader::File {
  enum class State { kNotRead, kSound, kDamaged };

  struct Blob {
    Entry entry;
    State state = State::kNotRead;
  };

  /// Reads the next bytes of the file and adds them to the check of the blob.
  bool Get(void* data, std::size_t size) {
    stream.read(static_cast<char*>(data), static_cast<std::streamsize>(size));
    if (!stream.good()) {
      return false;
    }
    check.Add(data, size);
    return true;
  }

  /// Reads the directory that stands where `header` says, to the end of the file, and takes over its entries.
  bool ReadDirectory(const Header& header) {
    std::vector<unsigned char> bytes(header.count * kEntrySize + kCheckSize);
    std::vector<Entry> entries;
    stream.clear();
    stream.seekg(static_cast<std::streamoff>(header.directoryOffset));
    if (!Get(bytes.data(), bytes.size()) || !ParseDirectory(bytes, header, entries)) {
      return false;
    }
    for (const Entry& entry : entries) {
      blobs.push_back({entry, State::kNotRead});
    }
    return true;
  }

  std::ifstream stream;
  BlobFileLabel label;
  std::vector<Blob> blobs;  // ascending by id
  Blob* current = nullptr;  // the one that is being read
  RunningCheck check;       // of what has been read of it
  alignas(64) std::array<unsigned char, kBufferSize> buffer;
};

BlobFileReader::BlobFileReader() = default;
BlobFileReader::~BlobFileReader() = default;

bool BlobFileReader::Open(const std::string& path) noexcept {
  return OpenBy(path, [](File& file, std::uint64_t fileSize) {
    Header header;
    std::vector<unsigned char> bytes(kHeaderSize);
    if (!file.Get(bytes.data(), bytes.size()) || !ParseHeader(bytes, header)) {
      return false;
    }
    file.label = header.label;
    return DirectorySize(header, fileSize) != 0 && file.ReadDirectory(header);
  });
}

bool BlobFileReader::OpenWithoutHeader(const std::string& path) noexcept {
  return OpenBy(path, [](File& file, std::uint64_t fileSize) {
    constexpr std::uint32_t kMostBlobs = 64;
    for (std::uint32_t count = 0; count <= kMostBlobs; ++count) {
      const std::uint64_t size = std::uint64_t{count} * kEntrySize + kCheckSize;
      const bool fits = fileSize >= kHeaderSize + size && (fileSize - size) % kAlignment == 0;
      if (fits && file.ReadDirectory({{}, count, fileSize - size})) {
        return true;
      }
    }
    return false;
  });
}

/// Opens a file of which `readDirectory` finds the directory.
bool BlobFileReader::OpenBy(const std::string& path,
                            bool (*readDirectory)(File& file, std::uint64_t fileSize)) noexcept {
  file_.reset();
  next_ = end_ = nullptr;
  behind_ = 0;
  try {
    std::error_code error;
    if (path.find('\0') != std::string::npos || !fs::is_regular_file(path, error)) {
      return false;  // a FIFO would block
    }
    const std::uint64_t fileSize = fs::file_size(path, error);
    // Not initialised: the buffer is written before it is read.
    std::unique_ptr<File> file(new File);
    file->stream.rdbuf()->pubsetbuf(nullptr, 0);
    file->stream.open(path, std::ios::binary);
    if (error || !readDirectory(*file, fileSize)) {
      return false;
    }
    file_ = std::move(file);
    return true;
  } catch (const std::exception&) {
    return false;  // out of memory
  }
}

int BlobFileReader::Tag() const {
  return file_ ? file_->label.tag : 0;
}

std::uint32_t BlobFileReader::Stamp() const {
  return file_ ? file_->label.stamp : 0;
}

std::vector<int> BlobFileReader::Ids() const {
  std::vector<int> ids;
  if (file_) {
    for (const File::Blob& blob : file_->blobs) {
      ids.push_back(blob.entry.id);
    }
  }
  return ids;
}

bool BlobFileReader::Begin(int id) noexcept {
  if (!file_) {
    return false;
  }
  Finish();
  const auto found = std::find_if(file_->blobs.begin(), file_->blobs.end(),
                                  [id](const File::Blob& blob) { return blob.entry.id == id; });
  if (found == file_->blobs.end() || found->state != File::State::kNotRead) {
    return false;
  }
  file_->current = &*found;
  file_->check.Restart();
  file_->stream.clear();
  file_->stream.seekg(static_cast<std::streamoff>(found->entry.offset));
  next_ = end_ = file_->buffer.data();
  behind_ = found->entry.length;
  return true;
}

/// Brings at least `size` bytes, at most the buffer's, into the buffer. False when the blob has not so many
/// left, or they cannot be read.
bool BlobFileReader::Fill(std::size_t size) noexcept {
  const auto there = static_cast<std::size_t>(end_ - next_);
  if (size > there + behind_ || file_ == nullptr) {
    return false;
  }
  unsigned char* const start = file_->buffer.data();
  std::memmove(start, next_, there);
  const std::size_t more = std::min(kBufferSize - there, behind_);
  next_ = start;
  end_ = start + there;
  if (!file_->Get(start + there, more)) {
    file_->current->state = File::State::kDamaged;
    behind_ = 0;
    end_ = next_;
    return false;
  }
  end_ += more;
  behind_ -= more;
  return true;
}

/// Reads past the buffer, straight to where the bytes belong.
bool BlobFileReader::ReadLarge(void* data, std::size_t size) noexcept {
  const std::size_t there = std::min(static_cast<std::size_t>(end_ - next_), size);
  std::memcpy(data, next_, there);
  next_ += there;
  const std::size_t more = size - there;
  if (more > 0 && !file_->Get(static_cast<unsigned char*>(data) + there, more)) {
    file_->current->state = File::State::kDamaged;
    behind_ = 0;
    return false;
  }
  behind_ -= more;
  return true;
}

/// Reads the rest of the blob and compares its check value.
void BlobFileReader::Finish() noexcept {
  if (file_->current == nullptr) {
    return;
  }
  do {
    next_ = end_;
  } while (behind_ > 0 && Fill(1));
  File::Blob& blob = *file_->current;
  if (blob.state == File::State::kNotRead) {
    blob.state = file_->check.Value() == blob.entry.check ? File::State::kSound : File::State::kDamaged;
  }
  file_->current = nullptr;
}

bool BlobFileReader::IsSound() noexcept {
  if (!file_) {
    return false;
  }
  bool sound = true;
  for (const File::Blob& blob : file_->blobs) {
    sound = IsSound(blob.entry.id) && sound;
  }
  return sound;
}

bool BlobFileReader::IsSound(int id) noexcept {
  if (!file_) {
    return false;
  }
  Finish();
  for (const File::Blob& blob : file_->blobs) {
    if (blob.entry.id == id) {
      if (Begin(id)) {
        Finish();
      }
      return blob.state == File::State::kSound;
    }
  }
  return false;
}

// ---- Writing -----------------------------------------------------------------------------------------

struct BlobFileWriter::File {
  std::ofstream stream;
  BlobFileLabel label;
  std::vector<Entry> entries;  // the last one is being written, while `open`
  bool open = false;
  std::uint64_t written = 0;                 // bytes of the file before those in the buffer
  const unsigned char* unchecked = nullptr;  // where the bytes in the buffer begin that `check` lacks
  RunningCheck check;                        // of the blob that is being written
  alignas(64) std::array<unsigned char, kBufferSize> buffer;
};

// Not initialised: the buffer is written before it is read.
BlobFileWriter::BlobFileWriter(const std::string& path, BlobFileLabel label)
    : room_(kBufferSize), file_(new File) {
  file_->stream.rdbuf()->pubsetbuf(nullptr, 0);
  file_->stream.open(path, std::ios::binary | std::ios::trunc);
  file_->label = label;
  next_ = file_->buffer.data();
  const std::array<unsigned char, kHeaderSize> later{};  // the header is known when all is written
  WriteBytes(later.data(), later.size());
}

BlobFileWriter::~BlobFileWriter() = default;

/// Adds what the buffer has of the blob to its check.
void BlobFileWriter::Check() {
  if (file_->open) {
    file_->check.Add(file_->unchecked, static_cast<std::size_t>(next_ - file_->unchecked));
    file_->unchecked = next_;
  }
}

void BlobFileWriter::Flush() {
  Check();
  const std::size_t size = kBufferSize - room_;
  file_->stream.write(reinterpret_cast<const char*>(file_->buffer.data()),
                      static_cast<std::streamsize>(size));
  file_->written += size;
  next_ = file_->buffer.data();
  file_->unchecked = next_;
  room_ = kBufferSize;
}

/// Whole buffers reach the file: whole pages, in few calls.
void BlobFileWriter::WritePastBuffer(const void* data, std::size_t size) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  while (size > room_) {
    const std::size_t part = room_;
    WriteBytes(bytes, part);
    Flush();
    bytes += part;
    size -= part;
  }
  WriteBytes(bytes, size);
}

std::uint64_t BlobFileWriter::Position() const {
  return file_->written + (kBufferSize - room_);
}

void BlobFileWriter::End() {
  if (file_->open) {
    Check();
    Entry& entry = file_->entries.back();
    entry.length = Position() - entry.offset;
    entry.check = file_->check.Value();
    file_->open = false;
  }
  const std::array<unsigned char, kAlignment> zeros{};
  WriteBytes(zeros.data(), static_cast<std::size_t>(Align(Position()) - Position()));
}

void BlobFileWriter::Begin(int id) {
  End();
  file_->entries.push_back({id, Position(), 0, 0});
  file_->open = true;
  file_->unchecked = next_;
  file_->check.Restart();
}

bool BlobFileWriter::Finish() {
  End();
  const Header header{file_->label, static_cast<std::uint32_t>(file_->entries.size()), Position()};
  WriteArray(DirectoryBytes(file_->entries));
  Flush();
  file_->stream.seekp(0);
  WriteArray(HeaderBytes(header));
  Flush();
  file_->stream.close();
  const auto descending = [](const Entry& a, const Entry& b) { return a.id >= b.id; };
  return !file_->stream.fail() &&
         std::adjacent_find(file_->entries.begin(), file_->entries.end(), descending) == file_->entries.end();
}

bool WriteBlobFile(const std::string& path, BlobFileLabel label,
                   const std::function<bool(BlobFileWriter&)>& fill) {
  return ReplaceFile(
      path, [&](const std::string& temporary) { return WriteBlobFileInPlace(temporary, label, fill); });
}

bool WriteBlobFileInPlace(const std::string& path, BlobFileLabel label,
                          const std::function<bool(BlobFileWriter&)>& fill) {
  BlobFileWriter writer(path, label);
  return fill(writer) && writer.Finish();
}

}  // namespace qvfd
