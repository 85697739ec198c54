// The tables of a project database as statements, to make database files past the code under test.
#pragma once

#include <string>

namespace support {

inline const std::string kProjectTable =
    "CREATE TABLE data_project(id TEXT, project_name TEXT, operator TEXT, date TEXT, coordinate_id INTEGER,"
    " coordinate_type INTEGER, coordinate_name TEXT, coordinate_description TEXT, description TEXT,"
    " height REAL, thumbnail TEXT, created_at TEXT, updated_at TEXT, version INTEGER, uavtype INTEGER,"
    " nadir INTEGER);";

inline const std::string kCameraTable =
    "CREATE TABLE data_camera(id INTEGER, project_id TEXT, name TEXT, width INTEGER, height INTEGER,"
    " ccdwidth REAL, ccdheight REAL, focallength REAL, x0 REAL, y0 REAL, distortion_type INTEGER, k1 REAL,"
    " k2 REAL, k3 REAL, p1 REAL, p2 REAL, alpha REAL, beta REAL, n1 REAL, n2 REAL, n3 REAL, n4 REAL,"
    " n5 REAL, delay_time REAL);";

inline const std::string kImageTable =
    "CREATE TABLE data_image(id INTEGER, project_id TEXT, name TEXT, path TEXT, x REAL, y REAL, z REAL,"
    " omega REAL, phi REAL, kappa REAL, new_x REAL, new_y REAL, new_z REAL, new_omega REAL, new_phi REAL,"
    " new_kappa REAL, strip_id INTEGER, camera_id INTEGER, enabled INTEGER);";

inline const std::string kGcpTable =
    "CREATE TABLE data_gcp(gcp_id INTEGER, name TEXT, x REAL, y REAL, z REAL, type INTEGER,"
    " enable INTEGER);";

inline const std::string kCpTable = "CREATE TABLE data_cp(gcp_id INTEGER, image_id INTEGER, x REAL, y REAL);";

inline const std::string kFeatureTable =
    "CREATE TABLE data_feature(image_id INTEGER, feature_count INTEGER, feature_data BLOB);";

inline const std::string kMatchTable =
    "CREATE TABLE data_match(left_image_id INTEGER, right_image_id INTEGER, match_count INTEGER,"
    " match_data BLOB);";

/// Rows that set what a test looks at and leave NULL in every other column.
inline std::string ProjectRow(const std::string& name) {
  return "INSERT INTO data_project(project_name) VALUES('" + name + "');";
}

inline std::string CameraRow(int id) {
  return "INSERT INTO data_camera(id) VALUES(" + std::to_string(id) + ");";
}

inline std::string ImageRow(int id) {
  return "INSERT INTO data_image(id) VALUES(" + std::to_string(id) + ");";
}

}  // namespace support
