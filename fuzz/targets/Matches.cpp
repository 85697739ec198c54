// Blob 2 of the track file: the matches.

#include "targets/TiePointBlob.h"

namespace {

constexpr fuzz::BlobKind kMatches = {2, &qvprj::QvProject::ReadMatches, &qvprj::QvProject::WriteMatches};

/// A record of so many elements.
fuzz::Bytes LargeRecord(std::int32_t count) {
  fuzz::Bytes record;
  for (const std::int32_t value : {1, 2, count}) {
    fuzz::Append(record, value);
  }
  record.resize(record.size() + static_cast<std::size_t>(count) * 8, 0x42);
  return record;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::uint8_t choices = input.Byte();
  fuzz::TiePointProject expected;
  fuzz::AddImages(input, expected);
  fuzz::Bytes blob = input.Rest();
  if (fuzz::PutsLargeRecord(choices)) {
    fuzz::PutInFront(blob, LargeRecord(fuzz::LargeCount(choices, 8)));
  }
  auto& matches = expected.GetMatches();
  const auto getPair = [](auto& reader, auto& pair) { return reader.Get(pair.x) && reader.Get(pair.y); };
  const bool whole = fuzz::ExpectRecords(blob, getPair, matches);
  if (whole) {
    const auto& images = expected.GetImageInfoSet();
    std::erase_if(matches, [&](const auto& entry) {
      return images.FindImage(entry.first.x) == nullptr || images.FindImage(entry.first.y) == nullptr;
    });
  }
  fuzz::RequireBlobReads(kMatches, blob, expected, whole, choices);
  return 0;
}
