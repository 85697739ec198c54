// What the tests of opening and saving have in common: a folder, and short words for what they do in it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qvfd/BinaryData.h"
#include "qvprj/project/QvProject.h"
#include "support/ProjectBuilder.h"
#include "support/ProjectCompare.h"
#include "support/ProjectSql.h"
#include "support/RawSqlite.h"
#include "support/TestFiles.h"

class ProjectFilesTest : public ::testing::Test {
 protected:
  using Names = std::vector<std::string>;

  [[nodiscard]] std::string Path(const std::string& name) const { return folder_.File(name); }

  /// Saves a project that is not looked at any further.
  void SaveSomeProject(const std::string& name, std::uint64_t seed = 1) {
    support::ProjectShape shape;
    shape.seed = seed;
    ASSERT_TRUE(support::BuildProject(shape).Save(Path(name)));
  }

  /// Makes a track file that holds the features of one image: one point at (`x`, 0).
  void MakeTrackFileWithFeature(const std::string& name, int imageId, float x) {
    qvprj::QvProject project;
    project.GetFeatures()[imageId] = {{x, 0.0F}};
    qvfd::BinaryData blobs(1);
    ASSERT_TRUE(project.WriteFeatures(blobs));
    ASSERT_TRUE(blobs.Write(Path(name)));
  }

  [[nodiscard]] bool IsThere(const std::string& name) const { return std::filesystem::exists(Path(name)); }

  support::TempFolder folder_;
};
