#include "SyntheticProject.h"

#include <cmath>
#include <numbers>

namespace interchange_test {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
constexpr double kFlyingHeight = 120.0;

double Ground(double east, double north) {
  return 35.0 + 8.0 * std::sin(east / 60.0) * std::cos(north / 45.0);
}

/// Numbers from -1 to 1 that look random and are the same everywhere.
double Wobble(int seed) {
  return std::sin(seed * 12.9898 + 4.1414) * std::cos(seed * 78.233);
}

qvfd::CameraInfo Camera(bool distortion) {
  qvfd::CameraInfo camera;
  camera.id = 4;
  camera.name = "synthetic";
  camera.width = 4000;
  camera.height = 3000;
  camera.ccdwidth = 6.4;
  camera.ccdheight = 4.8;
  camera.focallength = 5.5;
  camera.x0 = 0.0125;
  camera.y0 = -0.0075;
  if (distortion) {
    camera.distortion = {-0.03, 0.008, -0.0015, 0.0004, -0.0003};
  }
  return camera;
}

}  // namespace

Rows OpkRows(double omega, double phi, double kappa) {
  const double so = std::sin(omega);
  const double co = std::cos(omega);
  const double sp = std::sin(phi);
  const double cp = std::cos(phi);
  const double sk = std::sin(kappa);
  const double ck = std::cos(kappa);
  return {{{cp * ck, -cp * sk, sp},
           {co * sk + so * sp * ck, co * ck - so * sp * sk, -so * cp},
           {so * sk - co * sp * ck, so * ck + co * sp * sk, co * cp}}};
}

std::array<double, 2> Collinear(const qvfd::CameraInfo& camera, const Rows& rows,
                                const std::array<double, 3>& centre, const std::array<double, 3>& point) {
  std::array<double, 3> turned{};
  for (std::size_t column = 0; column < 3; ++column) {
    for (std::size_t row = 0; row < 3; ++row) {
      turned[column] += rows[row][column] * (point[row] - centre[row]);
    }
  }
  const double pixel_x = camera.ccdwidth / camera.width;
  const double pixel_y = camera.ccdheight / camera.height;
  const double x = -turned[0] / turned[2];
  const double y = turned[1] / turned[2];  // down
  const double r2 = x * x + y * y;
  const auto& d = camera.distortion;
  const double radial = 1 + d[0] * r2 + d[1] * r2 * r2 + d[2] * r2 * r2 * r2;
  const double xd = x * radial + 2 * d[3] * x * y + d[4] * (r2 + 2 * x * x);
  const double yd = y * radial + d[3] * (r2 + 2 * y * y) + 2 * d[4] * x * y;
  return {(camera.focallength * xd + camera.x0) / pixel_x + camera.width / 2.0,
          (camera.focallength * yd - camera.y0) / pixel_y + camera.height / 2.0};
}

qvprj::QvProject SyntheticProject(const SyntheticOptions& options) {
  qvprj::QvProject project;
  project.GetPrjInfo().coordinate_id = options.coordinate_id;
  project.string2char(project.GetPrjInfo().project_name, 64, "synthetic");
  const qvfd::CameraInfo camera = Camera(options.distortion);
  project.GetCameraInfoSet().AddCamera(camera);
  const qvfd::Point2_T<double> middle = project.ToLocal({options.longitude, options.latitude});

  struct Station {
    int id;
    std::array<double, 3> centre;
    Rows rows;
  };
  std::vector<Station> stations;
  int seed = 0;
  for (int strip = 0; strip < options.strips; ++strip) {
    for (int i = 0; i < options.images_per_strip; ++i) {
      const int along = strip % 2 == 0 ? i : options.images_per_strip - 1 - i;
      const double east =
          middle.x + 28.0 * (along - (options.images_per_strip - 1) / 2.0) + 2.0 * Wobble(++seed);
      const double north = middle.y + 40.0 * (strip - (options.strips - 1) / 2.0) + 2.0 * Wobble(++seed);
      const double height = 35.0 + kFlyingHeight + 3.0 * Wobble(++seed);
      const double omega = 4.0 * kDegree * Wobble(++seed);
      const double phi = 5.0 * kDegree * Wobble(++seed);
      const double kappa = (strip % 2 == 0 ? -90.0 : 90.0) * kDegree + 6.0 * kDegree * Wobble(++seed);
      const qvfd::Point2_T<double> degrees = project.FromLocal({east, north});
      const int id = options.first_image_id + 3 * static_cast<int>(stations.size());
      qvfd::EOP flown{degrees.x + 1e-5,           degrees.y - 2e-5, height + 1.5, 0.01, -0.02,
                      strip % 2 == 0 ? 1.5 : -1.6};
      project.GetImageInfoSet().AddImage(id, "IMG_" + std::to_string(1000 + id) + ".jpg",
                                         "photos/IMG_" + std::to_string(1000 + id) + ".jpg", flown, camera.id,
                                         strip + 1, true);
      project.GetImageInfoSet().FindImage(id)->Update({degrees.x, degrees.y, height, omega, phi, kappa});
      // What the project gives back of the position is what the images are computed from.
      const qvfd::Point2_T<double> back = project.ToLocal(degrees);
      stations.push_back({id, {back.x, back.y, height}, OpkRows(omega, phi, kappa)});
    }
  }

  for (int i = 0; i < options.points_per_side; ++i) {
    for (int j = 0; j < options.points_per_side; ++j) {
      const double east = middle.x + 16.0 * (i - options.points_per_side / 2.0) + 3.0 * Wobble(++seed);
      const double north = middle.y + 13.0 * (j - options.points_per_side / 2.0) + 3.0 * Wobble(++seed);
      const std::array<double, 3> point = {east, north, Ground(east - middle.x, north - middle.y)};
      qvfd::Track track{point[0], point[1], point[2], {}};
      for (const Station& station : stations) {
        const auto pixel = Collinear(camera, station.rows, station.centre, point);
        if (pixel[0] > 1 && pixel[1] > 1 && pixel[0] < camera.width - 1 && pixel[1] < camera.height - 1) {
          track.observations.push_back(
              {station.id, static_cast<float>(pixel[0]), static_cast<float>(pixel[1])});
        }
      }
      if (track.observations.size() >= 2) {
        project.GetTracks().push_back(track);
      }
    }
  }
  std::map<int, std::vector<int>> features;  // of a track, its feature in each image
  for (const qvfd::Track& track : project.GetTracks()) {
    std::vector<std::pair<int, int>> places;
    for (const qvfd::TrackObservation& observation : track.observations) {
      auto& list = project.GetFeatures()[observation.image_id];
      places.emplace_back(observation.image_id, static_cast<int>(list.size()));
      list.push_back({observation.x, observation.y});
    }
    for (std::size_t a = 0; a < places.size(); ++a) {
      for (std::size_t b = a + 1; b < places.size(); ++b) {
        project.GetMatches()[{places[a].first, places[b].first}].push_back(
            {places[a].second, places[b].second});
      }
    }
  }
  // A feature that no track has, behind the others.
  for (auto& entry : project.GetFeatures()) {
    entry.second.push_back({12.5F, 17.25F});
  }
  return project;
}

}  // namespace interchange_test
