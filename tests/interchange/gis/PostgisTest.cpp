// Layers and the catalogue in PostGIS, looked at with psql.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <iostream>
#include <sstream>

#include "PostgresServer.h"
#include "Surveys.h"
#include "commands/Catalog.h"
#include "commands/Export.h"
#include "common/Failure.h"
#include "interchange/Failure.h"
#include "interchange/mapping/Catalog.h"
#include "interchange/mapping/GisProject.h"

namespace fs = std::filesystem;
using namespace interchange;
using namespace gis_test;
using support::TempFolder;
using testing::HasSubstr;
using testing::Not;

namespace {

std::size_t WrittenOf(const Report& report, const std::string& what) {
  for (const auto& [name, count] : report.written) {
    if (name == what) {
      return count;
    }
  }
  ADD_FAILURE() << "no count of " << what;
  return 0;
}

}  // namespace

TEST(Postgis, HoldsTheLayersOfAProject) {
  NEEDS_POSTGIS();
  const PostgresServer server;
  ASSERT_TRUE(server.Runs());
  qvprj::QvProject project = SmallSurvey();
  project.GetGroundControl().ground_points.AddPoint(7, {"S\xC3\xBC"
                                                        "d",
                                                        428000.25,
                                                        3485000.5,
                                                        50.0,
                                                        0,
                                                        true,
                                                        {}});
  const Report report = ExportGis(project, GisFormat::kPostgis, server.Connection(), false, {});
  EXPECT_THAT(report.files, testing::Contains("table cameras"));
  EXPECT_EQ(server.Sql("SELECT count(*), min(st_srid(geom)), min(st_ndims(geom)) FROM cameras"),
            "6|32650|3\n");
  EXPECT_EQ(server.Sql("SELECT name, st_x(geom), st_y(geom), st_z(geom), enabled FROM control_points"),
            "S\xC3\xBC"
            "d|428000.25|3485000.5|50|t\n");
  EXPECT_EQ(server.Sql("SELECT count(*) FROM cameras c JOIN footprints f USING (image_id)"
                       " WHERE st_contains(f.geom, c.geom)"),
            "6\n");
  // The grid is 0.99966 of the ground there.
  EXPECT_EQ(
      server.Sql("SELECT DISTINCT round(st_area(geom)::numeric, -1) FROM footprints WHERE image_id = 100"),
      "14990\n");
  EXPECT_EQ(
      server.Sql("SELECT round(st_x(st_transform(geom, 4326))::numeric, 9),"
                 " round(st_y(st_transform(geom, 4326))::numeric, 9) FROM cameras WHERE image_id = 101"),
      "118.251000000|31.500000000\n");
  EXPECT_THAT(server.Sql("SELECT obj_description('cameras'::regclass)"), HasSubstr("heights: as stored"));
  EXPECT_EQ(server.Sql("SELECT residual_px IS NULL FROM control_points"), "t\n");

  // What is there stays, unless it is to be replaced.
  EXPECT_THROW(ExportGis(project, GisFormat::kPostgis, server.Connection(), false, {}), Failure);
  EXPECT_EQ(server.Sql("SELECT count(*) FROM cameras"), "6\n");
  qvprj::QvProject other = Survey(32650);
  ExportGis(other, GisFormat::kPostgis, server.Connection(), true, {});
  EXPECT_EQ(server.Sql("SELECT count(*) FROM cameras"), "0\n");

  // Another schema is another place.
  EXPECT_EQ(server.Sql("CREATE SCHEMA north"), "CREATE SCHEMA\n");
  ExportGis(project, GisFormat::kPostgis, server.Connection() + " active_schema=north", false, {});
  EXPECT_EQ(server.Sql("SELECT count(*) FROM north.cameras"), "6\n");
  EXPECT_EQ(server.Sql("SELECT count(*) FROM public.cameras"), "0\n");
}

TEST(Postgis, IsLeftAsItWasByWhatFails) {
  NEEDS_POSTGIS();
  const PostgresServer server;
  ASSERT_TRUE(server.Runs());
  qvprj::QvProject project = SmallSurvey();
  ExportGis(project, GisFormat::kPostgis, server.Connection(), false, {});
  // The last layer cannot be replaced: somebody's view stands on it.
  EXPECT_EQ(server.Sql("DROP TABLE check_points; CREATE VIEW check_points AS SELECT 1 AS geom"),
            "DROP TABLE\nCREATE VIEW\n");
  AddImage(project, 200, 118.25, 31.5, 160.0);
  testing::internal::CaptureStderr();
  EXPECT_THROW(ExportGis(project, GisFormat::kPostgis, server.Connection(), true, {}), Failure);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(server.Sql("SELECT count(*) FROM cameras"), "6\n");

  // A database without PostGIS, and one that is not there.
  static_cast<void>(server.Sql("CREATE DATABASE plain"));
  std::string plain = server.Connection();
  plain.replace(plain.find("dbname=surveys"), 14, "dbname=plain");
  try {
    ExportGis(project, GisFormat::kPostgis, plain + " password=SesameOpen", false, {});
    ADD_FAILURE() << "it was written";
  } catch (const Failure& failure) {
    EXPECT_THAT(failure.what(), HasSubstr("has no PostGIS"));
    EXPECT_THAT(failure.what(), Not(HasSubstr("SesameOpen")));
  }
  plain.replace(plain.find("dbname=plain"), 12, "dbname=SesameOpen");
  try {
    ExportGis(project, GisFormat::kPostgis, plain + " password=SesameOpen", false, {});
    ADD_FAILURE() << "it was written";
  } catch (const Failure& failure) {
    EXPECT_THAT(failure.Problem(), HasSubstr("cannot be opened"));
    EXPECT_THAT(failure.Problem(), Not(HasSubstr("SesameOpen"))) << "the database's own message names it";
  }

  // Only one run at a time keeps a catalogue.
  const GisLayer layout{
      "held", "Held.", GisGeometry::kPolygon, true, false, {{"path", GisFieldType::kText, ""}}, {}};
  const GisTable held(server.Connection(), layout);
  EXPECT_THROW(GisTable(server.Connection(), layout), Failure);
}

TEST(Postgis, HoldsACatalogueOfTwoThousandProjects) {
  NEEDS_POSTGIS();
  constexpr int kProjects = 2000;
  const PostgresServer server;
  ASSERT_TRUE(server.Runs());
  const TempFolder folder;
  std::vector<std::string> paths;
  for (int i = 0; i < kProjects; ++i) {
    qvprj::QvProject project = Survey(32650, "Survey " + std::to_string(i));
    const double longitude = 114.0 + 0.1 * (i % 50);
    const double latitude = 30.0 + 0.1 * (i / 50);
    for (int k = 0; k < 4; ++k) {
      AddImage(project, k + 1, longitude + 0.01 * (k % 2), latitude + 0.01 * (k / 2), 150.0);
    }
    const fs::path place = folder.Path() / ("year" + std::to_string(i % 7)) / ("survey" + std::to_string(i));
    fs::create_directories(place);
    paths.push_back((place / "project.db").string());
    ASSERT_TRUE(project.Save(paths.back()));
  }

  CatalogOptions options;
  options.folders = {folder.Path().string()};
  options.target = server.Connection();
  const auto seconds = [](auto work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  };
  Report report;
  const double first = seconds([&] { report = UpdateCatalog(options); });
  EXPECT_EQ(WrittenOf(report, "new"), 2000U);
  EXPECT_EQ(WrittenOf(report, "unreadable"), 0U);
  EXPECT_EQ(server.Sql("SELECT count(*), count(DISTINCT path), sum(images), sum(errors), sum(warnings),"
                       " count(*) FILTER (WHERE status = 'ok') FROM projects"),
            "2000|2000|8000|0|0|2000\n");
  // The footprints are where the projects are: 0.01 degrees square each, 50 in a row.
  EXPECT_EQ(
      server.Sql("SELECT count(*) FROM projects WHERE st_isvalid(geom) AND abs(st_area(geom) - 1e-4) < 1e-12"
                 " AND st_srid(geom) = 4326"),
      "2000\n");
  EXPECT_EQ(
      server.Sql(
          "SELECT name FROM projects WHERE st_contains(geom, st_setsrid(st_point(114.305, 30.205), 4326))"),
      "Survey 103\n");
  EXPECT_EQ(server.Sql("SELECT count(*) FROM pg_indexes WHERE tablename = 'projects' AND indexdef LIKE "
                       "'CREATE UNIQUE%(path)'"),
            "1\n");

  const double second = seconds([&] { report = UpdateCatalog(options); });
  EXPECT_EQ(WrittenOf(report, "unchanged"), 2000U);
  EXPECT_EQ(WrittenOf(report, "new") + WrittenOf(report, "changed") + WrittenOf(report, "gone"), 0U);

  // Three change: one is another survey, one goes, one breaks.
  qvprj::QvProject changed = SmallSurvey(4547, "Moved");
  ASSERT_TRUE(changed.Save(paths[10]));
  fs::remove(paths[20]);
  support::Bytes bytes = support::ReadBytes(paths[30]);
  bytes.resize(bytes.size() / 2);
  support::WriteBytes(paths[30], bytes);
  report = UpdateCatalog(options);
  EXPECT_EQ(WrittenOf(report, "unchanged"), 1997U);
  EXPECT_EQ(WrittenOf(report, "changed"), 2U);
  EXPECT_EQ(WrittenOf(report, "unreadable"), 1U);
  EXPECT_EQ(WrittenOf(report, "gone"), 1U);
  EXPECT_EQ(server.Sql("SELECT name, crs, images, status FROM projects WHERE path = '" + paths[10] + "'"),
            "Moved|EPSG:4547|6|ok\n");
  EXPECT_EQ(
      server.Sql("SELECT name, status, st_npoints(geom) FROM projects WHERE path = '" + paths[20] + "'"),
      "Survey 20|gone|5\n")
      << "the footprint stays";
  EXPECT_THAT(server.Sql("SELECT status, reason FROM projects WHERE path = '" + paths[30] + "'"),
              HasSubstr("unreadable|the database cannot be opened"));
  EXPECT_EQ(server.Sql("SELECT count(*) FROM projects"), "2000\n");
  std::cout << "2,000 projects: " << first << " s new, " << second << " s unchanged\n";
}
