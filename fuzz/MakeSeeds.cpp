// Writes the seeds of the corpora: fuzz_make_seeds FOLDER makes FOLDER/TARGET/seed-... anew, the same on every
// machine but for the salts of two files left unfinished. What the fuzzer found stands beside them and is not touched.

#include <cstdio>
#include <filesystem>
#include <string>
#include <tuple>

#include "Target.h"
#include "contracts/qvfd/ContainerForge.h"
#include "interchange/mapping/ColmapProject.h"
#include "interchange/mapping/GroundControl.h"
#include "interchange/mapping/OpenSfmProject.h"
#include "interchange/mapping/TextProject.h"
#include "qvprj/check/ProjectCheck.h"
#include "qvprj/project/QvProject.h"
#include "support/Folder.h"
#include "support/ProjectBuilder.h"
#include "support/ProjectBytes.h"
#include "support/ProjectSql.h"
#include "support/Sql.h"

namespace {

using fuzz::Bytes;

class Corpus {
 public:
  Corpus(const std::string& root, const std::string& target) : folder_(root + "/" + target) {
    std::filesystem::create_directories(folder_);
  }

  void Add(const std::string& name, const Bytes& bytes) const {
    fuzz::WriteFile(folder_ + "/seed-" + name, bytes);
  }

  /// Any bytes: for targets that take every byte as a choice.
  void AddRandom(int count, std::size_t size) const {
    support::Random random(2024);
    for (int i = 0; i < count; ++i) {
      Bytes bytes(size);
      for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(random.Below(256));
      }
      Add("random-" + std::to_string(i), bytes);
    }
  }

 private:
  std::string folder_;
};

Bytes Joined(const Bytes& front, const Bytes& back) {
  Bytes bytes = front;
  bytes.insert(bytes.end(), back.begin(), back.end());
  return bytes;
}

Bytes BytesOf(const std::string& text) {
  return {text.begin(), text.end()};
}

support::ProjectShape Small() {
  support::ProjectShape shape;
  shape.cameras = 1;
  shape.images = 3;
  shape.ground_points = 2;
  shape.measurements_per_point = 2;
  shape.features_per_image = 3;
  shape.pairs = 2;
  shape.matches_per_pair = 2;
  shape.tracks = 2;
  return shape;
}

void MakeContainers(const std::string& root) {
  const Corpus corpus(root, "container");
  corpus.Add("nothing", {});
  for (const unsigned char mode : Bytes{0, 1}) {
    const std::string suffix = mode == 0 ? "-as-it-is" : "-repaired";
    forge::Container empty;
    corpus.Add("empty" + suffix, Joined({mode}, empty.File()));
    forge::Container three;
    three.Add(0, {1, 2, 3});
    three.Add(1, {});
    three.Add(2, Bytes(70, 0x5A));
    corpus.Add("three" + suffix, Joined({mode}, three.File()));
    forge::Container negative;
    negative.Add(-7, Bytes(64, 1));
    negative.tag = -1;
    negative.reserved.assign(24, 0xAB);
    corpus.Add("negative" + suffix, Joined({mode}, negative.File()));
    three.count = 2;
    corpus.Add("fewer" + suffix, Joined({mode}, three.File()));
    three.count = 0xFFFFFFFF;
    corpus.Add("more" + suffix, Joined({mode}, three.File()));
  }
}

/// The blobs of a small project: alone, and with every combination of choices.
void MakeBlobs(const std::string& root) {
  qvprj::QvProject project = support::BuildProject(Small());
  qvfd::BinaryData blobs(1);
  fuzz::Require(project.WriteFeatures(blobs) && project.WriteMatches(blobs) && project.WriteTracks(blobs),
                "blobs of a small project");
  const struct {
    const char* target;
    int id;
  } kinds[] = {{"tracks", 0}, {"features", 1}, {"matches", 2}};
  for (const auto& kind : kinds) {
    const Corpus corpus(root, kind.target);
    Bytes blob;
    fuzz::Require(blobs.GetBlob(kind.id, blob), "a small project has each blob");
    for (const unsigned char choices : Bytes{0, 0x31, 0x71, 0x0E, 0x7F}) {
      corpus.Add("whole-" + std::to_string(choices), Joined({choices, 1, 2, 3, 0x80}, blob));
    }
    corpus.Add("some-images", Joined({0x0E, 1, 1, 9, 0x80}, blob));
    corpus.Add("cut", Joined({0x0E, 1, 2, 3, 4}, Bytes(blob.begin(), blob.end() - 5)));
    corpus.Add("none", {0x0E, 1, 2, 3, 4, 0, 0, 0, 0});
    corpus.Add("negative-count",
               Joined({0x0E, 1, 2, 3, 4}, support::ByteString().I32(2, 1, -1, -1, -1).Bytes()));
    corpus.Add("huge-count",
               Joined({0x0E, 1, 2, 3, 4}, support::ByteString().I32(2147483647, 1, 2, 2147483647).Bytes()));
  }
}

/// The database that a project was saved as, in pages as small as can be.
Bytes Packed(const std::string& path, const std::string& more) {
  return fuzz::DatabaseOf(
      {"ATTACH " + fuzz::Literal(path) + " AS p", "CREATE TABLE data_project AS SELECT * FROM p.data_project",
       "CREATE TABLE data_camera AS SELECT * FROM p.data_camera",
       "CREATE TABLE data_image AS SELECT * FROM p.data_image",
       "CREATE TABLE data_gcp AS SELECT * FROM p.data_gcp", "CREATE TABLE data_cp AS SELECT * FROM p.data_cp",
       "CREATE TABLE data_feature AS SELECT * FROM p.data_feature",
       "CREATE TABLE data_match AS SELECT * FROM p.data_match", more});
}

Bytes WithTrackFile(const Bytes& trackFile, const Bytes& database) {
  const Bytes size = support::ByteString().U16(static_cast<std::uint16_t>(trackFile.size())).Bytes();
  return Joined(Joined(size, trackFile), database);
}

/// A project's database as a program leaves it that is killed in the middle of a write: with what lies beside it.
Bytes LeftUnfinished(const std::string& mode, const std::string& suffix, unsigned kind) {
  const std::string path = fuzz::EmptyFolder().File("u.db");
  const auto run = [](qvsql::Database& database, const std::string& sql) {
    fuzz::Require(database.ExecSQL(sql, nullptr, nullptr), sql);
  };
  qvprj::QvProject project = support::BuildProject(Small());
  qvsql::Database database;
  fuzz::Require(database.Create(path), "a new database");
  run(database, "PRAGMA page_size = 512");
  run(database, "VACUUM");
  run(database, "PRAGMA journal_mode = " + mode);
  fuzz::Require(project.CreatePrjTable(database) && project.WritePrjRecords(database) &&
                    project.CreateCameraTable(database) && project.CreateImageTable(database) &&
                    project.WriteImageRecords(database),
                "tables of a small project");
  run(database, "PRAGMA cache_size = 1");  // pages reach the file before the transaction ends
  run(database, "BEGIN");
  run(database, "UPDATE data_image SET name = 'half done', path = zeroblob(300)");
  const Bytes side = fuzz::ReadFile(path + suffix);
  return Joined(support::ByteString().U16(side.size() | kind).Bytes(), Joined(side, fuzz::ReadFile(path)));
}

void MakeProjects(const std::string& root) {
  const Corpus corpus(root, "project_bytes");
  const fuzz::Folder& folder = fuzz::EmptyFolder();
  const std::string path = folder.File("p.db");
  qvprj::QvProject project = support::BuildProject(Small());
  fuzz::Require(project.Save(path), "a small project is saved");
  const Bytes tracks = fuzz::ReadFile(folder.File("p.gb"));
  corpus.Add("saved", WithTrackFile(tracks, Packed(path, "")));
  corpus.Add("no-track-file", WithTrackFile({}, Packed(path, "DROP TABLE data_camera")));
  {
    qvsql::Database database;
    fuzz::Require(database.Open(path) && project.CreateFeatureTable(database) &&
                      project.CreateMatchTable(database) && project.WriteFeatures(database) &&
                      project.WriteMatches(database),
                  "tie points in tables");
  }
  corpus.Add("tables", WithTrackFile(tracks, Packed(path, "")));
  Bytes log = Packed(path, "DELETE FROM data_gcp");
  log[18] = log[19] = 2;
  corpus.Add("write-ahead", WithTrackFile({}, log));
  corpus.Add(
      "utf16",
      WithTrackFile({},
                    fuzz::DatabaseOf(
                        {"PRAGMA encoding = 'UTF-16le'", "CREATE TABLE data_project(id, project_name)",
                         "INSERT INTO data_project VALUES(1, 'name')", "CREATE TABLE data_image(id, p, name)",
                         "INSERT INTO data_image VALUES(1, 2, 'name')", "CREATE TABLE data_camera(id)"})));
  for (const auto& [mode, suffix, kind] :
       {std::tuple{"WAL", "-wal", 0x4000U}, std::tuple{"PERSIST", "-journal", 0x8000U}}) {
    corpus.Add(mode, LeftUnfinished(mode, suffix, kind));
  }
  corpus.Add("text", WithTrackFile({}, BytesOf("SQLite format 3 is what this file says that it is.")));
  corpus.Add("nothing", {});
}

/// A sound project in pages as small as can be, and what damage makes of it.
void MakeDamaged(const std::string& root) {
  const Corpus corpus(root, "recover");
  const fuzz::Folder& folder = fuzz::EmptyFolder();
  const std::string path = folder.File("p.db");
  support::ProjectShape shape = Small();
  shape.images = 12;
  fuzz::Require(support::BuildProject(shape).Save(path), "a small project is saved");
  const Bytes tracks = fuzz::ReadFile(folder.File("p.gb"));
  std::vector<std::string> statements = {"PRAGMA page_size = 512", "ATTACH " + fuzz::Literal(path) + " AS p"};
  for (const std::string& table : {support::kProjectTable, support::kCameraTable, support::kImageTable,
                                   support::kGcpTable, support::kCpTable}) {
    statements.push_back(table);
  }
  for (const char* const table : {"data_project", "data_camera", "data_image", "data_gcp", "data_cp"}) {
    statements.push_back(std::string("INSERT INTO main.") + table + " SELECT * FROM p." + table);
  }
  Bytes sound = fuzz::DatabaseOf(statements);
  const Bytes saved = fuzz::ReadFile(path);
  std::copy_n(saved.begin() + 60, 4, sound.begin() + 60);  // the stamp of the save
  fuzz::WriteFile(path, sound);
  qvprj::ProjectReport report;
  fuzz::Require(qvprj::CheckProject(path, report) && report.IsSound(), "the small project is sound");
  corpus.Add("sound", WithTrackFile(tracks, sound));

  const auto addDamaged = [&](const std::string& name, const auto& damage) {
    Bytes damaged = sound;
    damage(damaged);
    corpus.Add(name, WithTrackFile(tracks, damaged));
  };
  constexpr std::size_t kPage = 512;
  const auto zero = [](Bytes& bytes, std::size_t at, std::size_t length) {
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), length, std::uint8_t{0});
  };
  const auto rootOfImages = static_cast<std::size_t>(
      fuzz::IntegerOf(sound, "SELECT rootpage FROM sqlite_master WHERE name = 'data_image'").value_or(0));
  fuzz::Require(rootOfImages > 1 && sound[(rootOfImages - 1) * kPage] == 5, "the images have an inner page");
  addDamaged("no-header", [&](Bytes& bytes) { zero(bytes, 0, 100); });
  addDamaged("no-first-page", [&](Bytes& bytes) { zero(bytes, 0, kPage); });
  addDamaged("no-root", [&](Bytes& bytes) { zero(bytes, (rootOfImages - 1) * kPage, kPage); });
  addDamaged("no-end", [&](Bytes& bytes) { bytes.resize(bytes.size() * 2 / 3); });
  addDamaged("free-page", [&](Bytes& bytes) { bytes[35] = 9; });
  for (const auto& [mode, suffix, kind] :
       {std::tuple{"WAL", "-wal", 0x4000U}, std::tuple{"PERSIST", "-journal", 0x8000U}}) {
    corpus.Add(mode, LeftUnfinished(mode, suffix, kind));
  }
}

/// Any choices, and those that make an endless view of the table of images.
void MakeOddProjects(const std::string& root) {
  const Corpus corpus(root, "project_odd");
  corpus.AddRandom(40, 700);
  // Not saved, plain beginning, the table of images and what is needed; a view, the endless one.
  corpus.Add("endless-view", {1, 0, 0x82, 14, 7});
}

void MakeFlights(const std::string& root) {
  const Corpus corpus(root, "flight");
  const Bytes flight = fuzz::DatabaseOf(
      {"CREATE TABLE flight_mission(id TEXT, project_id TEXT, flight_task_name TEXT, created_at TEXT,"
       " survey_average_altitude REAL)",
       "CREATE TABLE pos_data(flight_mission_id TEXT, img_idx INTEGER, lat REAL, lng REAL, alt_msl REAL,"
       " roll REAL, pitch REAL, yaw REAL)",
       "CREATE TABLE uas_status(flight_mission_id TEXT, uas_serial_id TEXT)",
       "CREATE TABLE project(id TEXT, project_name TEXT)", "INSERT INTO project VALUES('p', 'project')",
       "INSERT INTO flight_mission VALUES('a', 'p', 'north', '2024-05-06', 100.5), ('b', 'q', 'south', 7, 1)",
       "INSERT INTO uas_status VALUES('a', 'serial')",
       "INSERT INTO pos_data VALUES('a', 1, 31.5, 118.5, 200.25, 0.1, 10, -90), ('b', 2, 1, 2, 3, 4, 5, 6)"});
  corpus.Add("raw", Joined({3}, flight));
  corpus.AddRandom(24, 400);
}

void MakeTexts(const std::string& root) {
  const Corpus numbers(root, "numbers_text");
  const char* const texts[] = {"0",        " -12.5e3abc", "0x1.8p3",
                               "inf",      "-nan(7)",     "1e400",
                               "4.9e-324", "2147483648",  "-99999999999999999999",
                               "1e-400",   ".5",          "0x",
                               "+-1",      "1e+",         "infinityx",
                               "0x.p1"};
  int i = 0;
  for (const char* const text : texts) {
    numbers.Add("number-" + std::to_string(i++), Joined({0}, BytesOf(text)));
  }
  numbers.Add("value", Joined({1}, support::ByteString().F64(0.1).I32(7, 0).Bytes()));
  for (unsigned char codeset = 0; codeset < 12; ++codeset) {
    numbers.Add("text-" + std::to_string(codeset),
                Joined({2, codeset}, BytesOf("a\xE6\xB5\x8B\xC3\xA9\xF0\x9F\x9A\x81\xB2\xE2\xFF z")));
  }
  numbers.Add("fixed", Joined({3, 9}, BytesOf("longer than that")));

  const Corpus paths(root, "paths");
  const char* const names[] = {
      "p.db",      "d/p.v2.db",         ".db",      "p",     "p.gb", "d/",      "l.db",         "l/p.db",
      "a/../p.db", "file:p.db?mode=ro", ":memory:", "/p.db", "d.db", "d//p.db", "p.db-journal", "./p.",
      "copy.x",    "\xE6\xB5\x8B.db"};
  i = 0;
  for (const char* const name : names) {
    const auto mode = static_cast<unsigned char>(i % 4);
    paths.Add("name-" + std::to_string(i++), Joined({mode}, BytesOf(name)));
  }
  paths.Add("long", Joined({0}, BytesOf(std::string(300, 'n') + ".db")));
}

/// A file of another program for each format that there is: the number in front is the target's.
void MakeExchange(const std::string& root) {
  namespace ic = interchange;
  const Corpus corpus(root, "exchange");
  const fuzz::Folder& folder = fuzz::EmptyFolder();
  qvprj::QvProject project = support::BuildProject(Small());
  project.GetCameraInfoSet().GetCamera(0)->distortion = {-0.01, 0.001};  // no more than every format has
  double east = 0.0;
  for (qvfd::ImageInfo& image : project.GetImageInfoSet()) {
    image.SetEOP({118.5 + east, 31.5, 200.25, 0.01, -0.02, 1.5});
    image.Update({118.5 + east, 31.5, 200.5, 0.015, -0.025, 1.25});
    east += 0.001;
  }
  const auto add = [&](const std::string& name, unsigned char format, const std::vector<std::string>& files) {
    Bytes bytes = {format, 0};
    for (const std::string& file : files) {
      bytes = Joined(bytes, Joined(file == files.front() ? Bytes() : BytesOf("\n--\n"),
                                   fuzz::ReadFile(folder.File(file))));
    }
    corpus.Add(name, bytes);
  };
  ic::ExportText(project, folder.File("opk.txt"), ic::TextKind::kOpk, {});
  add("opk", 0, {"opk.txt"});
  ic::ExportText(project, folder.File("ypr.csv"), ic::TextKind::kYpr, {});
  add("ypr", 1, {"ypr.csv"});
  ic::ExportOdm(project, folder.File("odm"), {});
  add("odm", 2, {"odm/geo.txt", "odm/gcp_list.txt"});
  ic::ExportGroundControl(project, folder.File("points.csv"), {});
  add("ground-points", 3, {"points.csv"});
  ic::ExportOpenSfm(project, folder.File("opensfm"), {});
  add("opensfm", 5, {"opensfm/reconstruction.json", "opensfm/tracks.csv"});
  ic::ExportColmapModel(project, folder.File("text"), ic::ColmapForm::kText, {});
  add("colmap-text", 6,
      {"text/cameras.txt", "text/images.txt", "text/points3D.txt", "text/georeference.json"});
  ic::ExportColmapModel(project, folder.File("binary"), ic::ColmapForm::kBinary, {});
  add("colmap", 7,
      {"binary/cameras.bin", "binary/images.bin", "binary/points3D.bin", "binary/georeference.json"});
  ic::ExportColmapDatabase(project, folder.File("colmap.db"), {});
  std::vector<std::string> tables = {"ATTACH " + fuzz::Literal(folder.File("colmap.db")) + " AS p"};
  for (const std::string table : {"cameras", "images", "keypoints", "matches", "two_view_geometries"}) {
    tables.push_back("CREATE TABLE " + table + " AS SELECT * FROM p." + table);
  }
  corpus.Add("colmap-database", Joined({8, 0}, fuzz::DatabaseOf(tables)));

  const auto addText = [&](const std::string& name, unsigned char format, const std::string& text) {
    corpus.Add(name, Joined({format, 0}, BytesOf(text)));
  };
  addText("opk-with-a-remark", 0, "# name X Y Z omega phi kappa\na b.jpg 500000.5 3500000 200 0.1 -0.2 90\n");
  addText("geo-of-its-own", 2,
          "+proj=utm +zone=50 +ellps=GRS80 +units=m\na.jpg 500000 3500000 200\nb.jpg 1e3 2 3 4 5 6 7 8\n");
  addText("ground-points-with-units", 3,
          "Label;Lat;Lon;Alt;role;enable;photo;px;py\nP1;31,5;118,5;20;check;0;a.jpg;1,5;2\n");
  addText("log", 4,
          "Photo,Time,Lat,Lon,Alt,Yaw\na.jpg,2024-05-06 07:08:09.5,41 02 04.8N,98d05'23\"W,12.5,359\n");
  addText(
      "log-of-a-drone", 4,
      "FMT, 148, 45, CAM, QIHILLeeecccC, TimeUS,GPSTime,GPSWeek,Lat,Lng,Alt,RelAlt,GPSAlt,Roll,Pitch,Yaw\n"
      "CAM, 12345678, 100000, 2260, 31.5, 118.5, 210.5, 90.1, 211, 0.5, -1, 180\n");
  addText("log-of-a-topic", 4,
          "timestamp,timestamp_utc,seq,lat,lon,alt,ground_distance,q[0],result\n1,1700000000000000,1,31.5,"
          "118.5,20,nan,1,1\n");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: fuzz_make_seeds FOLDER (fuzz/corpus)\n");
    return 2;
  }
  const std::string root = argv[1];
  MakeContainers(root);
  MakeBlobs(root);
  MakeProjects(root);
  MakeDamaged(root);
  MakeOddProjects(root);
  MakeFlights(root);
  MakeTexts(root);
  MakeExchange(root);
  return 0;
}
