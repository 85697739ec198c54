// The blob container's file. All values are little-endian.
//
//   file      := header payloads directory
//   header    := magic[8] version:u32 tag:i32 count:u32 zero:u32 directory_offset:u64 reserved[24]
//                check:u64                                                              (64 bytes)
//   payloads  := for each blob: zero bytes up to the next multiple of 64, then its bytes
//   directory := zero bytes up to the next multiple of 64 (this is directory_offset), then
//                for each blob: id:i32 zero:u32 offset:u64 length:u64 check:u64         (32 bytes)
//                and last check:u64 of all those entries
//
// Blobs come in ascending order of their ids, each as close to the one before as the alignment allows, and
// the file ends with the directory; so every byte has one owner and nothing can overlap. A check is the
// XXH3-64 (seed 0) of what stands before it, of the payload in a directory entry. `reserved` is written as
// zeros and read as anything. The directory stands last, so that the check values of payloads can be computed
// while they are written.

#include "qvfd/BinaryData.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <ios>
#include <system_error>
#include <utility>

#include "qvfd/ByteStream.h"
#include "qvfd/ReplaceFile.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace fs = std::filesystem;

namespace qvfd {
namespace {

// The first byte is no text, the line ends show a transfer that meddled with them.
constexpr std::array<unsigned char, 8> kMagic = {0x89, 'Q', 'V', 'B', '\r', '\n', 0x1A, '\n'};
constexpr std::uint32_t kVersion = 1;
constexpr std::uint64_t kAlignment = 64;
constexpr std::size_t kReservedSize = 24;
constexpr std::size_t kCheckSize = 8;
constexpr std::size_t kHeaderSize = 8 + 4 + 4 + 4 + 4 + 8 + kReservedSize + kCheckSize;
constexpr std::size_t kEntrySize = 4 + 4 + 8 + 8 + 8;
static_assert(kHeaderSize == kAlignment);

struct Header {
  std::int32_t tag = 0;
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

// ---- Writing ------------------------------------------------------------------------------------

std::vector<unsigned char> HeaderBytes(const Header& header) {
  ByteWriter bytes;
  bytes.Reserve(kHeaderSize);
  for (const unsigned char c : kMagic) {
    bytes.Write(c);
  }
  bytes.Write(kVersion);
  bytes.Write(header.tag);
  bytes.Write(header.count);
  bytes.Write(std::uint32_t{0});
  bytes.Write(header.directoryOffset);
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

void WriteAll(std::ofstream& file, std::span<const unsigned char> bytes) {
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

void WritePadding(std::ofstream& file, std::uint64_t from, std::uint64_t to) {
  const std::array<unsigned char, kAlignment> zeros{};
  WriteAll(file, std::span(zeros).first(static_cast<std::size_t>(to - from)));
}

bool WriteContainer(const std::string& path, int tag,
                    const std::map<int, std::vector<unsigned char>>& blobs) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  std::vector<Entry> entries;
  std::uint64_t end = kHeaderSize;
  for (const auto& [id, blob] : blobs) {
    entries.push_back({id, Align(end), blob.size(), 0});
    end = Align(end) + blob.size();
  }
  const std::uint64_t directoryOffset = Align(end);
  WriteAll(file, HeaderBytes({tag, static_cast<std::uint32_t>(blobs.size()), directoryOffset}));

  end = kHeaderSize;
  auto entry = entries.begin();
  for (const auto& [id, blob] : blobs) {
    WritePadding(file, end, entry->offset);
    WriteAll(file, blob);
    entry->check = CheckOf(blob);
    end = entry->offset + entry->length;
    ++entry;
  }
  WritePadding(file, end, directoryOffset);
  WriteAll(file, DirectoryBytes(entries));
  file.close();
  return !file.fail();
}

// ---- Reading ------------------------------------------------------------------------------------

bool ReadAt(std::ifstream& file, std::uint64_t offset, std::vector<unsigned char>& bytes) {
  file.seekg(static_cast<std::streamoff>(offset));
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return file.good();
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
  return magic == kMagic && reader.Read(version) && version == kVersion && reader.Read(header.tag) &&
         reader.Read(header.count) && reader.Read(zero) && reader.Read(header.directoryOffset) &&
         reader.ReadArray(kReservedSize, reserved) && reader.Read(check) &&
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

bool ReadContainer(const std::string& path, int& tag, std::map<int, std::vector<unsigned char>>& blobs) {
  std::error_code error;
  if (!fs::is_regular_file(path, error)) {
    return false;  // a FIFO would block
  }
  const std::uint64_t fileSize = fs::file_size(path, error);
  std::ifstream file(path, std::ios::binary);
  Header header;
  std::vector<unsigned char> headerBytes(kHeaderSize);
  if (error || !ReadAt(file, 0, headerBytes) || !ParseHeader(headerBytes, header)) {
    return false;
  }
  const std::uint64_t directorySize = DirectorySize(header, fileSize);
  if (directorySize == 0) {
    return false;
  }
  std::vector<unsigned char> directory(directorySize);
  std::vector<Entry> entries;
  if (!ReadAt(file, header.directoryOffset, directory) || !ParseDirectory(directory, header, entries)) {
    return false;
  }
  for (const Entry& entry : entries) {
    auto& blob = blobs[entry.id];
    blob.resize(entry.length);
    if (!ReadAt(file, entry.offset, blob) || CheckOf(blob) != entry.check) {
      return false;
    }
  }
  tag = header.tag;
  return true;
}

}  // namespace

BinaryData::BinaryData(int tag) : tag_(tag) {}

void BinaryData::AddBlob(int id, const std::vector<unsigned char>& blob) {
  blobs_[id] = blob;
}

void BinaryData::AddBlob(int id, std::vector<unsigned char>&& blob) {
  blobs_[id] = std::move(blob);
}

bool BinaryData::GetBlob(int id, std::vector<unsigned char>& blob) const noexcept {
  blob.clear();
  try {
    std::span<const unsigned char> view;
    if (!ViewBlob(id, view)) {
      return false;
    }
    blob.assign(view.begin(), view.end());
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

bool BinaryData::ViewBlob(int id, std::span<const unsigned char>& view) const noexcept {
  const auto found = blobs_.find(id);
  if (found == blobs_.end()) {
    return false;
  }
  view = found->second;
  return true;
}

bool BinaryData::Write(std::string path) const noexcept {
  try {
    return ReplaceFile(
        path, [this](const std::string& temporary) { return WriteContainer(temporary, tag_, blobs_); });
  } catch (const std::exception&) {
    return false;
  }
}

bool BinaryData::Read(std::string path) noexcept {
  blobs_.clear();
  try {
    if (path.find('\0') == std::string::npos && ReadContainer(path, tag_, blobs_)) {
      return true;
    }
  } catch (const std::exception&) {
    // out of memory: the same as a file that cannot be read
  }
  blobs_.clear();
  return false;
}

}  // namespace qvfd
