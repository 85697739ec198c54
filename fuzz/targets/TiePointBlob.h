// What the targets of the track file's three blobs have in common.
//
// An input begins with a byte of choices and four image ids, a byte each, of which images of the project are
// made; the rest is the blob. With some choices a large record is put in front of the others, so that these lie
// around the end of the reader's buffer; with some the project is saved. Both take much longer than the rest.
#pragma once

#include <string>

#include "Target.h"
#include "qvfd/BinaryData.h"
#include "qvprj/project/QvProject.h"
#include "support/Folder.h"
#include "support/Memory.h"
#include "support/ProjectChecks.h"
#include "support/ProjectCompare.h"

namespace fuzz {

/// Opens the protected operations of the whole file.
class TiePointProject : public qvprj::QvProject {
 public:
  using QvProject::ReadTrackFile;
};

/// Reads values out of a blob in the plainest way: for the expectations, past the code under test.
class PlainReader {
 public:
  explicit PlainReader(const Bytes& bytes) : bytes_(bytes) {}

  [[nodiscard]] std::size_t Left() const { return bytes_.size() - at_; }

  template <class T>
  bool Get(T& value) {
    if (Left() < sizeof(T)) {
      return false;
    }
    std::memcpy(&value, bytes_.data() + at_, sizeof(T));
    at_ += sizeof(T);
    return true;
  }

 private:
  const Bytes& bytes_;
  std::size_t at_ = 0;
};

inline void Append(Bytes& bytes, std::int32_t value) {
  unsigned char raw[sizeof value];
  std::memcpy(raw, &value, sizeof value);
  bytes.insert(bytes.end(), raw, raw + sizeof value);
}

inline bool PutsLargeRecord(std::uint8_t choices) {
  return (choices & 0x31U) == 0x31;
}

inline bool Saves(std::uint8_t choices) {
  return (choices & 0x0EU) == 0x0E;
}

/// How many elements a large record has: so many that it just fits into the reader's buffer of 256 KiB, or does
/// not.
inline std::int32_t LargeCount(std::uint8_t choices, std::size_t elementSize) {
  constexpr std::size_t kBuffer = std::size_t{256} << 10U;
  const std::size_t fitting = (kBuffer - 64) / elementSize;
  return static_cast<std::int32_t>((choices & 0x40U) != 0 ? fitting + 64 : fitting);
}

/// Puts a record in front of those of a blob, and counts it.
inline void PutInFront(Bytes& blob, const Bytes& record) {
  std::int32_t count = 0;
  if (!PlainReader(blob).Get(count)) {
    return;
  }
  Bytes whole;
  Append(whole, count > 0 && count < 1000 ? count + 1 : count);
  whole.insert(whole.end(), record.begin(), record.end());
  whole.insert(whole.end(), blob.begin() + sizeof count, blob.end());
  blob = whole;
}

/// Records of features or matches as the format page describes them. False when they are damaged.
template <class Map, class GetKey>
bool ExpectRecords(const Bytes& blob, const GetKey& getKey, Map& records) {
  PlainReader reader(blob);
  std::int32_t count = 0;
  if (!reader.Get(count)) {
    return false;
  }
  for (std::int32_t i = 0; i < count; ++i) {
    typename Map::key_type key{};
    std::int32_t size = 0;
    if (!getKey(reader, key) || !reader.Get(size)) {
      return false;
    }
    if (size < 0) {
      records.try_emplace(key);
      return false;
    }
    typename Map::mapped_type values;
    if (static_cast<std::size_t>(size) > reader.Left() / 8) {
      return false;
    }
    for (std::int32_t k = 0; k < size; ++k) {
      auto& value = values.emplace_back();
      Require(reader.Get(value.x) && reader.Get(value.y), "the expectation counts right");
    }
    records[key] = values;
  }
  return true;
}

/// One of the blobs: its id, and the operations that read and write it alone.
struct BlobKind {
  int id;
  bool (qvprj::QvProject::*read)(qvfd::BinaryData&);
  bool (qvprj::QvProject::*write)(qvfd::BinaryData&);
};

/// The images of the project.
inline void AddImages(Input& input, qvprj::QvProject& project) {
  for (int i = 0; i < 4; ++i) {
    const auto id = static_cast<std::int8_t>(input.Byte());
    // Some far apart: sets of such ids are looked up in another way.
    project.GetImageInfoSet().AddImage(id < -100 ? id * 16000000 : id, "", "", {}, 0, 0, true);
  }
}

/// Reads the blob alone and out of a file, and requires that both give what `expected` has and `whole` says;
/// then that what was read can be written, and where the choices say so, saved and opened.
inline void RequireBlobReads(const BlobKind& kind, const Bytes& blob, TiePointProject& expected, bool whole,
                             std::uint8_t choices) {
  TiePointProject alone;
  TiePointProject fromFile;
  for (TiePointProject* project : {&alone, &fromFile}) {
    project->SetImageInfoSet(expected.GetImageInfoSet());
    project->SetPrjInfo(expected.GetPrjInfo());
  }
  const Folder& folder = EmptyFolder();
  qvfd::BinaryData blobs(1);
  blobs.AddBlob(kind.id, blob);
  Require(blobs.Write(folder.File("t.gb")), "a blob can be written");
  {
    const MemoryWatch memory(blob.size());
    Require((alone.*kind.read)(blobs) == whole, "damage is told from what is whole");
    fromFile.ReadTrackFile(folder.File("t.gb"), true, true);
  }
  std::string difference = support::FirstDifference(expected, alone);
  Require(difference.empty(), "a blob against its expectation: " + difference);
  difference = support::FirstDifference(expected, fromFile);
  Require(difference.empty(), "a blob in a file against its expectation: " + difference);

  qvfd::BinaryData written(1);
  Require((alone.*kind.write)(written), "what was read can be written");
  (void)(fromFile.*kind.read)(written);
  if (whole) {
    difference = support::FirstDifference(expected, fromFile);
    Require(difference.empty(), "written and read again: " + difference);
  }
  if (Saves(choices)) {
    RequireSavesAndOpensTheSame(alone, folder.Path(), "p");
  }
}

}  // namespace fuzz
