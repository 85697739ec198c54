// What the tests of the three blobs have in common: a project with images 2, 5 and 7, and one container.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "qvfd/BinaryData.h"
#include "qvprj/project/QvProject.h"
#include "support/ProjectBytes.h"

class BlobTest : public ::testing::Test {
 protected:
  using Bytes = std::vector<unsigned char>;

  BlobTest() {
    for (const int id : {7, 2, 5}) {
      project_.GetImageInfoSet().AddImage(id, "", "", {}, 0, 0, true);
    }
  }

  /// The blob `id` as it was written; empty when there is none.
  [[nodiscard]] Bytes Blob(int id) const {
    Bytes bytes;
    blobs_.GetBlob(id, bytes);
    return bytes;
  }

  [[nodiscard]] bool HasBlob(int id) const {
    Bytes bytes;
    return blobs_.GetBlob(id, bytes);
  }

  static constexpr int kTracks = 0;
  static constexpr int kFeatures = 1;
  static constexpr int kMatches = 2;

  qvprj::QvProject project_;
  qvfd::BinaryData blobs_{1};
};
