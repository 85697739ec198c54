// The tables "data_gcp", one row a ground point, and "data_cp", one row a measurement of such a point in an
// image.

#include <array>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "detail/NoThrow.h"
#include "qvprj/project/QvProject.h"
#include "qvprj/tables/TableSchema.h"

namespace qvprj {
namespace {

using qvfd::Point2_T;
using qvgcp::GroundPoint;

constexpr char kPointTable[] = "data_gcp";
constexpr char kMeasurementTable[] = "data_cp";

struct PointRow {
  int id = 0;
  GroundPoint point;
};

using PointCol = Columns<PointRow>;

constexpr std::array kPointColumns = {
    PointCol::Integer<&PointRow::id>("gcp_id"),
    PointCol::Text<&PointRow::point, &GroundPoint::name>("name"),
    PointCol::Real<&PointRow::point, &GroundPoint::x>("x"),
    PointCol::Real<&PointRow::point, &GroundPoint::y>("y"),
    PointCol::Real<&PointRow::point, &GroundPoint::z>("z"),
    PointCol::Integer<&PointRow::point, &GroundPoint::type>("type"),
    PointCol::Flag<&PointRow::point, &GroundPoint::enable>(
        "enable",
        [](PointRow& row, const std::string& cell) { row.point.enable = qvdetail::ParseInteger(cell) != 0; }),
};

struct MeasurementRow {
  int pointId = 0;
  int imageId = 0;
  Point2_T<double> position;
};

using MeasurementCol = Columns<MeasurementRow>;

constexpr std::array kMeasurementColumns = {
    MeasurementCol::Integer<&MeasurementRow::pointId>("gcp_id"),
    MeasurementCol::Integer<&MeasurementRow::imageId>("image_id"),
    MeasurementCol::Real<&MeasurementRow::position, &Point2_T<double>::x>("x"),
    MeasurementCol::Real<&MeasurementRow::position, &Point2_T<double>::y>("y"),
};

/// Fetches the rows to read. A failed query is passed over unless it reports the expected number of columns:
/// that combination, and no wider one, is what existing hosts know; a failed GetRecords reports no rows
/// anyway.
TableCells RowsOf(qvsql::Database& database, const char* table, std::size_t expectedColumns) {
  TableCells cells;
  const bool read = database.GetRecords(table, &cells.rows, &cells.columns, cells.cells);
  if (!read && static_cast<std::size_t>(cells.columns) == expectedColumns) {
    cells.rows = 0;
  }
  return cells;
}

}  // namespace

StoredTable StoredGCPTable() {
  return Stored<PointRow>(kPointTable, kPointColumns);
}

StoredTable StoredCPTable() {
  return Stored<MeasurementRow>(kMeasurementTable, kMeasurementColumns);
}

bool QvProject::CreateGCPTable(qvsql::Database& database) {
  return qvdetail::NoThrow([&] { return CreateTable<PointRow>(database, kPointTable, kPointColumns); });
}

bool QvProject::CreateCPTable(qvsql::Database& database) {
  return qvdetail::NoThrow(
      [&] { return CreateTable<MeasurementRow>(database, kMeasurementTable, kMeasurementColumns); });
}

bool QvProject::WriteGCPRecords(qvsql::Database& database) {
  return qvdetail::NoThrow([&] {
    std::vector<int> ids;
    groundControl_.ground_points.GetPointIndex(ids);
    std::vector<std::string> cells;
    cells.reserve(ids.size() * kPointColumns.size());
    for (const int id : ids) {
      PointRow row{id, {}};
      groundControl_.ground_points.GetPoint(id, row.point);
      AppendRow<PointRow>(kPointColumns, row, cells);
    }
    return database.AddRecords(kPointTable, cells, static_cast<int>(kPointColumns.size()));
  });
}

bool QvProject::WriteCPRecords(qvsql::Database& database) {
  return qvdetail::NoThrow([&] {
    std::vector<int> ids;
    groundControl_.ground_points.GetPointIndex(ids);
    std::vector<std::string> cells;
    for (const int id : ids) {
      std::map<int, Point2_T<double>> measurements;
      if (!groundControl_.common_points.GetGroundPoint(id, measurements)) {
        continue;
      }
      for (const auto& [imageId, position] : measurements) {
        AppendRow<MeasurementRow>(kMeasurementColumns, {id, imageId, position}, cells);
      }
    }
    return database.AddRecords(kMeasurementTable, cells, static_cast<int>(kMeasurementColumns.size()));
  });
}

bool QvProject::ReadGCPRecords(qvsql::Database& database) {
  return qvdetail::NoThrow([&] {
    if (!database.IsOpen()) {
      return false;
    }
    const TableCells cells = RowsOf(database, kPointTable, kPointColumns.size());
    for (int i = 0; i < cells.rows; ++i) {
      PointRow row;
      ReadRow<PointRow>(kPointColumns, cells, i, row);
      groundControl_.ground_points.AddPoint(row.id, std::move(row.point));
    }
    return true;
  });
}

bool QvProject::ReadCPRecords(qvsql::Database& database) {
  return qvdetail::NoThrow([&] {
    if (!database.IsOpen()) {
      return false;
    }
    const TableCells cells = RowsOf(database, kMeasurementTable, kMeasurementColumns.size());
    for (int i = 0; i < cells.rows; ++i) {
      MeasurementRow row;
      ReadRow<MeasurementRow>(kMeasurementColumns, cells, i, row);
      if (images_.FindImage(row.imageId) == nullptr) {
        continue;
      }
      groundControl_.common_points.AddGroundPoint(row.pointId);
      groundControl_.common_points.AddImagePoint(row.pointId, row.imageId, row.position);
    }
    return true;
  });
}

}  // namespace qvprj
