// What a project says of itself, as commands take it and tell it.
#include "common/ProjectRecord.h"

#include "common/CoordinateSystem.h"
#include "common/Failure.h"

namespace qvapp {

void RequireKept(const std::string& option, const std::string& what, const std::string& text,
                 std::size_t capacity) {
  if (text.size() > capacity) {
    throw Failure(option,
                  "the " + what + " has " + Counted(text.size(), "byte", "bytes") + ", a project keeps " +
                      std::to_string(capacity),
                  "shorten it", kWrongUsage);
  }
}

Json RecordJson(const qvprj::PrjInfo& record) {
  const auto system = FindCoordinate(record.coordinate_id);
  const bool hasSystem = record.coordinate_id != kNoCoordinateSystem;
  return {{"id", JsonText(FixedText(record.id))},
          {"name", JsonText(FixedText(record.project_name))},
          {"operator", JsonText(FixedText(record.operator_name))},
          {"date", JsonText(FixedText(record.date))},
          {"description", JsonText(FixedText(record.description))},
          {"height", record.height},
          {"coordinate_id", hasSystem ? Json(record.coordinate_id) : Json(nullptr)},
          {"coordinate_name", system ? JsonText(qvfd::DisplayName(*system)) : Json(nullptr)},
          {"uavtype", record.uavtype},
          {"nadir", record.nadir}};
}

void AddRecordRows(const qvprj::PrjInfo& record, Table& table) {
  table.Add({"project", FixedText(record.project_name)});
  table.Add({"id", FixedText(record.id)});
  table.Add({"operator", FixedText(record.operator_name)});
  table.Add({"date", FixedText(record.date)});
  table.Add({"description", FixedText(record.description)});
  table.Add({"flying height", Metres(record.height) + " m"});
  table.Add({"coordinate system", CoordinateText(record.coordinate_id)});
  table.Add({"aircraft type", std::to_string(record.uavtype)});
  table.Add({"nadir", std::to_string(record.nadir)});
}

}  // namespace qvapp
