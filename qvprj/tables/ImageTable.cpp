// The table "data_image": one row an image, with its initial and its updated orientation.

#include <array>
#include <string>
#include <utility>

#include "detail/NoThrow.h"
#include "qvprj/project/QvProject.h"
#include "qvprj/tables/TableSchema.h"

namespace qvprj {
namespace {

using qvfd::EOP;
using qvfd::ImageInfoExt;

constexpr char kTable[] = "data_image";

struct ImageRow {
  int id = 0;
  std::string projectId;  // written and not read
  std::string name;
  std::string path;
  EOP initial;
  EOP updated;
  ImageInfoExt ext;
};

using Col = Columns<ImageRow>;

constexpr std::array kColumns = {
    Col::Integer<&ImageRow::id>("id"),
    Col::WrittenText<&ImageRow::projectId>("project_id"),
    Col::Text<&ImageRow::name>("name"),
    Col::Text<&ImageRow::path>("path"),
    Col::Real<&ImageRow::initial, &EOP::x>("x"),
    Col::Real<&ImageRow::initial, &EOP::y>("y"),
    Col::Real<&ImageRow::initial, &EOP::z>("z"),
    Col::Real<&ImageRow::initial, &EOP::omega>("omega"),
    Col::Real<&ImageRow::initial, &EOP::phi>("phi"),
    Col::Real<&ImageRow::initial, &EOP::kappa>("kappa"),
    Col::Real<&ImageRow::updated, &EOP::x>("new_x"),
    Col::Real<&ImageRow::updated, &EOP::y>("new_y"),
    Col::Real<&ImageRow::updated, &EOP::z>("new_z"),
    Col::Real<&ImageRow::updated, &EOP::omega>("new_omega"),
    Col::Real<&ImageRow::updated, &EOP::phi>("new_phi"),
    Col::Real<&ImageRow::updated, &EOP::kappa>("new_kappa"),
    Col::Integer<&ImageRow::ext, &ImageInfoExt::strip_id>("strip_id"),
    Col::Integer<&ImageRow::ext, &ImageInfoExt::camera_id>("camera_id"),
    Col::Flag<&ImageRow::ext, &ImageInfoExt::enabled>(
        "enabled",
        [](ImageRow& row, const std::string& cell) { row.ext.enabled = qvdetail::ParseInteger(cell) == 1; }),
};

}  // namespace

StoredTable StoredImageTable() {
  return Stored<ImageRow>(kTable, kColumns);
}

bool QvProject::CreateImageTable(qvsql::Database& database) {
  return qvdetail::NoThrow([&] { return CreateTable<ImageRow>(database, kTable, kColumns); });
}

bool QvProject::WriteImageRecords(qvsql::Database& database) {
  return qvdetail::NoThrow([&] {
    const std::string projectId = qvdetail::TextOf(prjInfo_.id);
    std::vector<std::string> cells;
    cells.reserve(static_cast<std::size_t>(images_.Size()) * kColumns.size());
    for (int i = 0; i < images_.Size(); ++i) {
      if (const qvfd::ImageInfo* image = images_.GetImage(i)) {
        AppendRow<ImageRow>(kColumns,
                            {image->Id(), projectId, image->Name(), image->Path(), image->GetEOP(),
                             image->GetUpdatedEOP(), *images_.GetImageExt(i)},
                            cells);
      }
    }
    return database.AddRecords(kTable, cells, static_cast<int>(kColumns.size()));
  });
}

bool QvProject::ReadImageRecords(qvsql::Database& database) {
  return qvdetail::NoThrow([&] {
    TableCells cells;
    if (!database.IsOpen() || !database.GetRecords(kTable, &cells.rows, &cells.columns, cells.cells)) {
      return false;
    }
    qvfd::ImageInfoSet images;
    images.Reserve(cells.rows);
    for (int i = 0; i < cells.rows; ++i) {
      ImageRow row;
      ReadRow<ImageRow>(kColumns, cells, i, row);
      images.AddImage(row.id, std::move(row.name), std::move(row.path), row.initial, row.ext.camera_id,
                      row.ext.strip_id, row.ext.enabled);
      images.FindImage(row.id)->Update(row.updated);  // the one just added, also where ids repeat
    }
    images_ = std::move(images);
    return true;
  });
}

}  // namespace qvprj
