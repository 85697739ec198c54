// Whole projects: opened, saved, copied, looked at in passing, and what memory that takes.

#include <sqlite3.h>

#include <filesystem>
#include <memory>

#include "Figure.h"
#include "PeakMemory.h"
#include "Workloads.h"
#include "Workspace.h"
#include "support/ProjectCompare.h"

namespace bench {
namespace {

constexpr double kMegabyte = 1024.0 * 1024.0;

/// A project that shows its parts.
struct Project : qvprj::QvProject {
  Project() = default;
  explicit Project(qvprj::QvProject&& project) : QvProject(std::move(project)) {}
  using QvProject::GetTrackFileName;
  using QvProject::ReadTrackFile;
  using QvProject::WriteTrackFile;
};

class SavedProject {
 public:
  explicit SavedProject(const support::ProjectShape& shape) : project_(support::BuildProject(shape)) {
    Require(project_.Save(Path()), "saving");
  }

  double Open() {
    qvprj::QvProject opened;
    ForgetFreeMemory();
    WarmUp(Project::GetTrackFileName(Path()));
    const double cost = Milliseconds([&] { Require(opened.OpenPrj(Path()), "opening"); });
    RequireWhole(opened);
    return cost;
  }

  /// The readers that opening calls, one by one.
  double OpenParts() {
    Project opened;
    ForgetFreeMemory();
    WarmUp(Project::GetTrackFileName(Path()));
    double cost = 0.0;
    qvsql::Database database;
    const auto part = [&cost](auto&& work) {
      cost += Milliseconds([&] { Require(work(), "opening a part"); });
    };
    part([&] { return database.Open(Path()); });
    part([&] { return opened.ReadPrjRecords(database, Path()); });
    part([&] { return opened.ReadImageRecords(database); });
    part([&] { return opened.ReadCameraRecords(database); });
    part([&] {
      opened.ReadTrackFile(Project::GetTrackFileName(Path()), true, true);
      return true;
    });
    part([&] { return opened.ReadGCPRecords(database); });
    part([&] { return opened.ReadCPRecords(database); });
    RequireWhole(opened);
    return cost;
  }

  double Save() {
    RemoveCopies();
    return Milliseconds([&] { Require(project_.Save(Copy()), "saving"); });
  }

  double SaveParts() {
    RemoveCopies();
    double cost = 0.0;
    qvsql::Database database;
    const auto part = [&cost](auto&& work) {
      cost += Milliseconds([&] { Require(work(), "saving a part"); });
    };
    part([&] { return database.Create(Copy()); });
    part([&] { return project_.CreateCameraTable(database) && project_.WriteCameraRecords(database); });
    part([&] { return project_.CreateImageTable(database) && project_.WriteImageRecords(database); });
    part([&] { return project_.CreatePrjTable(database) && project_.WritePrjRecords(database); });
    part([&] { return project_.CreateGCPTable(database) && project_.WriteGCPRecords(database); });
    part([&] { return project_.CreateCPTable(database) && project_.WriteCPRecords(database); });
    part([&] {
      database = qvsql::Database();
      return true;
    });
    part([&] { return project_.WriteTrackFile(Project::GetTrackFileName(Copy())); });
    return cost;
  }

  /// The rows of the saved tables once more, by hand: one transaction, without journal and waiting for the
  /// disk.
  double SaveByHand() {
    RemoveCopies();
    return Milliseconds([&] {
      sqlite3* raw = nullptr;
      Require(sqlite3_open(Copy().c_str(), &raw) == SQLITE_OK, "creating by hand");
      const std::unique_ptr<sqlite3, int (*)(sqlite3*)> engine(raw, &sqlite3_close_v2);
      const std::string script =
          "PRAGMA page_size = 16384; PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; BEGIN;" + Script() +
          "COMMIT";
      Require(sqlite3_exec(raw, script.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK, "saving by hand");
      RawFile trackFile(Project::GetTrackFileName(Copy()));
      const std::vector<char> bytes(std::filesystem::file_size(Project::GetTrackFileName(Path())));
      trackFile.Write(bytes.data(), bytes.size());
    });
  }

  double QuickOpen() {
    qvprj::QvProject opened;
    const double cost = Milliseconds([&] { Require(opened.QuickOpenPrj(Path()), "opening quickly"); });
    return cost;
  }

  double ReadOneRowByHand() {
    return Milliseconds([&] {
      sqlite3* raw = nullptr;
      Require(sqlite3_open_v2(Path().c_str(), &raw, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK,
              "opening by hand");
      const std::unique_ptr<sqlite3, int (*)(sqlite3*)> engine(raw, &sqlite3_close_v2);
      sqlite3_stmt* select = nullptr;
      Require(sqlite3_prepare_v2(raw, "SELECT * FROM data_project", -1, &select, nullptr) == SQLITE_OK,
              "preparing");
      const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> statement(select, &sqlite3_finalize);
      Require(sqlite3_step(select) == SQLITE_ROW && sqlite3_column_text(select, 0) != nullptr,
              "reading a row by hand");
    });
  }

  double CopyProject() {
    qvprj::QvProject copy;
    ForgetFreeMemory();
    const double cost = Milliseconds([&] { copy = project_; });
    RequireWhole(copy);
    return cost;
  }

  double CopyContainers() {
    qvfd::ImageInfoSet images;
    qvprj::QvProject::Features features;
    qvprj::QvProject::Matches matches;
    qvprj::QvProject::Tracks tracks;
    ForgetFreeMemory();
    return Milliseconds([&] {
      images = project_.GetImageInfoSet();
      features = project_.GetFeatures();
      matches = project_.GetMatches();
      tracks = project_.GetTracks();
    });
  }

  /// Megabytes at the most while opening, above what was there before.
  double PeakOfOpen() {
    qvprj::QvProject opened;
    const std::size_t before = MemoryInUse();
    ForgetPeak();
    Require(opened.OpenPrj(Path()), "opening");
    return static_cast<double>(PeakMemory() - before) / kMegabyte;
  }

  /// Megabytes of the opened project itself.
  double SizeOfProject() {
    const std::size_t before = MemoryInUse();
    qvprj::QvProject opened;
    Require(opened.OpenPrj(Path()), "opening");
    return static_cast<double>(MemoryInUse() - before) / kMegabyte;
  }

  double PeakOfSave() {
    RemoveCopies();
    const std::size_t before = MemoryInUse();
    ForgetPeak();
    Require(project_.Save(Copy()), "saving");
    return static_cast<double>(PeakMemory() - before) / kMegabyte;
  }

 private:
  void RequireWhole(qvprj::QvProject& project) {
    Require(project.GetImageInfoSet().Size() == project_.GetImageInfoSet().Size() &&
                project.GetFeatures().size() == project_.GetFeatures().size() &&
                project.GetMatches().size() == project_.GetMatches().size() &&
                project.GetTracks().size() == project_.GetTracks().size(),
            "the whole project");
  }

  void RemoveCopies() const {
    std::filesystem::remove(Copy());
    std::filesystem::remove(Project::GetTrackFileName(Copy()));
  }

  /// The statements that make the saved tables.
  const std::string& Script() {
    if (script_.empty()) {
      qvsql::Database database;
      Require(database.Open(Path()), "opening");
      for (const char* const table : {"data_camera", "data_image", "data_project", "data_gcp", "data_cp"}) {
        int rows = 0;
        int columns = 0;
        std::vector<std::string> cells;
        Require(database.GetRecords(table, &rows, &columns, cells), "reading a table");
        script_ += std::string("CREATE TABLE ") + table + "(c0";
        for (int column = 1; column < columns; ++column) {
          script_ += ",c" + std::to_string(column);
        }
        script_ += ");";
        for (int row = 0; row < rows; ++row) {
          script_ += std::string("INSERT INTO ") + table + " VALUES('";
          for (int column = 0; column < columns; ++column) {
            script_ += (column == 0 ? "" : "','") + cells[static_cast<std::size_t>(row * columns + column)];
          }
          script_ += "');";
        }
      }
    }
    return script_;
  }

  [[nodiscard]] std::string Path() const { return folder_.File("survey.db"); }
  [[nodiscard]] std::string Copy() const { return folder_.File("copy.db"); }

  Workspace folder_;
  Project project_;
  std::string script_;
};

using Work = double (SavedProject::*)();

Figure Compare(const std::string& operation, const std::string& floorName, double goal,
               const support::ProjectShape& shape, Work measured, Work floor, const char* unit = "ms") {
  return {.operation = operation, .floor_name = floorName, .unit = unit, .goal = goal, .prepare = [=] {
            const auto project = std::make_shared<SavedProject>(shape);
            return std::pair<Round, Round>([=] { return ((*project).*measured)(); },
                                           [=] { return ((*project).*floor)(); });
          }};
}

Figure SavingAgainstParts(const std::string& operation, const support::ProjectShape& shape, double goal) {
  Figure figure = Compare(operation, "its parts", goal, shape, &SavedProject::Save, &SavedProject::SaveParts);
  figure.writes_large_files = true;
  return figure;
}

/// What does not depend on the size of a project, against the same on a small one.
Figure QuickOpenOfAnySize(const support::ProjectShape& large, const support::ProjectShape& small) {
  return {.operation = "QuickOpenPrj of L",
          .floor_name = "of 10 rows a table",
          .unit = "ms",
          .goal = 1.5,
          .prepare = [=] {
            const auto much = std::make_shared<SavedProject>(large);
            const auto little = std::make_shared<SavedProject>(small);
            return std::pair<Round, Round>([=] { return much->QuickOpen(); },
                                           [=] { return little->QuickOpen(); });
          }};
}

support::ProjectShape TenRowsATable() {
  support::ProjectShape shape;
  shape.cameras = shape.images = shape.ground_points = 10;
  shape.measurements_per_point = 1;
  shape.pairs = shape.tracks = 10;
  return shape;
}

}  // namespace

std::vector<Figure> ProjectFigures(const Scale& scale) {
  constexpr double kPartsAndALittle = 1.05;
  const support::ProjectShape m = ShapeM(scale);
  const support::ProjectShape l = ShapeL(scale);
  const support::ProjectShape ten = TenRowsATable();
  const Round allowance = [] { return 32.0; };
  return {
      Compare("project M: OpenPrj", "its parts", kPartsAndALittle, m, &SavedProject::Open,
              &SavedProject::OpenParts),
      SavingAgainstParts("project M: Save", m, kPartsAndALittle),
      Compare("project L: OpenPrj", "its parts", kPartsAndALittle, l, &SavedProject::Open,
              &SavedProject::OpenParts),
      SavingAgainstParts("project L: Save", l, kPartsAndALittle),
      Compare("project of 10 rows a table: Save", "one transaction", 2.0, ten, &SavedProject::Save,
              &SavedProject::SaveByHand),
      Compare("project L: QuickOpenPrj", "one row by hand", 3.0, l, &SavedProject::QuickOpen,
              &SavedProject::ReadOneRowByHand),
      QuickOpenOfAnySize(l, ten),
      Compare("project M: operator=", "copy of containers", 1.1, m, &SavedProject::CopyProject,
              &SavedProject::CopyContainers),
      Compare("project M: peak memory of OpenPrj", "the project", 1.15, m, &SavedProject::PeakOfOpen,
              &SavedProject::SizeOfProject, "MiB"),
      {.operation = "project M: memory that Save takes",
       .floor_name = "allowed",
       .unit = "MiB",
       .goal = 1.0,
       .prepare =
           [=] {
             const auto project = std::make_shared<SavedProject>(m);
             return std::pair<Round, Round>([=] { return project->PeakOfSave(); }, allowance);
           }},
  };
}

}  // namespace bench
