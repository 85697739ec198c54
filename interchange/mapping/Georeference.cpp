// The file that goes beside what was exported and says how to get back.
#include "interchange/mapping/Georeference.h"

#include <nlohmann/json.hpp>

#include "interchange/Failure.h"
#include "interchange/text/TextFile.h"

namespace interchange {
namespace {

using Json = nlohmann::ordered_json;

Json JsonOf(const std::vector<RenumberedId>& ids) {
  Json list = Json::array();
  for (const RenumberedId& id : ids) {
    list.push_back({{"here", id.to}, {"project", id.from}});
  }
  return list;
}

std::vector<RenumberedId> IdsOf(const Json& document, const char* key) {
  std::vector<RenumberedId> ids;
  if (document.contains(key)) {
    for (const Json& entry : document.at(key)) {
      ids.push_back({entry.at("project").get<std::uint64_t>(), entry.at("here").get<std::uint64_t>()});
    }
  }
  return ids;
}

Vector3 OffsetOf(const Json& document) {
  if (!document.contains("offset")) {
    return {};
  }
  const Json& list = document.at("offset");
  return {list.at(0).get<double>(), list.at(1).get<double>(), list.at(2).get<double>()};
}

WorldFrame FrameOf(const Json& document) {
  const auto kind = document.at("frame").get<std::string>();
  if (kind == "grid") {
    return WorldFrame::Grid(SystemOfCode(document.at("crs").get<std::string>()), OffsetOf(document));
  }
  if (kind == "topocentric") {
    const Json& reference = document.at("reference");
    return WorldFrame::Topocentric({reference.at("longitude").get<double>(),
                                    reference.at("latitude").get<double>(),
                                    reference.at("height").get<double>()});
  }
  return WorldFrame::Cartesian(OffsetOf(document));
}

}  // namespace

void WriteGeoreference(const std::string& path, const Georeference& georeference) {
  const WorldFrame& frame = georeference.frame;
  const Vector3& offset = frame.Offset();
  Json document;
  switch (frame.GetKind()) {
    case WorldFrame::Kind::kGrid:
      document["frame"] = "grid";
      document["crs"] = NameOfSystem(frame.System());
      document["offset"] = {offset.x, offset.y, offset.z};
      break;
    case WorldFrame::Kind::kTopocentric:
      document["frame"] = "topocentric";
      document["reference"] = {{"longitude", frame.Reference().longitude},
                               {"latitude", frame.Reference().latitude},
                               {"height", frame.Reference().height}};
      break;
    case WorldFrame::Kind::kCartesian:
      document["frame"] = "cartesian";
      document["offset"] = {offset.x, offset.y, offset.z};
      break;
  }
  if (georeference.geoid_height) {
    document["geoid_height"] = *georeference.geoid_height;
  }
  document["images"] = JsonOf(georeference.images);
  document["cameras"] = JsonOf(georeference.cameras);
  WriteWholeFile(path, document.dump(1) + "\n");
}

std::optional<Georeference> ReadGeoreference(const std::string& path) {
  if (!IsFile(path)) {
    return std::nullopt;
  }
  try {
    const Json document = Json::parse(ReadWholeFile(path));
    Georeference georeference;
    georeference.frame = FrameOf(document);
    if (document.contains("geoid_height")) {
      georeference.geoid_height = document.at("geoid_height").get<double>();
    }
    georeference.images = IdsOf(document, "images");
    georeference.cameras = IdsOf(document, "cameras");
    return georeference;
  } catch (const Json::exception&) {
    throw Failure(path, "is damaged: it does not say how the export lies in the world",
                  "remove it, and say --crs and --offset");
  }
}

ImportFrame ImportFrameOf(const ImportFrameOptions& options, const std::optional<Georeference>& georeference,
                          qvprj::QvProject& project, Report& report) {
  using Kind = WorldFrame::Kind;
  ProjectOptions made;
  made.geoid_height = options.geoid_height;
  // The file beside the import knows its frame; a system that the user names is then that of the project
  // alone. A frame that nothing relates to the globe is one only the user can relate.
  const bool noted =
      georeference && !options.offset && !(options.crs && georeference->frame.GetKind() == Kind::kCartesian);
  const Vector3 offset = options.offset ? *options.offset
                         : georeference ? georeference->frame.Offset()
                                        : Vector3();
  WorldFrame world = WorldFrame::Cartesian(offset);
  if (noted) {
    world = georeference->frame;
    made.geoid_height = options.geoid_height ? options.geoid_height : georeference->geoid_height;
  } else if (options.crs) {
    world = WorldFrame::Grid(SystemOfCode(*options.crs), offset);
  }
  made.positions = world.GetKind() == Kind::kCartesian ? Positions::kCartesian : Positions::kDegrees;
  project.GetPrjInfo().coordinate_id = options.crs                      ? SystemOfCode(*options.crs).id
                                       : world.GetKind() == Kind::kGrid ? world.System().id
                                                                        : -1;
  ImportFrame frame{world, ProjectFrame(project, made)};
  report.Use("positions",
             frame.project.System() ? "WGS 84 degrees; tie points in " + NameOfSystem(frame.project.System())
             : made.positions == Positions::kDegrees
                 ? "WGS 84 degrees"
                 : "as they are, in a project without a coordinate system: --crs relates it to the globe");
  report.Use("heights", world.GetKind() == WorldFrame::Kind::kTopocentric
                            ? made.geoid_height ? "stored heights are " + TextOf(*made.geoid_height) +
                                                      " m below those above the ellipsoid"
                                                : "stored as they are, above the ellipsoid"
                            : "stored as they are");
  return frame;
}

}  // namespace interchange
