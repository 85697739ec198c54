// Projects in databases that are valid, or nearly, and odd: built from the input through the engine itself. The
// first byte of an input says whether what was opened is saved, which takes longer than all the rest.

#include <array>
#include <limits>
#include <optional>
#include <variant>

#include "Target.h"
#include "qvprj/project/QvProject.h"
#include "support/Folder.h"
#include "support/Memory.h"
#include "support/OddTables.h"
#include "support/ProjectChecks.h"
#include "support/Sql.h"

namespace {

using fuzz::Bytes;
using fuzz::Require;

const std::array<fuzz::TableForm, 7> kTables = {{
    {"data_project",
     {"id", "project_name", "operator", "date", "coordinate_id", "coordinate_type", "coordinate_name",
      "coordinate_description", "description", "height", "thumbnail", "created_at", "updated_at", "version",
      "uavtype", "nadir"}},
    {"data_image",
     {"id", "project_id", "name", "path", "x", "y", "z", "omega", "phi", "kappa", "new_x", "new_y", "new_z",
      "new_omega", "new_phi", "new_kappa", "strip_id", "camera_id", "enabled"}},
    {"data_camera",
     {"id",
      "project_id",
      "name",
      "width",
      "height",
      "ccdwidth",
      "ccdheight",
      "focallength",
      "x0",
      "y0",
      "distortion_type",
      "k1",
      "k2",
      "k3",
      "p1",
      "p2",
      "alpha",
      "beta",
      "n1",
      "n2",
      "n3",
      "n4",
      "n5",
      "delay_time"}},
    {"data_feature", {"image_id", "feature_count", "feature_data"}},
    {"data_match", {"left_image_id", "right_image_id", "match_count", "match_data"}},
    {"data_gcp", {"gcp_id", "name", "x", "y", "z", "type", "enable"}},
    {"data_cp", {"gcp_id", "image_id", "x", "y"}},
}};

constexpr std::array<const char*, 6> kIds = {"1", "2", "3", "'2'", "1.0", "0"};

/// Without a row in the first table and the two next ones nothing opens, so some inputs get them.
void AddWhatIsNeeded(std::vector<std::string>& statements) {
  for (std::size_t i = 0; i < 3; ++i) {
    std::string columns;
    for (const char* const column : kTables[i].columns) {
      columns += (columns.empty() ? "" : ", ") + fuzz::Quoted(column);
    }
    const std::string name = kTables[i].name;
    statements.push_back("CREATE TABLE IF NOT EXISTS " + name + "(" + columns + ")");
    statements.push_back("INSERT INTO " + name + "(id) VALUES(1), (2)");
  }
}

/// A number and a text as a cell gives them; none where the rules of atof and atoi have a say.
std::optional<double> NumberIn(const fuzz::RawCell& cell) {
  if (const auto* const real = std::get_if<double>(&cell)) {
    return *real;
  }
  const auto* const integer = std::get_if<std::int64_t>(&cell);
  return integer != nullptr ? std::optional(static_cast<double>(*integer)) : std::nullopt;
}

/// The first image against the first row of its table, cell by cell.
void RequireFirstImage(const Bytes& database, const qvfd::ImageInfoSet& images) {
  const std::vector<fuzz::RawCell> row = fuzz::FirstRowOf(database, "data_image");
  if (row.empty()) {
    return;
  }
  Require(images.Size() > 0, "a row is an image");
  const qvfd::ImageInfo& image = *images.GetImage(0);
  const auto* const id = std::get_if<std::int64_t>(row.data());
  if (id != nullptr) {
    const auto limited =
        std::clamp<std::int64_t>(*id, std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
    Require(image.Id() == limited, "an image has the id of its row");
  }
  if (row.size() > 3 && std::holds_alternative<std::string>(row[2])) {
    Require(image.Name() == std::get<std::string>(row[2]), "an image has the name of its row");
  }
  const qvfd::EOP& initial = image.GetEOP();
  const qvfd::EOP& updated = image.GetUpdatedEOP();
  const std::array numbers = {initial.x, initial.y, initial.z, initial.omega, initial.phi, initial.kappa,
                              updated.x, updated.y, updated.z, updated.omega, updated.phi, updated.kappa};
  for (std::size_t i = 0; i < numbers.size() && i + 4 < row.size(); ++i) {
    const auto expected = NumberIn(row[i + 4]);
    Require(!expected || numbers[i] == *expected, "an orientation has the numbers of its row");
  }
}

/// Features come from blobs of their table alone, since there is no track file: none has more points than its
/// blob. Texts may become longer in UTF-8.
void RequireBlobsHoldFeatures(const Bytes& database, const qvprj::QvProject::Features& features) {
  const auto longest = fuzz::IntegerOf(
      database,
      "SELECT max(length(CAST(d AS BLOB))) FROM (SELECT 1 AS i, 2 AS n, 3 AS d WHERE 0 UNION ALL "
      "SELECT * FROM data_feature)");
  for (const auto& [image, points] : features) {
    Require(!longest || points.size() <= static_cast<std::size_t>(*longest) * 2 / 8,
            "features have no more points than their blob");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  fuzz::Input input(data, size);
  const bool saves = input.Below(4) == 0;
  std::vector<std::string> statements = fuzz::OddBeginning(input);
  const auto append = [&statements](std::vector<std::string> more) {
    statements.insert(statements.end(), more.begin(), more.end());
  };
  const std::uint8_t tables = input.Byte();  // a bit a table: those that are not chosen are missing
  for (std::size_t i = 0; i < kTables.size(); ++i) {
    if ((tables & (1U << i)) != 0) {
      append(fuzz::OddTable(input, kTables[i], kIds));
    }
  }
  if ((tables & 0x80U) != 0) {
    AddWhatIsNeeded(statements);
  }
  append(fuzz::OddEnd(input, kTables[input.Below(kTables.size())]));
  Bytes database = fuzz::DatabaseOf(statements);
  fuzz::ChangeHeader(input, database);

  const fuzz::Folder& folder = fuzz::EmptyFolder();
  fuzz::WriteFile(folder.File("p.db"), database);
  const std::vector<std::string> before = folder.Contents();
  qvprj::QvProject project;
  bool opened = false;
  {
    const fuzz::MemoryWatch memory(database.size());
    opened = project.OpenPrj(folder.File("p.db"));
  }
  Require(folder.Contents() == before, "opening changes no file and makes none");
  if (!opened) {
    return 0;
  }
  // By the tables alone: in a damaged database their indexes may have other rows.
  const auto images = fuzz::IntegerOf(database, "SELECT count(*) FROM data_image NOT INDEXED");
  Require(!images || *images == project.GetImageInfoSet().Size(), "every image is read");
  RequireFirstImage(database, project.GetImageInfoSet());
  RequireBlobsHoldFeatures(database, project.GetFeatures());
  const auto cameras = fuzz::IntegerOf(database, "SELECT count(*) FROM data_camera NOT INDEXED");
  Require(!cameras || *cameras == project.GetCameraInfoSet().Size(), "every camera is read");
  if (saves) {
    fuzz::RequireSavesAndOpensTheSame(project, folder.Path(), "saved");
  }
  return 0;
}
