// The table "data_project": what the project says of itself, one row.

#include <array>
#include <string>
#include <utility>

#include "detail/NoThrow.h"
#include "qvprj/project/QvProject.h"
#include "qvprj/tables/TableSchema.h"

namespace qvprj {
namespace {

constexpr char kTable[] = "data_project";

struct ProjectRow {
  PrjInfo info;
  qvfd::CoordinateInfo coordinate;  // written for those who look at the table; a reader goes by the id
};

using Col = Columns<ProjectRow>;

// A saved project keeps one character less of some texts than their arrays hold.
constexpr std::array kColumns = {
    Col::FixedText<33, &ProjectRow::info, &PrjInfo::id>("id"),
    Col::FixedText<64, &ProjectRow::info, &PrjInfo::project_name>("project_name"),
    Col::FixedText<64, &ProjectRow::info, &PrjInfo::operator_name>("operator"),
    Col::FixedText<32, &ProjectRow::info, &PrjInfo::date>("date"),
    Col::Integer<&ProjectRow::info, &PrjInfo::coordinate_id>("coordinate_id"),
    Col::Integer<&ProjectRow::coordinate, &qvfd::CoordinateInfo::type>("coordinate_type"),
    Col::Text<&ProjectRow::coordinate, &qvfd::CoordinateInfo::name>("coordinate_name"),
    Col::Text<&ProjectRow::coordinate, &qvfd::CoordinateInfo::description>("coordinate_description"),
    Col::FixedText<256, &ProjectRow::info, &PrjInfo::description>("description"),
    Col::Real<&ProjectRow::info, &PrjInfo::height>("height"),
    Col::Empty("thumbnail", qvsql::kTextColumn),
    Col::Empty("created_at", qvsql::kTextColumn),
    Col::Empty("updated_at", qvsql::kTextColumn),
    Col::Empty("version", qvsql::kIntegerColumn),
    Col::Integer<&ProjectRow::info, &PrjInfo::uavtype>("uavtype"),
    Col::Integer<&ProjectRow::info, &PrjInfo::nadir>("nadir"),
};

/// Older files end before "uavtype".
constexpr std::size_t kOldColumnCount = 14;

}  // namespace

StoredTable StoredProjectTable() {
  StoredTable table = Stored<ProjectRow>(kTable, kColumns);
  table.older_columns = kOldColumnCount;
  return table;
}

bool QvProject::CreatePrjTable(qvsql::Database& database) {
  return qvdetail::NoThrow([&] { return CreateTable<ProjectRow>(database, kTable, kColumns); });
}

bool QvProject::WritePrjRecords(qvsql::Database& database) {
  return qvdetail::NoThrow([&] {
    ProjectRow row{prjInfo_, GetCoordinate()};
    row.coordinate.name = qvfd::DisplayName(row.coordinate);
    std::vector<std::string> cells;
    AppendRow<ProjectRow>(kColumns, row, cells);
    return database.AddRecords(kTable, cells, static_cast<int>(kColumns.size()));
  });
}

bool QvProject::ReadPrjRecords(qvsql::Database& database, std::string projectPath) {
  return qvdetail::NoThrow([&] {
    TableCells cells;
    if (!database.IsOpen() || !database.GetRecords(kTable, &cells.rows, &cells.columns, cells.cells) ||
        cells.rows < 1) {
      return false;
    }
    const bool isOld = static_cast<std::size_t>(cells.columns) < kColumns.size();
    const std::span schema(kColumns);
    ProjectRow row;
    ReadRow<ProjectRow>(isOld ? schema.first(kOldColumnCount) : schema, cells, 0, row);
    row.info.file_path = std::move(projectPath);
    prjInfo_ = std::move(row.info);
    return true;
  });
}

}  // namespace qvprj
