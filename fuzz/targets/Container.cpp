// The blob container's file. The first byte of an input says whether the rest is the file as it stands, or a
// file of which the check values are put right, so that what lies behind them is reached.

#include "qvfd/BinaryData.h"
#include "qvfd/BlobFile.h"

#include <map>

#include "Target.h"
#include "contracts/qvfd/ContainerForge.h"
#include "support/Folder.h"
#include "support/Memory.h"

namespace {

using fuzz::Bytes;
using fuzz::Require;

constexpr std::size_t kHeaderCheck = 56;
constexpr std::size_t kReserved = 32;

void PutAt(Bytes& bytes, std::size_t offset, std::uint64_t value) {
  if (offset + sizeof value <= bytes.size()) {
    std::memcpy(bytes.data() + offset, &value, sizeof value);
  }
}

/// Where the directory begins, when all of its `count` entries and its check are inside the file.
bool FindDirectory(const Bytes& file, std::size_t& directory, std::size_t& count) {
  directory = static_cast<std::size_t>(forge::Get<std::uint64_t>(file, 24));
  count = forge::Get<std::uint32_t>(file, 16);
  return directory <= file.size() && count <= (file.size() - directory) / forge::kEntrySize &&
         file.size() - directory - count * forge::kEntrySize >= sizeof(std::uint64_t);
}

/// Puts every check value right: of payloads, of the directory, of the header.
void Repair(Bytes& file) {
  if (file.size() < forge::kHeaderSize) {
    return;
  }
  std::copy(forge::kMagic.begin(), forge::kMagic.end(), file.begin());
  std::size_t directory = 0;
  std::size_t count = 0;
  if (FindDirectory(file, directory, count) && directory >= forge::kHeaderSize) {
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t entry = directory + i * forge::kEntrySize;
      const auto offset = forge::Get<std::uint64_t>(file, entry + 8);
      const auto length = forge::Get<std::uint64_t>(file, entry + 16);
      if (offset <= file.size() && length <= file.size() - offset) {
        PutAt(file, entry + 24, forge::Check(file.data() + offset, static_cast<std::size_t>(length)));
      }
    }
    const std::size_t size = count * forge::kEntrySize;
    PutAt(file, directory + size, forge::Check(file.data() + directory, size));
  }
  PutAt(file, kHeaderCheck, forge::Check(file.data(), kHeaderCheck));
}

/// The blobs of a file that is sound, found with nothing but the directory.
std::map<int, Bytes> BlobsOf(const Bytes& file) {
  std::map<int, Bytes> blobs;
  for (const forge::Entry& entry : forge::EntriesOf(file)) {
    const auto first = file.begin() + static_cast<std::ptrdiff_t>(entry.offset);
    blobs[entry.id] = Bytes(first, first + static_cast<std::ptrdiff_t>(entry.length));
  }
  return blobs;
}

/// Makes what a reader does not look at what a writer writes: reserved fields and the bytes between payloads.
void Normalize(Bytes& file) {
  std::size_t directory = 0;
  std::size_t count = 0;
  Require(FindDirectory(file, directory, count), "a sound file has a directory");
  Bytes canonical(file.size(), 0);
  const auto keep = [&](std::size_t offset, std::size_t size) {
    std::copy_n(file.begin() + static_cast<std::ptrdiff_t>(offset), size,
                canonical.begin() + static_cast<std::ptrdiff_t>(offset));
  };
  keep(0, 20);
  keep(24, kReserved - 24);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t entry = directory + i * forge::kEntrySize;
    keep(entry, 4);
    keep(entry + 8, 24);
    keep(static_cast<std::size_t>(forge::Get<std::uint64_t>(file, entry + 8)),
         static_cast<std::size_t>(forge::Get<std::uint64_t>(file, entry + 16)));
  }
  file = canonical;
  Repair(file);
}

/// Reads blobs in the order and in the pieces that the input chooses. What is read is a part of the blob.
bool ReadInPieces(const std::string& path, fuzz::Input choices, std::map<int, Bytes>& blobs) {
  qvfd::BlobFileReader reader;
  if (!reader.Open(path)) {
    Require(!reader.IsSound() && reader.Ids().empty() && reader.Remaining() == 0, "a file not open is empty");
    return false;
  }
  std::vector<int> ids = reader.Ids();
  if (choices.Flag()) {
    std::reverse(ids.begin(), ids.end());
  }
  for (const int id : ids) {
    if (choices.Below(8) == 7) {
      continue;  // IsSound reads it then
    }
    Require(reader.Begin(id), "a blob of the directory can be begun");
    Bytes& blob = blobs[id];
    for (std::size_t piece = choices.Byte(); reader.Remaining() > 0; piece = choices.Byte()) {
      Bytes part;
      const std::size_t left = reader.Remaining();
      std::uint32_t value = 0;
      if (piece % 4 == 0 && left >= sizeof value) {
        if (!reader.Read(value)) {
          break;
        }
        part.resize(sizeof value);
        std::memcpy(part.data(), &value, sizeof value);
      } else {
        Require(!reader.ReadArray(left + 1, part), "more than there is cannot be read");
        if (!reader.ReadArray(std::min(left, piece + 1), part)) {
          break;
        }
      }
      Require(reader.Remaining() == left - part.size(), "what was read is gone");
      blob.insert(blob.end(), part.begin(), part.end());
    }
    Require(!reader.Begin(id), "a blob can be begun once");
  }
  return reader.IsSound();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::uint8_t mode = input.Byte();
  Bytes file = input.Rest();
  if ((mode & 1U) != 0) {
    Repair(file);
  }
  const std::string path = fuzz::EmptyFolder().File("c.gb");
  const std::string again = path + "2";
  fuzz::WriteFile(path, file);

  const fuzz::MemoryWatch memory(file.size());
  qvfd::BinaryData blobs(7);
  blobs.AddBlob(-5, {1, 2, 3});
  const bool read = blobs.Read(path);
  Bytes bytes;
  Require(!blobs.GetBlob(-5, bytes) || read, "blobs from before are gone");

  std::map<int, Bytes> pieces;
  const bool sound = ReadInPieces(path, fuzz::Input(data, size), pieces);
  Require(read == sound, "both readers say the same of a file");
  if (!read) {
    Require(!blobs.GetBlob(0, bytes) && !blobs.GetBlob(1, bytes) && !blobs.GetBlob(2, bytes),
            "a file that is refused has no blobs");
    return 0;
  }
  Bytes repaired = file;
  Repair(repaired);
  Require(repaired == file, "every check value of a file that is read holds");
  const std::map<int, Bytes> expected = BlobsOf(file);
  for (const auto& [id, blob] : expected) {
    Require(blobs.GetBlob(id, bytes) && bytes == blob, "a blob is what the directory says");
  }
  for (const auto& [id, blob] : pieces) {
    const auto whole = expected.find(id);
    Require(whole != expected.end() && whole->second == blob, "a blob read in pieces is the same");
  }
  Require(blobs.Write(again), "what was read can be written");
  Normalize(file);
  Require(fuzz::ReadFile(again) == file, "there is one file for given blobs");
  Require(blobs.Read(again), "what was written can be read");
  return 0;
}
