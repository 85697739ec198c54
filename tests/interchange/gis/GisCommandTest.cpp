// qvprj export of layers and qvprj catalog, as commands.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "Surveys.h"
#include "commands/Catalog.h"
#include "commands/Export.h"
#include "common/Failure.h"

using namespace gis_test;
using nlohmann::json;
using support::TempFolder;
using testing::HasSubstr;
using testing::Not;

namespace {

struct Outcome {
  int code = -1;
  std::string out;
  std::string err;
};

template <class Options>
Outcome OutcomeOf(int (*command)(const Options&, qvapp::Console&), const Options& options) {
  std::istringstream in;
  std::ostringstream out;
  std::ostringstream err;
  qvapp::Console console{in, out, err, true};  // with status lines: they must show no password either
  const int code = command(options, console);
  return {code, out.str(), err.str()};
}

class GisCommand : public testing::Test {
 protected:
  void SetUp() override {
    options_.project = folder_.File("survey.db");
    options_.to = "gpkg";
    options_.path = folder_.File("out.gpkg");
    ASSERT_TRUE(SmallSurvey().Save(options_.project));
  }

  [[nodiscard]] Outcome Export() const { return OutcomeOf(qvapp::RunExport, options_); }

  TempFolder folder_;
  qvapp::ExportOptions options_;
};

}  // namespace

TEST_F(GisCommand, TellsWhatItReadWroteAndTookForGranted) {
  options_.json = true;
  const Outcome outcome = Export();
  ASSERT_EQ(outcome.code, qvapp::kDone) << outcome.err;
  const json document = json::parse(outcome.out);
  EXPECT_EQ(document["read"]["images"], 6);
  EXPECT_EQ(document["written"]["cameras"], 6);
  EXPECT_EQ(document["written"]["footprints"], 6);
  EXPECT_EQ(document["written"]["flight lines"], 2);
  for (const char* const what : {"axes", "heights", "positions", "coordinates", "footprints"}) {
    EXPECT_TRUE(document["conventions"].contains(what)) << what;
  }
  EXPECT_EQ(document["files"], json::array({options_.path}));
}

TEST_F(GisCommand, ReplacesAFileWithForceOnly) {
  support::WriteText(options_.path, "the user's");
  EXPECT_EQ(Export().code, qvapp::kFailed);
  EXPECT_EQ(TextOfFile(options_.path), "the user's");
  options_.force = true;
  options_.crs = "EPSG:999999";
  EXPECT_EQ(Export().code, qvapp::kFailed);
  EXPECT_EQ(TextOfFile(options_.path), "the user's") << "a failed export leaves what was there";
  options_.crs.reset();
  EXPECT_EQ(Export().code, qvapp::kDone);
  EXPECT_EQ(support::QueryOne(options_.path, "SELECT count(*) FROM cameras"), "6");
}

TEST_F(GisCommand, TellsAConnectionFromAPath) {
  options_.to = "postgis";
  EXPECT_EQ(Export().code, qvapp::kWrongUsage);
  options_.path = "PG:host=/nowhere/at/all password=SesameOpen";
  Outcome outcome = Export();
  EXPECT_EQ(outcome.code, qvapp::kFailed);
  EXPECT_THAT(outcome.err, HasSubstr("password=***"));
  EXPECT_THAT(outcome.err + outcome.out, Not(HasSubstr("SesameOpen")));
  options_.to = "gpkg";
  outcome = Export();
  EXPECT_EQ(outcome.code, qvapp::kWrongUsage);
  EXPECT_THAT(outcome.err + outcome.out, Not(HasSubstr("SesameOpen")));
}

TEST_F(GisCommand, KeepsACatalogue) {
  qvapp::CatalogCommandOptions options;
  options.catalog.folders = {folder_.Path().string()};
  options.catalog.target = folder_.File("catalogue.gpkg");
  options.json = true;
  Outcome outcome = OutcomeOf(qvapp::RunCatalog, options);
  ASSERT_EQ(outcome.code, qvapp::kDone) << outcome.err;
  json document = json::parse(outcome.out);
  EXPECT_EQ(document["written"]["new"], 1);
  document = json::parse(OutcomeOf(qvapp::RunCatalog, options).out);
  EXPECT_EQ(document["written"]["unchanged"], 1);

  options.catalog.folders = {folder_.File("nowhere")};
  outcome = OutcomeOf(qvapp::RunCatalog, options);
  EXPECT_EQ(outcome.code, qvapp::kFailed);
  options.catalog.folders = {folder_.Path().string()};
  options.catalog.target = "PG:host=/nowhere/at/all password=SesameOpen";
  outcome = OutcomeOf(qvapp::RunCatalog, options);
  EXPECT_EQ(outcome.code, qvapp::kFailed);
  EXPECT_THAT(outcome.err + outcome.out, Not(HasSubstr("SesameOpen")));
}
