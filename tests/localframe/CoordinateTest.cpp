#include <gtest/gtest.h>

#include "qvfd/CoordinateInfo.h"
#include "qvprj/project/QvProject.h"

namespace {

using qvfd::CoordinateInfo;
using qvprj::QvProject;

/// The registry belongs to the process, so each test registers a system of its own.
CoordinateInfo RegisteredSystem(int id) {
  const CoordinateInfo system{
      .type = 3, .id = id, .name = "zone 39", .description = "a zone", .definition = "d"};
  EXPECT_TRUE(qvfd::QvConfiguration::Instance().AddCoordinate(system));
  return system;
}

class CoordinateTest : public ::testing::Test {
 protected:
  CoordinateInfo CoordinateOf(int id) {
    project_.GetPrjInfo().coordinate_id = id;
    const QvProject& reader = project_;
    return reader.GetCoordinate();
  }

  QvProject project_;
};

TEST_F(CoordinateTest, ANewProjectHasTheLocalSystem) {
  const CoordinateInfo local = QvProject().GetCoordinate();
  EXPECT_EQ(local.type, 4);
  EXPECT_EQ(local.id, -1);
  EXPECT_EQ(local.name, "\xB1\xBE\xB5\xD8\xD7\xF8\xB1\xEA\xCF\xB5");
  EXPECT_EQ(local.description, "");
  EXPECT_EQ(local.definition, "");
}

TEST_F(CoordinateTest, AnUnknownIdGivesTheLocalSystem) {
  EXPECT_EQ(CoordinateOf(987'654'321), CoordinateInfo());
  EXPECT_EQ(CoordinateOf(-2), CoordinateInfo());
}

TEST_F(CoordinateTest, ARegisteredIdGivesItsSystemAsItWasRegistered) {
  const CoordinateInfo system = RegisteredSystem(900'000'100);
  EXPECT_EQ(CoordinateOf(900'000'100), system);
}

TEST_F(CoordinateTest, TheSystemFollowsTheProjectInformation) {
  RegisteredSystem(900'000'101);
  EXPECT_EQ(CoordinateOf(900'000'101).id, 900'000'101);
  EXPECT_EQ(CoordinateOf(-1), CoordinateInfo());
}

}  // namespace
