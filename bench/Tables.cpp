// Tables of the project database against the engine used by hand: native values, one prepared statement, one
// transaction.

#include <sqlite3.h>

#include <cstring>
#include <filesystem>
#include <memory>

#include "Figure.h"
#include "Workloads.h"
#include "Workspace.h"

namespace bench {
namespace {

struct EngineCloser {
  void operator()(sqlite3* engine) const { sqlite3_close_v2(engine); }
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Engine = std::unique_ptr<sqlite3, EngineCloser>;
using Statement = std::unique_ptr<sqlite3_stmt, EngineCloser>;

Engine OpenByHand(const std::string& path) {
  sqlite3* raw = nullptr;
  Require(sqlite3_open(path.c_str(), &raw) == SQLITE_OK, "opening by hand");
  return Engine(raw);
}

void Run(const Engine& engine, const std::string& sql) {
  Require(sqlite3_exec(engine.get(), sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK, sql);
}

Statement Prepare(const Engine& engine, const std::string& sql) {
  sqlite3_stmt* raw = nullptr;
  Require(sqlite3_prepare_v2(engine.get(), sql.c_str(), -1, &raw, nullptr) == SQLITE_OK, sql);
  return Statement(raw);
}

/// What a fresh file needs no more than.
constexpr char kFreshFile[] = "PRAGMA page_size = 16384; PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF";

constexpr char kImageTable[] =
    "CREATE TABLE data_image(id INTEGER, project_id TEXT, name TEXT, path TEXT, x REAL, y REAL, z REAL, "
    "omega REAL,"
    "phi REAL, kappa REAL, new_x REAL, new_y REAL, new_z REAL, new_omega REAL, new_phi REAL, new_kappa REAL,"
    "strip_id INTEGER, camera_id INTEGER, enabled INTEGER)";

void BindText(sqlite3_stmt* statement, int parameter, const std::string& text) {
  sqlite3_bind_text(statement, parameter, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
}

int BindEop(sqlite3_stmt* statement, int parameter, const qvfd::EOP& eop) {
  for (const double value : {eop.x, eop.y, eop.z, eop.omega, eop.phi, eop.kappa}) {
    sqlite3_bind_double(statement, parameter++, value);
  }
  return parameter;
}

class ImageTable {
 public:
  explicit ImageTable(const support::ProjectShape& shape) : project_(support::BuildProject(shape)) {
    Write();
  }

  double Write() {
    std::filesystem::remove(Path());
    return Milliseconds([&] {
      qvsql::Database database;
      Require(database.Create(Path()) && project_.CreateImageTable(database) &&
                  project_.WriteImageRecords(database),
              "writing the image table");
    });
  }

  double Read() {
    qvprj::QvProject read;
    const double cost = Milliseconds([&] {
      qvsql::Database database;
      Require(database.Open(Path()) && read.ReadImageRecords(database), "reading the image table");
    });
    Require(read.GetImageInfoSet().Size() == project_.GetImageInfoSet().Size(), "reading all images");
    return cost;
  }

  double WriteByHand() {
    std::filesystem::remove(Copy());
    return Milliseconds([&] {
      const Engine engine = OpenByHand(Copy());
      Run(engine, kFreshFile);
      Run(engine, kImageTable);
      Run(engine, "BEGIN");
      const Statement insert =
          Prepare(engine, "INSERT INTO data_image VALUES(?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
      sqlite3_stmt* const s = insert.get();
      const qvfd::ImageInfoSet& images = project_.GetImageInfoSet();
      const std::string id(project_.GetPrjInfo().id, 32);
      for (int i = 0; i < images.Size(); ++i) {
        const qvfd::ImageInfo& image = *images.GetImage(i);
        const qvfd::ImageInfoExt& ext = *images.GetImageExt(i);
        const std::string name = image.Name();
        const std::string path = image.Path();
        sqlite3_bind_int(s, 1, image.Id());
        BindText(s, 2, id);
        BindText(s, 3, name);
        BindText(s, 4, path);
        int next = BindEop(s, 5, image.GetEOP());
        next = BindEop(s, next, image.GetUpdatedEOP());
        sqlite3_bind_int(s, next, ext.strip_id);
        sqlite3_bind_int(s, next + 1, ext.camera_id);
        sqlite3_bind_int(s, next + 2, ext.enabled ? 1 : 0);
        Require(sqlite3_step(s) == SQLITE_DONE && sqlite3_reset(s) == SQLITE_OK, "inserting by hand");
      }
      Run(engine, "COMMIT");
    });
  }

  /// Reads the same columns natively, and keeps nothing.
  double ReadByHand() {
    double sum = 0.0;
    int rows = 0;
    const double cost = Milliseconds([&] {
      const Engine engine = OpenByHand(Path());
      const Statement select = Prepare(engine, "SELECT * FROM data_image");
      sqlite3_stmt* const s = select.get();
      while (sqlite3_step(s) == SQLITE_ROW) {
        ++rows;
        for (const int column : {0, 16, 17, 18}) {
          sum += sqlite3_column_int(s, column);
        }
        for (const int column : {1, 2, 3}) {
          sum += *sqlite3_column_text(s, column);
        }
        for (int column = 4; column < 16; ++column) {
          sum += sqlite3_column_double(s, column);
        }
      }
    });
    Require(rows == project_.GetImageInfoSet().Size() && sum != 0.0, "reading by hand");
    return cost;
  }

 private:
  [[nodiscard]] std::string Path() const { return folder_.File("survey.db"); }
  [[nodiscard]] std::string Copy() const { return folder_.File("copy.db"); }

  Workspace folder_;
  qvprj::QvProject project_;
};

/// The tables of features and matches, and what they hold.
class TiePointTables {
 public:
  explicit TiePointTables(const support::ProjectShape& shape) : project_(support::BuildProject(shape)) {
    WriteFeatures();
    WriteMatches();
  }

  double WriteFeatures() {
    return WriteTable(Features(), [this](qvsql::Database& database) {
      return project_.CreateFeatureTable(database) && project_.WriteFeatures(database);
    });
  }

  double WriteMatches() {
    return WriteTable(Matches(), [this](qvsql::Database& database) {
      return project_.CreateMatchTable(database) && project_.WriteMatches(database);
    });
  }

  double WriteFeaturesRaw() { return WriteRaw(project_.GetFeatures()); }
  double WriteMatchesRaw() { return WriteRaw(project_.GetMatches()); }

  double Read() {
    qvprj::QvProject read;
    read.SetImageInfoSet(project_.GetImageInfoSet());
    ForgetFreeMemory();
    const double cost = Milliseconds([&] {
      qvsql::Database features;
      qvsql::Database matches;
      Require(features.Open(Features()) && read.ReadFeatures(features) && matches.Open(Matches()) &&
                  read.ReadMatches(matches),
              "reading features and matches");
    });
    Require(read.GetFeatures().size() == project_.GetFeatures().size() &&
                read.GetMatches().size() == project_.GetMatches().size(),
            "reading all features and matches");
    return cost;
  }

  /// Copies of the vectors, as the simplest loops make them.
  double Build() {
    qvprj::QvProject::Features features;
    qvprj::QvProject::Matches matches;
    ForgetFreeMemory();
    return Milliseconds([&] {
      for (const auto& [id, points] : project_.GetFeatures()) {
        features.emplace_hint(features.end(), id, points);
      }
      for (const auto& [pair, indices] : project_.GetMatches()) {
        matches.emplace_hint(matches.end(), pair, indices);
      }
    });
  }

 private:
  template <class Work>
  double WriteTable(const std::string& path, Work work) {
    std::filesystem::remove(path);
    return Milliseconds([&] {
      qvsql::Database database;
      Require(database.Create(path) && work(database), "writing a table");
    });
  }

  template <class Map>
  double WriteRaw(const Map& map) {
    const std::string path = folder_.File("raw");
    std::filesystem::remove(path);
    return Milliseconds([&] {
      RawFile file(path);
      for (const auto& entry : map) {
        file.Write(entry.second.data(), entry.second.size() * sizeof(entry.second[0]));
      }
    });
  }

  [[nodiscard]] std::string Features() const { return folder_.File("features.db"); }
  [[nodiscard]] std::string Matches() const { return folder_.File("matches.db"); }

  Workspace folder_;
  qvprj::QvProject project_;
};

template <class Tables>
Figure Compare(const std::string& operation, const std::string& floorName, double goal,
               const support::ProjectShape& shape, double (Tables::*measured)(), double (Tables::*floor)()) {
  return {.operation = operation, .floor_name = floorName, .unit = "ms", .goal = goal, .prepare = [=] {
            const auto tables = std::make_shared<Tables>(shape);
            return std::pair<Round, Round>([=] { return ((*tables).*measured)(); },
                                           [=] { return ((*tables).*floor)(); });
          }};
}

}  // namespace

std::vector<Figure> TableFigures(const Scale& scale) {
  support::ProjectShape tiePoints = ShapeM(scale);
  tiePoints.tracks = 0;
  return {
      Compare("image table T: write", "native insert", 2.7, ShapeT(scale), &ImageTable::Write,
              &ImageTable::WriteByHand),
      Compare("image table T: read", "native read", 3.8, ShapeT(scale), &ImageTable::Read,
              &ImageTable::ReadByHand),
      Compare("feature table M: write", "write() of the blobs", 2.0, tiePoints,
              &TiePointTables::WriteFeatures, &TiePointTables::WriteFeaturesRaw),
      Compare("match table M: write", "write() of the blobs", 4.5, tiePoints, &TiePointTables::WriteMatches,
              &TiePointTables::WriteMatchesRaw),
      Compare("feature, match tables M: read", "copy of the vectors", 2.7, tiePoints, &TiePointTables::Read,
              &TiePointTables::Build),
  };
}

}  // namespace bench
