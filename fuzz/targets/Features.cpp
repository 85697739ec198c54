// Blob 1 of the track file: the features.

#include "targets/TiePointBlob.h"

namespace {

constexpr fuzz::BlobKind kFeatures = {1, &qvprj::QvProject::ReadFeatures, &qvprj::QvProject::WriteFeatures};

/// A record of so many elements.
fuzz::Bytes LargeRecord(std::int32_t count) {
  fuzz::Bytes record;
  fuzz::Append(record, 1);
  fuzz::Append(record, count);
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
  auto& features = expected.GetFeatures();
  const bool whole = fuzz::ExpectRecords(
      blob, [](auto& reader, int& id) { return reader.Get(id); }, features);
  if (whole) {
    const auto& images = expected.GetImageInfoSet();
    std::erase_if(features, [&](const auto& entry) { return images.FindImage(entry.first) == nullptr; });
  }
  fuzz::RequireBlobReads(kFeatures, blob, expected, whole, choices);
  return 0;
}
