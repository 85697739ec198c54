// qvprj import with photos, as a process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "MadePhotos.h"
#include "interchange/text/TextFile.h"
#include "support/RawSqlite.h"
#include "support/TestFiles.h"

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;

namespace {

struct Outcome {
  int code = -1;
  std::string out;
  std::string err;
};

class PhotoCommand : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directory(folder_.File("photos"));
    fs::create_directory(folder_.File("flight"));
  }

  Outcome Run(const std::string& arguments) {
    const support::TempFolder streams;
    const std::string command = "cd '" + folder_.Path().string() +
                                "' && LC_ALL=C.UTF-8 '" QVPRJ_PROGRAM "' " + arguments + " >'" +
                                streams.File("out") + "' 2>'" + streams.File("err") + "' </dev/null";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, interchange::ReadWholeFile(streams.File("out")),
            interchange::ReadWholeFile(streams.File("err"))};
  }

  /// A flight of six positions on a line, with ids from 41.
  void MakeFlight() {
    std::string sql =
        "CREATE TABLE flight_mission(id TEXT, project_id TEXT, flight_task_name TEXT, created_at TEXT,"
        " survey_average_altitude REAL);"
        "CREATE TABLE pos_data(flight_mission_id TEXT, img_idx INTEGER, lat REAL, lng REAL, alt_msl REAL,"
        " roll REAL, pitch REAL, yaw REAL);"
        "CREATE TABLE uas_status(flight_mission_id TEXT, uas_serial_id TEXT);"
        "INSERT INTO flight_mission VALUES('m1', 'p1', 'Fields', '2024-05-01 10:00:00', 60);";
    for (int i = 0; i < 6; ++i) {
      sql += "INSERT INTO pos_data VALUES('m1', " + std::to_string(41 + i) + ", " +
             std::to_string(50 + i * 0.0002) + ", 8.5, 300, 0, 0, 0);";
    }
    support::Execute(folder_.File("flight/flight.db"), sql);
  }

  void MakePhotos() {
    for (int i = 0; i < 6; ++i) {
      photos_test::Make(
          folder_.File("photos/IMG_00" + std::to_string(41 + i) + ".jpg"),
          photos_test::Ordinary(8.5, 50 + i * 0.0002, 300, "2024:05:01 12:00:1" + std::to_string(i)));
    }
  }

  support::TempFolder folder_;
};

TEST_F(PhotoCommand, TiesPhotosToAMission) {
  MakeFlight();
  MakePhotos();
  const Outcome outcome = Run(
      "import flight/flight.db --mission latest --out survey.db --photos photos --report ties.csv --json");
  ASSERT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
  const json document = json::parse(outcome.out);
  EXPECT_EQ(document["cameras"], 1);
  EXPECT_EQ(document["missing_camera_id"], nullptr);
  EXPECT_EQ(document["photos"]["written"]["images with a photo"], 6);
  ASSERT_EQ(document["photos"]["decisions"].size(), 6U);
  EXPECT_EQ(document["photos"]["decisions"][2]["photo"], "IMG_0043.jpg");
  EXPECT_EQ(document["photos"]["decisions"][2]["record"], "43");
  EXPECT_EQ(document["photos"]["decisions"][2]["tied_by"], "position and order");
  EXPECT_TRUE(document["photos"]["decisions"][2]["distance_m"].is_number());
  EXPECT_EQ(document["photos"]["decisions"][2]["seconds"], nullptr);
  EXPECT_TRUE(fs::exists(folder_.File("ties.csv")));
  EXPECT_EQ(support::QueryOne(folder_.File("survey.db"), "SELECT count(*) FROM data_image"), "6");
  EXPECT_THAT(support::Query(folder_.File("survey.db"), "SELECT * FROM data_image")[0],
              testing::Contains(testing::Field(&support::RawCell::text, "photos/IMG_0041.jpg")))
      << "the path is in the database, relative to it";
  EXPECT_EQ(Run("check survey.db").code, 0);
}

TEST_F(PhotoCommand, SaysInTextWhatItDid) {
  MakeFlight();
  MakePhotos();
  fs::remove(folder_.File("photos/IMG_0043.jpg"));
  const Outcome outcome = Run("import flight/flight.db --mission m1 --out survey.db --photos photos");
  ASSERT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("Photos of photos:"));
  EXPECT_THAT(outcome.out, HasSubstr("tied by position and order (5)"));
  EXPECT_THAT(outcome.out, HasSubstr("1 position has no photo"));
}

TEST_F(PhotoCommand, RefusesInOneLineAndMakesNothing) {
  MakeFlight();
  MakePhotos();
  fs::copy_file(folder_.File("photos/IMG_0043.jpg"), folder_.File("photos/IMG_0043 (copy).jpg"));
  fs::rename(folder_.File("photos/IMG_0043.jpg"), folder_.File("photos/a.jpg"));
  fs::rename(folder_.File("photos/IMG_0043 (copy).jpg"), folder_.File("photos/b.jpg"));
  const Outcome outcome = Run("import flight/flight.db --mission m1 --out survey.db --photos photos");
  EXPECT_EQ(outcome.code, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err, HasSubstr("a.jpg is ambiguous"));
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1);
  EXPECT_FALSE(fs::exists(folder_.File("survey.db")));
  EXPECT_EQ(
      Run("import flight/flight.db --mission m1 --out survey.db --photos photos --leave-ambiguous").code, 0);
}

TEST_F(PhotoCommand, MakesAProjectOfPhotosAlone) {
  MakePhotos();
  const Outcome outcome =
      Run("import --from photos photos --out survey.db --crs EPSG:32632 --report ties.csv --json");
  ASSERT_EQ(outcome.code, 0) << outcome.err;
  const json document = json::parse(outcome.out);
  EXPECT_EQ(document["written"]["images"], 6);
  EXPECT_EQ(document["files"].size(), 3U);
  EXPECT_EQ(Run("check survey.db").code, 0);
  EXPECT_EQ(json::parse(Run("info survey.db --json").out)["images"], 6);
}

TEST_F(PhotoCommand, TakesALogWithNamedColumns) {
  MakePhotos();
  std::string log = "Nr;Breite;Laenge;H\n";
  for (int i = 0; i < 6; ++i) {
    std::string row = std::to_string(41 + i) + ";" + std::to_string(50 + i * 0.0002) + ";8,5;12,5\n";
    std::replace(row.begin(), row.end(), '.', ',');
    log += row;
  }
  support::WriteText(folder_.File("log.csv"), log);
  const Outcome outcome =
      Run("import --from photos photos --out survey.db --log log.csv "
          "--columns index=Nr,lat=Breite,lon=Laenge,height=H --tie index --json");
  ASSERT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_THAT(json::parse(outcome.out)["conventions"]["photos"], "tied by index (6)");
}

TEST_F(PhotoCommand, KnowsWrongUsage) {
  MakeFlight();
  MakePhotos();
  for (const char* arguments :
       {"import flight/flight.db --mission m1 --out survey.db --report ties.csv",
        "import flight/flight.db --mission m1 --out survey.db --log log.csv",
        "import --from photos photos --out survey.db --photos photos",
        "import --from photos photos --out survey.db --tie guess",
        "import --from photos photos --out survey.db --photo-distance -1",
        "import flight/flight.db --mission m1 --out survey.db --photos photos --report survey.gb",
        "import flight/flight.db --mission m1 --out survey.db --photos photos --report flight/flight.db"}) {
    EXPECT_EQ(Run(arguments).code, 2) << arguments;
  }
  EXPECT_FALSE(fs::exists(folder_.File("survey.db")));
  EXPECT_EQ(Run("import --from photos nowhere --out survey.db").code, 1);
}

}  // namespace
