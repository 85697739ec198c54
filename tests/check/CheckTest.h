// A sound project to damage, and what a check says of it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qvprj/check/ProjectCheck.h"
#include "support/ProjectBuilder.h"
#include "support/RawSqlite.h"
#include "support/TestFiles.h"

namespace check_test {

using Lines = std::vector<std::string>;

/// "error unknown-camera data_image 7: camera 3 is not among the cameras +2", "+2" for two more that are not
/// listed.
inline std::string LineOf(const qvprj::Finding& finding) {
  std::string line = finding.severity == qvprj::Severity::kError ? "error " : "warning ";
  line += finding.kind + ' ' + finding.table + finding.blob;
  line += finding.record ? ' ' + std::to_string(*finding.record) : "";
  line += ": " + finding.text;
  return line + (finding.more > 0 ? " +" + std::to_string(finding.more) : "");
}

class CheckTest : public testing::Test {
 protected:
  void Save(qvprj::QvProject project) const { ASSERT_TRUE(project.Save(path_)); }

  /// A project with two cameras (0 and 1), twelve images (1 to 12), four ground points (100, 103, 106 and
  /// 109), and tie points.
  void SaveSound() const { Save(support::BuildProject()); }

  void Execute(const std::string& statements) const { support::Execute(path_, statements); }

  [[nodiscard]] qvprj::ProjectReport Report() const {
    const auto before = support::Snapshot(folder_.Path());
    qvprj::ProjectReport report;
    EXPECT_TRUE(qvprj::CheckProject(path_, report));
    EXPECT_EQ(support::Snapshot(folder_.Path()), before) << "the check changed what it looked at";
    return report;
  }

  /// Every finding as a line; each must be in the file that it belongs into.
  [[nodiscard]] Lines Found() const {
    Lines lines;
    for (const qvprj::Finding& finding : Report().findings) {
      lines.push_back(LineOf(finding));
      if (!finding.table.empty() || !finding.blob.empty()) {
        EXPECT_EQ(finding.file, finding.table.empty() ? track_ : path_);
      }
    }
    return lines;
  }

  support::TempFolder folder_;
  std::string path_ = folder_.File("survey.db");
  std::string track_ = folder_.File("survey.gb");
};

}  // namespace check_test
