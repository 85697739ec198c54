// The table "data_camera": one row a camera.

#include <array>
#include <string>
#include <utility>

#include "detail/NoThrow.h"
#include "qvprj/project/QvProject.h"
#include "qvprj/tables/TableSchema.h"

namespace qvprj {
namespace {

using qvfd::CameraInfo;

constexpr char kTable[] = "data_camera";

struct CameraRow {
  std::string projectId;  // written and not read: cameras of any project id are loaded
  CameraInfo camera;
};

using Col = Columns<CameraRow>;

template <std::size_t index>
constexpr Column<CameraRow> Coefficient(const char* name) {
  return {name, qvsql::kRealColumn,
          [](const CameraRow& row) { return qvfd::ToString<double>(std::get<index>(row.camera.distortion)); },
          [](CameraRow& row, const std::string& cell) {
            std::get<index>(row.camera.distortion) = qvdetail::ParseReal(cell);
          }};
}

constexpr std::array kColumns = {
    Col::Integer<&CameraRow::camera, &CameraInfo::id>("id"),
    Col::WrittenText<&CameraRow::projectId>("project_id"),
    Col::Text<&CameraRow::camera, &CameraInfo::name>("name"),
    Col::Integer<&CameraRow::camera, &CameraInfo::width>("width"),
    Col::Integer<&CameraRow::camera, &CameraInfo::height>("height"),
    Col::Real<&CameraRow::camera, &CameraInfo::ccdwidth>("ccdwidth"),
    Col::Real<&CameraRow::camera, &CameraInfo::ccdheight>("ccdheight"),
    Col::Real<&CameraRow::camera, &CameraInfo::focallength>("focallength"),
    Col::Real<&CameraRow::camera, &CameraInfo::x0>("x0"),
    Col::Real<&CameraRow::camera, &CameraInfo::y0>("y0"),
    Col::Integer<&CameraRow::camera, &CameraInfo::distortion_type>("distortion_type"),
    Coefficient<0>("k1"),
    Coefficient<1>("k2"),
    Coefficient<2>("k3"),
    Coefficient<3>("p1"),
    Coefficient<4>("p2"),
    Coefficient<5>("alpha"),
    Coefficient<6>("beta"),
    Coefficient<7>("n1"),
    Coefficient<8>("n2"),
    Coefficient<9>("n3"),
    Col::Zero("n4"),
    Col::Zero("n5"),
    Col::Zero("delay_time"),
};

}  // namespace

StoredTable StoredCameraTable() {
  return Stored<CameraRow>(kTable, kColumns);
}

bool QvProject::CreateCameraTable(qvsql::Database& database) {
  return qvdetail::NoThrow([&] { return CreateTable<CameraRow>(database, kTable, kColumns); });
}

bool QvProject::WriteCameraRecords(qvsql::Database& database) {
  return qvdetail::NoThrow([&] {
    std::vector<std::string> cells;
    for (int i = 0; i < cameras_.Size(); ++i) {
      if (const CameraInfo* camera = cameras_.GetCamera(i)) {
        AppendRow<CameraRow>(kColumns, {qvdetail::TextOf(prjInfo_.id), *camera}, cells);
      }
    }
    return database.AddRecords(kTable, cells, static_cast<int>(kColumns.size()));
  });
}

bool QvProject::ReadCameraRecords(qvsql::Database& database) {
  return qvdetail::NoThrow([&] {
    TableCells cells;
    if (!database.IsOpen() || !database.GetRecords(kTable, &cells.rows, &cells.columns, cells.cells)) {
      return false;
    }
    qvfd::CameraInfoSet cameras;
    for (int i = 0; i < cells.rows; ++i) {
      CameraRow row;
      ReadRow<CameraRow>(kColumns, cells, i, row);
      row.camera.pixel_size_x = row.camera.ccdwidth / row.camera.width;
      row.camera.pixel_size_y = row.camera.ccdheight / row.camera.height;
      cameras.AddCamera(std::move(row.camera));
    }
    cameras_ = std::move(cameras);
    return true;
  });
}

}  // namespace qvprj
