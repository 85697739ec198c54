// qvprj transform.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "Commands.h"
#include "support/ProjectBuilder.h"

using namespace apps_test;
using nlohmann::json;
using qvapp::kDone;
using qvapp::kFailed;
using qvapp::kWrongUsage;
using qvapp::TransformOptions;
using qvprj::QvProject;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

const std::string kImageHeader =
    "id,name,x,y,z,omega,phi,kappa,new_x,new_y,new_z,new_omega,new_phi,new_kappa\n";

std::string Number(double value) {
  return qvfd::ToString<double>(value);
}

class TransformCommand : public testing::Test {
 protected:
  void SetUp() override { MakeProjectAt(path_, 32632, {}); }

  [[nodiscard]] TransformOptions ToLocal() const { return {path_, true, false, false, false}; }
  [[nodiscard]] TransformOptions FromLocal() const { return {path_, false, true, false, false}; }
  [[nodiscard]] TransformOptions OfImages() const { return {path_, true, false, true, false}; }

  /// What becomes of one line of degrees.
  [[nodiscard]] std::string Local(const std::string& line) const { return Transform(ToLocal(), line).out; }

  void ExpectRefused(const TransformOptions& options, int code, const std::string& subject,
                     const std::string& problem) {
    const auto before = support::Snapshot(folder_.Path());
    EXPECT_THAT(Transform(options, "9 0\n"), FailsWith(code, subject, problem));
    EXPECT_EQ(support::Snapshot(folder_.Path()), before);
  }

  /// The whole command agrees with the library on random places, in both directions.
  void ExpectAgreement(int coordinateId) {
    MakeProjectAt(path_, coordinateId, {});
    QvProject project;
    project.GetPrjInfo().coordinate_id = coordinateId;
    support::Random random(7);
    std::string degrees;
    std::string locals;
    std::string back;
    for (int i = 0; i < 100; ++i) {
      const qvfd::Point2_T<double> point{random.Between(-125, -119), random.Between(35, 45)};
      const auto local = project.ToLocal(point);
      const auto again = project.FromLocal(local);
      degrees += Number(point.x) + " " + Number(point.y) + "\n";
      locals += Number(local.x) + " " + Number(local.y) + "\n";
      back += Number(again.x) + " " + Number(again.y) + "\n";
    }
    EXPECT_EQ(Transform(ToLocal(), degrees).out, locals) << coordinateId;
    EXPECT_EQ(Transform(FromLocal(), locals).out, back) << coordinateId;
  }

  /// A project whose images have names, and orientations that differ.
  void MakeImages(int coordinateId, const std::vector<std::string>& names) const {
    QvProject project;
    project.GetPrjInfo().coordinate_id = coordinateId;
    for (std::size_t i = 0; i < names.size(); ++i) {
      const double step = static_cast<double>(i) / 7.0;
      const int id = 11 + static_cast<int>(i);
      project.GetImageInfoSet().AddImage(id, names[i], "", {9.1 + step, 50, 300.25, 0.1, 0.2, 0.3}, 0, 1,
                                         true);
      project.GetImageInfoSet().FindImage(id)->Update({9.2 + step, 51, 301, -0.1, -0.2, -0.3});
    }
    ASSERT_TRUE(project.Save(path_));
  }

  support::TempFolder folder_;
  std::string path_ = folder_.File("survey.db");
};

}  // namespace

TEST_F(TransformCommand, ConvertsToTheSystemOfTheProject) {
  const Outcome outcome = Transform(ToLocal(), "9 0\n");
  EXPECT_THAT(outcome, Succeeds());
  EXPECT_EQ(outcome.out, "500000 0\n");
}

TEST_F(TransformCommand, ConvertsFromTheSystemOfTheProject) {
  const Outcome outcome = Transform(FromLocal(), "500000 0\n");
  EXPECT_THAT(outcome, Succeeds());
  EXPECT_EQ(outcome.out, "9 0\n");
}

TEST_F(TransformCommand, AgreesWithTheLibraryBitForBit) {
  for (const int id : {32610, 2225, 4326, 4490, 3857}) {
    ExpectAgreement(id);
  }
}

TEST_F(TransformCommand, GivesRadiansInAGeographicSystem) {
  MakeProjectAt(path_, 4326, {});
  EXPECT_EQ(Local("180 90"), Number(3.141592653589793) + " " + Number(1.5707963267948966) + "\n");
}

TEST_F(TransformCommand, TakesManySeparators) {
  for (const std::string line : {"9 0", "9\t0", "9,0", "9, 0", "9 ,0", "9 , 0", "  9 \t 0  ", "9 0\r",
                                 "9.0e0,0", "+9 +0", "9 -0", "900e-2 0."}) {
    EXPECT_EQ(Local(line), "500000 0\n") << "'" << line << "'";
  }
}

TEST_F(TransformCommand, PassesOverEmptyLinesAndComments) {
  const Outcome outcome = Transform(ToLocal(), "# lon lat\n\n9 0\n  \t\r\n #9 0\n9 0");
  EXPECT_THAT(outcome, Succeeds());
  EXPECT_EQ(outcome.out, "500000 0\n500000 0\n");
}

TEST_F(TransformCommand, HasNothingToSayOfNoPoints) {
  const Outcome outcome = Transform(ToLocal(), "");
  EXPECT_THAT(outcome, Succeeds());
  EXPECT_EQ(outcome.out, "");
}

TEST_F(TransformCommand, ReportsWhatIsNoPair) {
  for (const std::string line :
       {"abc",   "9",     "9,",    ",9",   "9 0 0", "9 0 #", "9 0x", "9x 0",  "9;0", "9,,0",  "0x9 0",
        "++9 0", "+-9 0", "+ 9 0", "9 0,", "9-0",   "9e 0",  "9 1e", "9,5 0", ". 0", "9 east"}) {
    const Outcome outcome = Transform(ToLocal(), line + "\n");
    EXPECT_EQ(outcome.code, kFailed) << line;
    EXPECT_EQ(outcome.out, "nan nan\n") << line;
    EXPECT_EQ(outcome.err, "standard input, line 1: '" + line +
                               "' is no pair of numbers; give longitude and latitude in degrees, with a "
                               "blank or a comma between them\n");
  }
}

TEST_F(TransformCommand, ReportsWhatCannotBeConverted) {
  for (const std::string line :
       {"9 91", "nan 0", "9 NaN", "inf 0", "9 -inf", "9 infinity", "1e999 0", "9 1e400"}) {
    const Outcome outcome = Transform(ToLocal(), line + "\n");
    EXPECT_EQ(outcome.code, kFailed) << line;
    EXPECT_EQ(outcome.out, "nan nan\n") << line;
    EXPECT_THAT(outcome.err,
                StartsWith("standard input, line 1: '" + line + "' cannot be converted to EPSG:32632; "));
    EXPECT_THAT(outcome.err, IsOneLine());
  }
  const Outcome back = Transform(FromLocal(), "nan 0\n");
  EXPECT_EQ(back.code, kFailed);
  EXPECT_THAT(back.err, StartsWith("standard input, line 1: 'nan 0' cannot be converted from EPSG:32632; "));
}

TEST_F(TransformCommand, ConvertsTheOtherLinesAllTheSame) {
  const Outcome outcome = Transform(ToLocal(), "9 0\n# note\nabc\n9 91\n\n9 0\n");
  EXPECT_EQ(outcome.code, kFailed);
  EXPECT_EQ(outcome.out, "500000 0\nnan nan\nnan nan\n500000 0\n");
  EXPECT_THAT(outcome.err, StartsWith("standard input, line 3: 'abc' is no pair of numbers; "));
  EXPECT_THAT(outcome.err, HasSubstr("\nstandard input, line 4: '9 91' cannot be converted to EPSG:32632; "));
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 2);
}

TEST_F(TransformCommand, KeepsHostileLinesOffTheTerminal) {
  const std::string junk = "\x1B[2J" + std::string(500, 'x');
  const Outcome outcome = Transform(ToLocal(), junk + "\n");
  EXPECT_THAT(outcome.err, StartsWith("standard input, line 1: '?[2J" + std::string(33, 'x') + "...' is no"));
}

TEST_F(TransformCommand, PrintsPointsAsJson) {
  TransformOptions options = ToLocal();
  options.json = true;
  const Outcome outcome = Transform(options, "# note\n9 0\nabc\n9 91\n");
  EXPECT_EQ(outcome.code, kFailed);
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 2);
  const json expected = {{"file", path_},
                         {"coordinate_id", 32632},
                         {"coordinate_name", "WGS 84 / UTM zone 32N"},
                         {"direction", "to-local"},
                         {"points",
                          {{{"line", 2}, {"x", 500000.0}, {"y", 0.0}},
                           {{"line", 3}, {"error", "'abc' is no pair of numbers"}},
                           {{"line", 4}, {"error", "'9 91' cannot be converted to EPSG:32632"}}}}};
  EXPECT_EQ(json::parse(outcome.out), expected);
  TransformOptions back = FromLocal();
  back.json = true;
  const Outcome none = Transform(back, "");
  EXPECT_THAT(none, Succeeds());
  EXPECT_EQ(json::parse(none.out)["direction"], "from-local");
  EXPECT_EQ(json::parse(none.out)["points"], json::array());
}

TEST_F(TransformCommand, PreparesOneConversionForAllPoints) {
  MakeProjectAt(path_, 2225, {});  // not built in: to prepare it takes tens of milliseconds
  constexpr int kPoints = 50000;
  std::string input;
  for (int i = 0; i < kPoints; ++i) {
    input += "-122 40\n";
  }
  const Outcome outcome = Transform(ToLocal(), input);
  EXPECT_THAT(outcome, Succeeds());
  EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), kPoints);
}

// ---- Images

TEST_F(TransformCommand, PrintsTheImagesAsCsv) {
  MakeImages(32632, {"a.jpg", "b.jpg"});
  QvProject project;
  ASSERT_TRUE(project.OpenPrj(path_));
  std::string expected = kImageHeader;
  for (const qvfd::ImageInfo& image : project.GetImageInfoSetLocal()) {
    expected += std::to_string(image.Id()) + "," + image.Name();
    for (const qvfd::EOP& eop : {image.GetEOP(), image.GetUpdatedEOP()}) {
      for (const double value : {eop.x, eop.y, eop.z, eop.omega, eop.phi, eop.kappa}) {
        expected += "," + Number(value);
      }
    }
    expected += "\n";
  }
  const auto before = support::Snapshot(folder_.Path());
  const Outcome outcome = Transform(OfImages());
  EXPECT_THAT(outcome, Succeeds());
  EXPECT_EQ(outcome.out, expected);
  EXPECT_THAT(outcome.out, HasSubstr("\n12,b.jpg,"));
  EXPECT_EQ(support::Snapshot(folder_.Path()), before);
}

TEST_F(TransformCommand, QuotesNamesInCsv) {
  MakeImages(32632, {"a,b", "say \"x\"", "plain name", "", "a\x1B\nb"});
  const Outcome outcome = Transform(OfImages());
  EXPECT_THAT(outcome, Succeeds());
  for (const char* cell :
       {"\n11,\"a,b\",", "\n12,\"say \"\"x\"\"\",", "\n13,plain name,", "\n14,,", "\n15,a??b,"}) {
    EXPECT_THAT(outcome.out, HasSubstr(cell));
  }
}

TEST_F(TransformCommand, PrintsAHeaderWithoutImages) {
  const Outcome outcome = Transform(OfImages());
  EXPECT_THAT(outcome, Succeeds());
  EXPECT_EQ(outcome.out, kImageHeader);
}

TEST_F(TransformCommand, ReportsImagesThatCannotBeConverted) {
  MakeImages(32632, {"both.jpg", "flown.jpg", "updated.jpg", "good.jpg"});
  support::Execute(path_,
                   "UPDATE data_image SET y = 91, new_y = 91 WHERE id = 11;"
                   "UPDATE data_image SET y = 91 WHERE id = 12;"
                   "UPDATE data_image SET new_y = 91 WHERE id = 13;");
  const Outcome outcome = Transform(OfImages());
  EXPECT_EQ(outcome.code, kFailed);
  const std::string end = " cannot be converted to EPSG:32632; check its longitude and latitude\n";
  EXPECT_EQ(outcome.err, path_ + ", image 11 (both.jpg): its position" + end +               //
                             path_ + ", image 12 (flown.jpg): its initial position" + end +  //
                             path_ + ", image 13 (updated.jpg): its updated position" + end);
  EXPECT_THAT(outcome.out,
              HasSubstr("\n11,both.jpg,nan,nan,300.25,0.1,0.2,0.3,nan,nan,301,-0.1,-0.2,-0.3\n"));
  EXPECT_THAT(outcome.out, HasSubstr("\n12,flown.jpg,nan,nan,300.25,0.1,0.2,0.3,5"));
  EXPECT_THAT(outcome.out, HasSubstr(",nan,nan,301,-0.1,-0.2,-0.3\n14,good.jpg,5"));
}

TEST_F(TransformCommand, PrintsImagesAsJson) {
  MakeImages(32632, {"a.jpg", "b.jpg"});
  support::Execute(path_,
                   "UPDATE data_image SET x = 9, y = 0 WHERE id = 11; UPDATE data_image SET new_y = 91"
                   " WHERE id = 12;");
  TransformOptions options = OfImages();
  options.json = true;
  const Outcome outcome = Transform(options);
  EXPECT_EQ(outcome.code, kFailed);
  const json told = json::parse(outcome.out);
  EXPECT_EQ(told["file"], path_);
  EXPECT_EQ(told["coordinate_id"], 32632);
  EXPECT_EQ(told["direction"], "to-local");
  EXPECT_FALSE(told.contains("points"));
  ASSERT_EQ(told["images"].size(), 2U);
  const json& first = told["images"][0];
  EXPECT_EQ(first.size(), 14U);
  EXPECT_EQ(first["id"], 11);
  EXPECT_EQ(first["name"], "a.jpg");
  EXPECT_EQ(first["x"], 500000.0);
  EXPECT_EQ(first["y"], 0.0);
  EXPECT_EQ(first["kappa"], 0.3);
  EXPECT_EQ(first["new_kappa"], -0.3);
  EXPECT_EQ(told["images"][1]["new_x"], nullptr);
  EXPECT_EQ(told["images"][1]["new_z"], 301.0);
}

// ---- What is refused

TEST_F(TransformCommand, NeedsExactlyOneDirection) {
  ExpectRefused({path_, false, false, false, false}, kWrongUsage, "qvprj transform",
                "needs one of --to-local and --from-local; ");
  ExpectRefused({path_, true, true, false, false}, kWrongUsage, "qvprj transform",
                "needs one of --to-local and --from-local; ");
}

TEST_F(TransformCommand, ConvertsImagesInOneDirectionOnly) {
  ExpectRefused({path_, false, true, true, false}, kWrongUsage, "qvprj transform",
                "--images goes with --to-local only");
}

TEST_F(TransformCommand, NeedsACoordinateSystem) {
  MakeProjectAt(path_, -1, {{9, 0}});
  for (const TransformOptions& options : {ToLocal(), FromLocal(), OfImages()}) {
    ExpectRefused(options, kFailed, path_,
                  "has no coordinate system; give it one: qvprj set SURVEY.db --crs CODE (see qvprj crs find "
                  "--near SURVEY.db)\n");
  }
}

TEST_F(TransformCommand, NeedsACoordinateSystemThatIsKnown) {
  MakeProjectAt(path_, 999999, {});
  ExpectRefused(ToLocal(), kFailed, path_, "its coordinate system 999999 is not known here; ");
}

TEST_F(TransformCommand, NeedsACoordinateSystemThatCanBeBuilt) {
  qvfd::CoordinateInfo system;
  system.id = 990201;
  system.name = "Broken";
  system.definition = "a plane of our own";
  qvfd::QvConfiguration::Instance().AddCoordinate(system);
  MakeProjectAt(path_, 990201, {});
  ExpectRefused(ToLocal(), kFailed, path_,
                "no position can be converted to its coordinate system 990201 (Broken); ");
}

TEST_F(TransformCommand, NeedsAProject) {
  TransformOptions options = ToLocal();
  options.project = folder_.File("missing.db");
  ExpectRefused(options, kFailed, options.project, "no such file; ");
  options.project = folder_.File("flight.db");
  MakeFlight(options.project, {{"m1", "Early"}});
  ExpectRefused(options, kFailed, options.project, "table data_project is missing");
  options.images = true;
  ExpectRefused(options, kFailed, options.project, "table data_project is missing");
}
