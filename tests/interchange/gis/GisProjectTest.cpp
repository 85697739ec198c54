// A project as layers: where things come to lie, which layers they are in, what is known of them.
#include "interchange/mapping/GisProject.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <GeographicLib/TransverseMercatorExact.hpp>
#include <algorithm>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>

#include "Surveys.h"
#include "interchange/Failure.h"

using namespace interchange;
using namespace gis_test;
using nlohmann::json;
using support::TempFolder;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const GisLayer& LayerOf(const GisData& data, const std::string& name) {
  const auto found = std::find_if(data.layers.begin(), data.layers.end(),
                                  [&](const GisLayer& layer) { return layer.name == name; });
  if (found == data.layers.end()) {
    ADD_FAILURE() << "no layer " << name;
    return data.layers.front();
  }
  return *found;
}

GisValue ValueOf(const GisLayer& layer, std::size_t feature, const std::string& field) {
  for (std::size_t i = 0; i < layer.fields.size(); ++i) {
    if (layer.fields[i].name == field && feature < layer.features.size()) {
      return layer.features[feature].values.at(i);
    }
  }
  ADD_FAILURE() << "no " << field << " of feature " << feature << " of " << layer.name;
  return {};
}

double RealOf(const GisLayer& layer, std::size_t feature, const std::string& field) {
  return std::get<double>(ValueOf(layer, feature, field));
}

std::string ConventionOf(const Report& report, const std::string& what) {
  for (const auto& [name, convention] : report.conventions) {
    if (name == what) {
      return convention;
    }
  }
  return "";
}

GisData LayersOf(qvprj::QvProject& project, const GisOptions& options = {},
                 GisFormat format = GisFormat::kGeoPackage) {
  Report report;
  return GisLayersOf(project, format, options, report);
}

Report ReportOf(qvprj::QvProject& project, const GisOptions& options = {},
                GisFormat format = GisFormat::kGeoPackage) {
  Report report;
  static_cast<void>(GisLayersOf(project, format, options, report));
  return report;
}

struct Plane {
  double x = 0.0;
  double y = 0.0;
};

/// Transverse Mercator by another implementation, with a false easting of 500 km.
Plane Mercator(double inverseFlattening, double scale, double meridian, double longitude, double latitude) {
  const GeographicLib::TransverseMercatorExact projection(6378137.0, 1 / inverseFlattening, scale);
  Plane plane;
  projection.Forward(meridian, latitude, longitude, plane.x, plane.y);
  plane.x += 500000.0;
  return plane;
}

/// One image as adjusted, 100 m above (428750, 3485000, 50) in UTM zone 50, looking straight down at the
/// grid.
qvprj::QvProject Adjusted() {
  qvprj::QvProject project = Survey(32650);
  const qvfd::Point2_T<double> degrees = project.FromLocal({428750.0, 3485000.0});
  AddImage(project, 1, degrees.x, degrees.y, 149.0);
  project.GetImageInfoSet().GetImage(0)->Update({degrees.x, degrees.y, 150.0, 0.0, 0.0, 0.0});
  return project;
}

}  // namespace

TEST(GisProject, LiesInUtmWithTheEastingFirst) {
  const TempFolder folder;
  qvprj::QvProject project = SmallSurvey(32650);
  ExportGis(project, GisFormat::kGeoPackage, folder.File("out.gpkg"), false, {});
  const Blob point = GeometryIn(folder.File("out.gpkg"), "cameras", "image_id = 101");
  const Plane wanted = Mercator(298.257223563, 0.9996, 117.0, 118.251, 31.5);
  EXPECT_EQ(point.srs, 32650);
  EXPECT_NEAR(point.points[0][0], wanted.x, 1e-6);
  EXPECT_NEAR(point.points[0][1], wanted.y, 1e-6);
  EXPECT_EQ(point.points[0][2], 151.0);
}

TEST(GisProject, LiesInGaussKrugerWithTheEastingFirstThoughTheAuthorityHasTheNorthing) {
  const TempFolder folder;
  qvprj::QvProject project = SmallSurvey(4548);  // CGCS2000, 3 degrees, central meridian 117 E
  ExportGis(project, GisFormat::kGeoPackage, folder.File("out.gpkg"), false, {});
  const Blob point = GeometryIn(folder.File("out.gpkg"), "cameras", "image_id = 100");
  const Plane wanted = Mercator(298.257222101, 1.0, 117.0, 118.25, 31.5);
  EXPECT_EQ(point.srs, 4548);
  EXPECT_NEAR(point.points[0][0], wanted.x, 1e-4);
  EXPECT_NEAR(point.points[0][1], wanted.y, 1e-4);
  EXPECT_LT(point.points[0][0], point.points[0][1]);
}

TEST(GisProject, LiesInDegreesWhereItHasNoCoordinateSystem) {
  qvprj::QvProject project = SmallSurvey(-1);
  const GisData data = LayersOf(project);
  EXPECT_EQ(data.definition, "EPSG:4326");
  EXPECT_EQ(LayerOf(data, "cameras").features[1].points[0], (Vector3{118.251, 31.5, 151.0}));
}

TEST(GisProject, LiesInDegreesOfAGeographicSystem) {
  qvprj::QvProject project = SmallSurvey(4490);
  const GisData data = LayersOf(project);
  EXPECT_EQ(data.definition, "EPSG:4490");
  const Vector3 point = LayerOf(data, "cameras").features[1].points[0];
  EXPECT_NEAR(point.x, 118.251, 1e-9);
  EXPECT_NEAR(point.y, 31.5, 1e-9);
}

TEST(GisProject, LiesInGradsWhereTheSystemCountsInGrads) {
  qvprj::QvProject project = Survey(32631);
  AddImage(project, 1, 2.5, 48.5, 150.0);
  GisOptions options;
  options.crs = "EPSG:4807";  // from Paris, in grads
  const GisData data = LayersOf(project, options);
  const Vector3 point = LayerOf(data, "cameras").features[0].points[0];
  EXPECT_NEAR(point.x, (2.5 - 2.33722917) / 0.9, 2e-3);
  EXPECT_NEAR(point.y, 48.5 / 0.9, 2e-3);
}

TEST(GisProject, LiesWhereItIsAskedTo) {
  qvprj::QvProject project = SmallSurvey(32650);
  GisOptions options;
  options.crs = "32651";
  const GisData data = LayersOf(project, options);
  EXPECT_EQ(data.definition, "EPSG:32651");
  const Plane wanted = Mercator(298.257223563, 0.9996, 123.0, 118.25, 31.5);
  EXPECT_NEAR(LayerOf(data, "cameras").features[0].points[0].x, wanted.x, 1e-6);
  options.crs = "no such";
  EXPECT_THROW(LayersOf(project, options), Failure);
  options.crs = "EPSG:32651";
  EXPECT_THROW(LayersOf(project, options, GisFormat::kKml), Failure);
  options.crs = "EPSG:4326";
  EXPECT_EQ(LayersOf(project, options, GisFormat::kKml).definition, "EPSG:4326");
}

TEST(GisProject, KeepsGroundPointsAsTheyAreInTheProjectsOwnSystem) {
  qvprj::QvProject project = SmallSurvey(32650);
  project.GetGroundControl().ground_points.AddPoint(1, {"P", 428000.1, 3485000.3, 50.7, 0, true, {}});
  project.GetTracks().push_back({428001.1, 3485001.3, 51.7, {{100, 1.0F, 2.0F}}});
  GisOptions options;
  options.tie_points = true;
  GisData data = LayersOf(project, options);
  EXPECT_EQ(LayerOf(data, "control_points").features[0].points[0], (Vector3{428000.1, 3485000.3, 50.7}));
  EXPECT_EQ(LayerOf(data, "tie_points").features[0].points[0], (Vector3{428001.1, 3485001.3, 51.7}));
  data = LayersOf(project, options, GisFormat::kGeoJson);
  const Vector3 point = LayerOf(data, "control_points").features[0].points[0];
  const Plane back = Mercator(298.257223563, 0.9996, 117.0, point.x, point.y);
  EXPECT_NEAR(back.x, 428000.1, 1e-6);
  EXPECT_NEAR(back.y, 3485000.3, 1e-6);
}

TEST(GisProject, OfAFrameOfItsOwnIsRefusedWhereTheGlobeIsNeeded) {
  qvprj::QvProject project = Survey(-1);
  AddImage(project, 1, 1000.0, 2000.0, 150.0);
  GisOptions options;
  options.ground = 50.0;
  const GisData data = LayersOf(project, options);
  EXPECT_EQ(data.definition, "");
  EXPECT_EQ(LayerOf(data, "cameras").features[0].points[0], (Vector3{1000.0, 2000.0, 150.0}));
  EXPECT_TRUE(std::isnan(RealOf(LayerOf(data, "cameras"), 0, "longitude")));
  const auto& ring = LayerOf(data, "footprints").features[0].points;
  EXPECT_NEAR(ring[0].x, 925.0, 1e-9);
  EXPECT_NEAR(ring[0].y, 2050.0, 1e-9);
  EXPECT_EQ(ring[0].z, 50.0);
  EXPECT_THROW(LayersOf(project, options, GisFormat::kGeoJson), Failure);
  EXPECT_THROW(LayersOf(project, options, GisFormat::kKml), Failure);
  options.crs = "EPSG:32650";
  EXPECT_THROW(LayersOf(project, options), Failure);
}

TEST(GisProject, ShowsWhatIsKnownOfAnImage) {
  qvprj::QvProject project = Survey(32650);
  const double degree = 0.0174533;
  project.GetImageInfoSet().AddImage(7, "A", "/p/A",
                                     {117.0, 31.5, 150.0, 2 * degree, -3 * degree, 45 * degree}, 0, 4, false);
  const GisData data = LayersOf(project);
  const GisLayer& layer = LayerOf(data, "cameras");
  EXPECT_EQ(ValueOf(layer, 0, "image_id"), GisValue(std::int64_t{7}));
  EXPECT_EQ(ValueOf(layer, 0, "name"), GisValue("A"));
  EXPECT_EQ(ValueOf(layer, 0, "path"), GisValue("/p/A"));
  EXPECT_EQ(ValueOf(layer, 0, "strip"), GisValue(std::int64_t{4}));
  EXPECT_EQ(ValueOf(layer, 0, "camera"), GisValue("Plain"));
  EXPECT_EQ(ValueOf(layer, 0, "enabled"), GisValue(std::int64_t{0}));
  EXPECT_EQ(ValueOf(layer, 0, "adjusted"), GisValue(std::int64_t{0}));
  EXPECT_NEAR(RealOf(layer, 0, "yaw"), 45.0, 1e-9);
  EXPECT_NEAR(RealOf(layer, 0, "pitch"), 3.0, 1e-9);
  EXPECT_NEAR(RealOf(layer, 0, "roll"), 2.0, 1e-9);
  // On the central meridian north of the grid is north: kappa turns the other way round than yaw.
  EXPECT_NEAR(RealOf(layer, 0, "kappa"), -45.0, 0.2);
}

TEST(GisProject, FootprintIsAsLargeAsTheHeightMakesIt) {
  qvprj::QvProject project = Survey(32650);
  AddImage(project, 1, 117.0, 31.5, 150.0);  // on the central meridian: the grid is 0.9996 of the ground
  GisOptions options;
  options.ground = 50.0;
  const GisData data = LayersOf(project, options);
  const GisLayer& layer = LayerOf(data, "footprints");
  ASSERT_EQ(layer.features.size(), 1U);
  const Vector3 camera = LayerOf(data, "cameras").features[0].points[0];
  const double east[] = {-75.0, 75.0, 75.0, -75.0};
  const double north[] = {50.0, 50.0, -50.0, -50.0};
  ASSERT_EQ(layer.features[0].points.size(), 4U);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_NEAR(layer.features[0].points[i].x - camera.x, east[i] * 0.9996, 0.003) << i;
    EXPECT_NEAR(layer.features[0].points[i].y - camera.y, north[i] * 0.9996, 0.003) << i;
    EXPECT_EQ(layer.features[0].points[i].z, 50.0);
  }
  EXPECT_NEAR(RealOf(layer, 0, "area"), 15000.0, 1e-6);
  EXPECT_NEAR(RealOf(layer, 0, "gsd"), 150.0 / 5472, 1e-12);
  EXPECT_EQ(RealOf(layer, 0, "above"), 100.0);
  EXPECT_EQ(RealOf(layer, 0, "ground"), 50.0);
}

TEST(GisProject, TakesTheGroundFromTheBestThatItKnows) {
  qvprj::QvProject project = Survey(32650);
  AddImage(project, 1, 117.0, 31.5, 150.0);
  Report report = ReportOf(project);
  EXPECT_THAT(LayerOf(LayersOf(project), "footprints").features, IsEmpty());
  EXPECT_THAT(report.notes, Contains(HasSubstr("give --ground")));
  EXPECT_THAT(ConventionOf(report, "footprints"), HasSubstr("none"));
  const auto ground = [&](const GisOptions& options = {}) {
    return RealOf(LayerOf(LayersOf(project, options), "footprints"), 0, "ground");
  };

  project.GetPrjInfo().height = 90.0;
  EXPECT_EQ(ground(), 60.0);
  for (const double z : {10.0, 40.0, 90.0}) {
    project.GetGroundControl().ground_points.AddPoint(static_cast<int>(z), {"", 1.0, 2.0, z, 0, true, {}});
  }
  EXPECT_EQ(ground(), 40.0);
  for (const double z : {30.0, 31.0, 77.0}) {
    project.GetTracks().push_back({5e5, 3.4e6, z, {}});
  }
  for (int i = 0; i < 9; ++i) {
    project.GetTracks().push_back({});  // without a position
  }
  EXPECT_EQ(ground(), 31.0);
  EXPECT_THAT(ConventionOf(ReportOf(project), "footprints"), HasSubstr("median height of the tie points"));
  GisOptions options;
  options.ground = 12.5;
  EXPECT_EQ(ground(options), 12.5);
}

TEST(GisProject, CountsTheImagesWithoutAFootprint) {
  qvprj::QvProject project = Survey(32650);
  AddImage(project, 1, 117.0, 31.5, 150.0);
  AddImage(project, 2, 117.0, 31.5, 40.0);                                                          // too low
  project.GetImageInfoSet().AddImage(3, "", "", {117.0, 31.5, 150.0, 0.0, -1.3, 0.0}, 0, 1, true);  // the sky
  project.GetImageInfoSet().AddImage(4, "", "", {117.0, 31.5, 150.0, 0.0, 0.0, 0.0}, 9, 1,
                                     true);  // no camera
  GisOptions options;
  options.ground = 50.0;
  const Report report = ReportOf(project, options);
  EXPECT_EQ(LayerOf(LayersOf(project, options), "footprints").features.size(), 1U);
  EXPECT_THAT(report.notes, Contains(HasSubstr("1 image has no footprint: not above")));
  EXPECT_THAT(report.notes, Contains(HasSubstr("1 image has no footprint: a corner shows the horizon")));
  EXPECT_THAT(report.notes, Contains(HasSubstr("1 image has no footprint: the camera")));
}

TEST(GisProject, TellsCheckPointsByTheirType) {
  qvprj::QvProject project = SmallSurvey();
  qvgcp::GroundPoints& points = project.GetGroundControl().ground_points;
  points.AddPoint(1, {"control", 4e5, 3e6, 1.0, 0, true, {}});
  points.AddPoint(2, {"check", 4e5, 3e6, 1.0, 1, true, {}});
  points.AddPoint(3, {"off", 4e5, 3e6, 1.0, 5, false, {}});
  GisData data = LayersOf(project);
  EXPECT_EQ(LayerOf(data, "control_points").features.size(), 2U);
  ASSERT_EQ(LayerOf(data, "check_points").features.size(), 1U);
  EXPECT_EQ(ValueOf(LayerOf(data, "check_points"), 0, "name"), GisValue("check"));
  EXPECT_EQ(ValueOf(LayerOf(data, "control_points"), 1, "enabled"), GisValue(std::int64_t{0}));
  GisOptions options;
  options.check_type = 5;
  data = LayersOf(project, options);
  EXPECT_EQ(ValueOf(LayerOf(data, "check_points"), 0, "name"), GisValue("off"));
}

TEST(GisProject, ResidualsAreDistancesFromThePixelsThatWereMeasured) {
  qvprj::QvProject project = Adjusted();
  // 10 m east and 20 m north of the camera, 100 m below it: 364.8 pixels right of the middle and 729.6 above.
  qvgcp::GCPPrj& control = project.GetGroundControl();
  control.ground_points.AddPoint(1, {"P", 428760.0, 3485020.0, 50.0, 0, true, {}});
  control.common_points.AddImagePoint(1, 1, {2736 + 364.8 + 3, 1824 - 729.6 + 4});
  control.common_points.AddImagePoint(1, 99, {0.0, 0.0});  // an image that is not there
  control.ground_points.AddPoint(2, {"Unmeasured", 428760.0, 3485020.0, 50.0, 0, true, {}});
  project.GetTracks().push_back(
      {428740.0, 3485000.0, 50.0, {{1, static_cast<float>(2736 - 364.8), 1824.0F}, {99, 0.0F, 0.0F}}});
  GisOptions options;
  options.tie_points = true;
  GisData data = LayersOf(project, options);
  EXPECT_NEAR(RealOf(LayerOf(data, "control_points"), 0, "residual_px"), 5.0, 2e-3);
  EXPECT_TRUE(std::isnan(RealOf(LayerOf(data, "control_points"), 1, "residual_px")));
  EXPECT_EQ(ValueOf(LayerOf(data, "control_points"), 0, "images"), GisValue(std::int64_t{2}));
  EXPECT_NEAR(RealOf(LayerOf(data, "tie_points"), 0, "residual_px"), 0.0, 2e-3);

  // Pixels that count from the middle of the first one are half a pixel less.
  options.scene.pixel_origin = PixelOrigin::kCentre;
  data = LayersOf(project, options);
  EXPECT_NEAR(RealOf(LayerOf(data, "control_points"), 0, "residual_px"), std::hypot(3.5, 4.5), 2e-3);

  // As flown they say nothing of an adjustment.
  options.scene.project.orientation = Orientation::kAsFlown;
  data = LayersOf(project, options);
  EXPECT_TRUE(std::isnan(RealOf(LayerOf(data, "control_points"), 0, "residual_px")));
}

TEST(GisProject, FlightLinesGoThroughTheImagesOfAStripInTheirOrder) {
  qvprj::QvProject project = SmallSurvey();
  AddImage(project, 300, 118.3, 31.5, 150.0, 9);
  const GisData data = LayersOf(project);
  const GisLayer& layer = LayerOf(data, "flight_lines");
  ASSERT_EQ(layer.features.size(), 2U) << "one image is no line";
  EXPECT_EQ(layer.features[0].points.size(), 3U);
  EXPECT_EQ(layer.features[0].points[2], LayerOf(data, "cameras").features[2].points[0]);
  EXPECT_EQ(ValueOf(layer, 1, "first_id"), GisValue(std::int64_t{103}));
  EXPECT_EQ(ValueOf(layer, 1, "last_id"), GisValue(std::int64_t{105}));
  // 0.002 degrees of longitude at 31.5 degrees north are 190 m.
  EXPECT_NEAR(RealOf(layer, 0, "length"), 190.0, 0.2);
}

TEST(GisProject, GeoJsonHeightsCountFromTheEllipsoidWhereItsHeightIsKnown) {
  const TempFolder folder;
  qvprj::QvProject project = SmallSurvey();
  GisOptions options;
  options.ground = 50.0;
  EXPECT_THAT(ReportOf(project, options, GisFormat::kGeoJson).notes, Contains(HasSubstr("--geoid-height")));
  options.scene.project.geoid_height = 7.5;
  const Report report = ExportGis(project, GisFormat::kGeoJson, folder.File("out"), false, options);
  EXPECT_THAT(ConventionOf(report, "heights"), HasSubstr("7.5 m were added"));
  json document = json::parse(TextOfFile(folder.File("out/cameras.geojson")));
  EXPECT_THAT(document["description"].get<std::string>(), HasSubstr("7.5 m were added"));
  EXPECT_EQ(document["features"][0]["geometry"]["coordinates"][2], 157.5);
  EXPECT_EQ(document["features"][0]["properties"]["height"], 150.0);
  // Rings go counter-clockwise.
  document = json::parse(TextOfFile(folder.File("out/footprints.geojson")));
  const json& ring = document["features"][0]["geometry"]["coordinates"][0];
  double area = 0.0;
  for (std::size_t i = 0; i + 1 < ring.size(); ++i) {
    area += ring[i][0].get<double>() * ring[i + 1][1].get<double>() -
            ring[i + 1][0].get<double>() * ring[i][1].get<double>();
  }
  EXPECT_GT(area, 0.0);
  EXPECT_EQ(ring[0][2], 57.5);
}

TEST(GisProject, KmlHeightsStayThoseAboveMeanSeaLevel) {
  const TempFolder folder;
  qvprj::QvProject project = SmallSurvey();
  GisOptions options;
  options.scene.project.geoid_height = 7.5;
  const Report report = ExportGis(project, GisFormat::kKml, folder.File("out.kml"), false, options);
  const std::string text = TextOfFile(folder.File("out.kml"));
  EXPECT_THAT(text, HasSubstr("118.25,31.5,150\n"));
  EXPECT_THAT(text, HasSubstr("<altitudeMode>clampToGround</altitudeMode>"));
  EXPECT_THAT(text, HasSubstr("<Data name=\"roll\">"));
  EXPECT_THAT(ConventionOf(report, "heights"), HasSubstr("as the format's are"));
}

TEST(GisProject, WithoutAnythingIsLayersWithoutFeatures) {
  qvprj::QvProject empty;
  for (const GisFormat format : {GisFormat::kGeoPackage, GisFormat::kGeoJson, GisFormat::kKml,
                                 GisFormat::kFlatGeobuf, GisFormat::kShapefile}) {
    const TempFolder folder;
    GisOptions options;
    options.tie_points = true;
    const Report report = ExportGis(empty, format,
                                    folder.File(format == GisFormat::kGeoPackage ? "a.gpkg"
                                                : format == GisFormat::kKml      ? "a.kml"
                                                                                 : "a"),
                                    false, options);
    EXPECT_EQ(report.written.size(), 6U);
  }
}

TEST(GisProject, KeepsImagesThatLieNowhereInTheirTable) {
  qvprj::QvProject project = SmallSurvey(32650);
  AddImage(project, 900, std::nan(""), 31.5, 150.0);
  const GisData data = LayersOf(project);
  EXPECT_EQ(LayerOf(data, "cameras").features.size(), 7U);
  EXPECT_THAT(LayerOf(data, "cameras").features[6].points, IsEmpty());
  EXPECT_THAT(ReportOf(project).notes, Contains(HasSubstr("1 image is there without a point")));
}

TEST(GisProject, TellsWhatTheLayersDoNotHold) {
  qvprj::QvProject project = Adjusted();
  project.GetTracks().push_back({1.0, 2.0, 3.0, {}});
  project.GetFeatures()[1] = {{1.0F, 2.0F}};
  project.GetMatches()[{1, 2}] = {{0, 0}};
  EXPECT_THAT(ReportOf(project).not_carried,
              ElementsAre(HasSubstr("orientations as flown"), HasSubstr("tie points"), HasSubstr("interior"),
                          "features (1)", "matches (1)"));
}
