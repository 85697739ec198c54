// COLMAP's database of features and matches: an SQLite file.
#include "interchange/formats/ColmapDatabase.h"

#include <array>
#include <cstring>
#include <filesystem>
#include <functional>
#include <system_error>
#include <utility>

#include "interchange/Failure.h"
#include "interchange/text/TextFile.h"
#include "qvsql/Database.h"
#include "qvsql/SideFiles.h"

namespace interchange {
namespace {

constexpr std::uint64_t kPairFactor = 2'147'483'647;

/// Of a geometry of two calibrated views.
constexpr int kCalibrated = 2;

/// The layout of release 3.8, one statement each.
constexpr std::array kStatements = {
    "CREATE TABLE cameras (camera_id INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL, model INTEGER NOT NULL, "
    "width INTEGER "
    "NOT NULL, height INTEGER NOT NULL, params BLOB, prior_focal_length INTEGER NOT NULL)",
    "CREATE TABLE images (image_id INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL, name TEXT NOT NULL UNIQUE, "
    "camera_id "
    "INTEGER NOT NULL, prior_qw REAL, prior_qx REAL, prior_qy REAL, prior_qz REAL, prior_tx REAL, prior_ty "
    "REAL, "
    "prior_tz REAL, CONSTRAINT image_id_check CHECK(image_id >= 0 and image_id < 2147483647), FOREIGN "
    "KEY(camera_id) "
    "REFERENCES cameras(camera_id))",
    "CREATE UNIQUE INDEX index_name ON images(name)",
    "CREATE TABLE keypoints (image_id INTEGER PRIMARY KEY NOT NULL, rows INTEGER NOT NULL, cols INTEGER NOT "
    "NULL, data "
    "BLOB, FOREIGN KEY(image_id) REFERENCES images(image_id) ON DELETE CASCADE)",
    "CREATE TABLE descriptors (image_id INTEGER PRIMARY KEY NOT NULL, rows INTEGER NOT NULL, cols INTEGER "
    "NOT NULL, data "
    "BLOB, FOREIGN KEY(image_id) REFERENCES images(image_id) ON DELETE CASCADE)",
    "CREATE TABLE matches (pair_id INTEGER PRIMARY KEY NOT NULL, rows INTEGER NOT NULL, cols INTEGER NOT "
    "NULL, data "
    "BLOB)",
    "CREATE TABLE two_view_geometries (pair_id INTEGER PRIMARY KEY NOT NULL, rows INTEGER NOT NULL, cols "
    "INTEGER NOT "
    "NULL, data BLOB, config INTEGER NOT NULL, F BLOB, E BLOB, H BLOB, qvec BLOB, tvec BLOB)",
    "PRAGMA user_version = 3800",
};

// What is not known is NULL, not an empty text.
constexpr std::array kNulls = {
    "UPDATE images SET prior_qw = NULL, prior_qx = NULL, prior_qy = NULL, prior_qz = NULL, prior_tx = NULL, "
    "prior_ty = "
    "NULL, prior_tz = NULL",
    "UPDATE two_view_geometries SET F = NULL, E = NULL, H = NULL, qvec = NULL, tvec = NULL",
};

Failure Damaged(const std::string& path, const std::string& what) {
  return {path, "is damaged: " + what, "take a whole copy of it"};
}

std::uint32_t IdOf(const std::string& path, const std::string& cell) {
  const auto id = IntegerOf(cell);
  if (!id || *id < 0 || *id > std::numeric_limits<std::uint32_t>::max()) {
    throw Damaged(path, "'" + cell + "' is no id");
  }
  return static_cast<std::uint32_t>(*id);
}

/// A table whose cells are `columns` texts and, as the last of them that is asked for, one blob.
struct BlobTable {
  int rows = 0;
  int columns = 0;
  std::vector<std::string> cells;
  std::vector<std::vector<char>> blobs;

  [[nodiscard]] const std::string& Cell(int row, int column) const {
    return cells[static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
                 static_cast<std::size_t>(column)];
  }
  [[nodiscard]] const std::vector<char>& Blob(int row) const { return blobs[static_cast<std::size_t>(row)]; }
};

BlobTable ReadBlobTable(qvsql::Database& database, const std::string& path, const std::string& name,
                        int blobColumn, int columnsAtLeast) {
  BlobTable table;
  if (!database.GetRecords(name, blobColumn, &table.rows, &table.columns, table.cells, table.blobs) ||
      table.columns < columnsAtLeast) {
    throw Failure(path, "its table " + name + " is missing or cannot be read",
                  "check that it is a COLMAP database");
  }
  return table;
}

/// The rows of a statement as texts; NULL is empty.
std::vector<std::vector<std::string>> Rows(qvsql::Database& database, const std::string& path,
                                           const std::string& statement) {
  std::vector<std::vector<std::string>> rows;
  const auto take = [](void* user, int columns, char** values, char** /*names*/) {
    try {
      auto& row = static_cast<std::vector<std::vector<std::string>>*>(user)->emplace_back();
      for (int i = 0; i < columns; ++i) {
        row.emplace_back(values[i] == nullptr ? "" : values[i]);
      }
      return 0;
    } catch (...) {
      return 1;  // nothing may unwind through the engine
    }
  };
  if (!database.ExecSQL(statement, take, &rows)) {
    throw Failure(path, "cannot be read as a COLMAP database", "check that it is one");
  }
  return rows;
}

/// How many rows a statement gives; 0 where the release of the database has no such table or column.
std::size_t CountRows(qvsql::Database& database, const std::string& statement) {
  std::size_t count = 0;
  const auto add = [](void* user, int /*columns*/, char** /*values*/, char** /*names*/) {
    ++*static_cast<std::size_t*>(user);
    return 0;
  };
  return database.ExecSQL(statement, add, &count) ? count : 0;
}

ColmapMatches ReadMatches(qvsql::Database& database, const std::string& path, const std::string& name) {
  ColmapMatches matches;
  const BlobTable table = ReadBlobTable(database, path, name, 3, 4);
  for (int row = 0; row < table.rows; ++row) {
    const auto pair = IntegerOf(table.Cell(row, 0));
    if (!pair || *pair < 0) {
      throw Damaged(path, "'" + table.Cell(row, 0) + "' is no pair of images");
    }
    const auto number = static_cast<std::uint64_t>(*pair);
    const std::pair ids(static_cast<std::uint32_t>(number / kPairFactor),
                        static_cast<std::uint32_t>(number % kPairFactor));
    const std::vector<char>& blob = table.Blob(row);
    const std::string& count = table.Cell(row, 1);
    if (blob.empty()) {
      continue;
    }
    if (count != std::to_string(blob.size() / sizeof(qvfd::Point2_T<int>)) ||
        blob.size() % sizeof(qvfd::Point2_T<int>) != 0) {
      throw Damaged(path, "the matches of a pair in " + name + " are not as many as it says");
    }
    std::vector<qvfd::Point2_T<int>>& list = matches[ids];
    list.resize(blob.size() / sizeof(qvfd::Point2_T<int>));
    std::memcpy(list.data(), blob.data(), blob.size());
  }
  return matches;
}

void ReadKeypoints(qvsql::Database& database, const std::string& path, ColmapDatabase& made) {
  const BlobTable table = ReadBlobTable(database, path, "keypoints", 3, 4);
  for (int row = 0; row < table.rows; ++row) {
    const std::uint32_t image = IdOf(path, table.Cell(row, 0));
    const auto rows = IntegerOf(table.Cell(row, 1));
    const auto columns = IntegerOf(table.Cell(row, 2));
    const std::vector<char>& blob = table.Blob(row);
    if (!rows || !columns || *rows < 0 || *columns < 2 || *columns > 6 ||
        static_cast<std::uint64_t>(*rows) !=
            blob.size() / (static_cast<std::size_t>(*columns) * sizeof(float))) {
      throw Damaged(path, "the keypoints of image " + std::to_string(image) + " are not as many as it says");
    }
    std::vector<qvfd::Point2_T<float>>& points = made.keypoints[image];
    points.resize(static_cast<std::size_t>(*rows));
    for (std::size_t i = 0; i < points.size(); ++i) {
      std::memcpy(&points[i], blob.data() + i * static_cast<std::size_t>(*columns) * sizeof(float),
                  sizeof points[i]);
    }
    made.shapes += *columns > 2 ? points.size() : 0U;
  }
}

/// Rows on their way into a table with a blob.
struct Rowsful {
  std::vector<std::string> cells;
  std::vector<void*> blobs;
  std::vector<int> sizes;

  template <class T>
  void AddBlob(const std::vector<T>& values) {
    static_assert(std::is_trivially_copyable_v<T>);
    blobs.push_back(const_cast<T*>(values.data()));  // read only: the table takes writable pointers
    sizes.push_back(static_cast<int>(values.size() * sizeof(T)));
  }
};

void AddRows(qvsql::Database& database, const std::string& path, const std::string& table, int columns,
             int blobColumn, Rowsful&& rows) {
  if (!database.AddRecords(table, rows.cells, columns, blobColumn, std::move(rows.blobs),
                           std::move(rows.sizes))) {
    throw Failure(path, "cannot be written", "make room, or choose another place");
  }
}

void Run(qvsql::Database& database, const std::string& path, const char* statement) {
  if (!database.ExecSQL(statement, nullptr, nullptr)) {
    throw Failure(path, "cannot be written", "make room, or choose another place");
  }
}

void WriteMatches(qvsql::Database& database, const std::string& path, const std::string& table,
                  const ColmapMatches& matches, bool geometry) {
  Rowsful rows;
  for (const auto& [ids, list] : matches) {
    for (const std::uint64_t value :
         {ColmapPairId(ids.first, ids.second), std::uint64_t{list.size()}, std::uint64_t{2}}) {
      rows.cells.push_back(std::to_string(value));
    }
    rows.cells.emplace_back();
    rows.AddBlob(list);
    if (geometry) {
      rows.cells.push_back(std::to_string(kCalibrated));
      rows.cells.resize(rows.cells.size() + 5);
    }
  }
  AddRows(database, path, table, geometry ? 10 : 4, 3, std::move(rows));
}

void WriteTables(qvsql::Database& database, const std::string& path, const ColmapDatabase& made) {
  for (const char* const statement : kStatements) {
    Run(database, path, statement);
  }
  Rowsful cameras;
  for (const ColmapCamera& camera : made.cameras) {
    for (const std::uint64_t value :
         {std::uint64_t{camera.id}, static_cast<std::uint64_t>(camera.model), camera.width, camera.height}) {
      cameras.cells.push_back(std::to_string(value));
    }
    cameras.cells.emplace_back();
    cameras.cells.emplace_back("1");  // the focal length is known
    cameras.AddBlob(camera.parameters);
  }
  AddRows(database, path, "cameras", 6, 4, std::move(cameras));

  std::vector<std::string> images;
  for (const ColmapDatabaseImage& image : made.images) {
    images.push_back(std::to_string(image.id));
    images.push_back(image.name);
    images.push_back(std::to_string(image.camera));
    images.resize(images.size() + 7);
  }
  if (!database.AddRecords("images", images, 10)) {
    throw Failure(path, "its images cannot be written", "make room, or choose another place");
  }

  Rowsful keypoints;
  for (const auto& [image, points] : made.keypoints) {
    for (const std::uint64_t value : {std::uint64_t{image}, std::uint64_t{points.size()}, std::uint64_t{2}}) {
      keypoints.cells.push_back(std::to_string(value));
    }
    keypoints.cells.emplace_back();
    keypoints.AddBlob(points);
  }
  AddRows(database, path, "keypoints", 4, 3, std::move(keypoints));
  WriteMatches(database, path, "matches", made.matches, false);
  WriteMatches(database, path, "two_view_geometries", made.verified, true);
  for (const char* const statement : kNulls) {
    Run(database, path, statement);
  }
}

}  // namespace

std::uint64_t ColmapPairId(std::uint32_t a, std::uint32_t b) {
  return a < b ? kPairFactor * a + b : kPairFactor * b + a;
}

ColmapDatabase ReadColmapDatabase(const std::string& path) {
  if (!IsFile(path)) {
    throw Failure(path, "no such file", "check the path");
  }
  qvsql::Database database;
  if (!database.Open(path)) {
    throw Failure(path, "is no database, or cannot be read", "name a COLMAP database");
  }
  ColmapDatabase made;
  const BlobTable cameras = ReadBlobTable(database, path, "cameras", 4, 5);
  for (int row = 0; row < cameras.rows; ++row) {
    ColmapCamera& camera = made.cameras.emplace_back();
    camera.id = IdOf(path, cameras.Cell(row, 0));
    camera.model = static_cast<int>(IdOf(path, cameras.Cell(row, 1)));
    camera.width = IdOf(path, cameras.Cell(row, 2));
    camera.height = IdOf(path, cameras.Cell(row, 3));
    const std::vector<char>& blob = cameras.Blob(row);
    camera.parameters.resize(blob.size() / sizeof(double));
    if (!camera.parameters.empty()) {
      std::memcpy(camera.parameters.data(), blob.data(), camera.parameters.size() * sizeof(double));
    }
  }
  for (const std::vector<std::string>& row :
       Rows(database, path, "SELECT image_id, name, camera_id FROM images ORDER BY image_id")) {
    made.images.push_back({IdOf(path, row[0]), row[1], IdOf(path, row[2])});
  }
  ReadKeypoints(database, path, made);
  made.matches = ReadMatches(database, path, "matches");
  made.verified = ReadMatches(database, path, "two_view_geometries");
  made.geometries =
      CountRows(database,
                "SELECT pair_id FROM two_view_geometries WHERE length(F) > 0 OR length(E) > 0 OR "
                "length(H) > 0");
  made.priors =
      CountRows(database, "SELECT image_id FROM images WHERE prior_qw NOT NULL OR prior_tx NOT NULL") +
      CountRows(database, "SELECT image_id FROM pose_priors");
  made.descriptors = Rows(database, path, "SELECT image_id FROM descriptors WHERE rows > 0").size();
  return made;
}

void WriteColmapDatabase(const std::string& path, const ColmapDatabase& database) {
  const std::string made = path + ".part";
  std::error_code error;
  try {
    std::filesystem::remove(made, error);  // of a program that was killed
    qvsql::Database file;
    if (!file.Create(made)) {
      throw Failure(path, "cannot be written", "make room, or choose another place");
    }
    WriteTables(file, path, database);
  } catch (...) {
    std::filesystem::remove(made, error);
    throw;
  }
  // What stands beside a database that was there would be taken for the new one's.
  for (const char* const side : qvsql::kSideFileEnds) {
    std::filesystem::remove(path + side, error);
  }
  std::filesystem::rename(made, path, error);
  if (error) {
    const std::string reason = error.message();
    std::filesystem::remove(made, error);
    throw Failure(path, "cannot be written: " + reason, "choose another place");
  }
}

}  // namespace interchange
