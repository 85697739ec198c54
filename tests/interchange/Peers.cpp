#include "Peers.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>

namespace interchange_test {
namespace {

using interchange::Matrix3;
using interchange::Vector3;
using Matrix4 = std::array<std::array<double, 4>, 4>;

/// The eigenvector of the largest eigenvalue of a symmetric matrix, by Jacobi's rotations.
std::array<double, 4> LargestEigenvector(Matrix4 a) {
  Matrix4 v{};
  for (std::size_t i = 0; i < 4; ++i) {
    v[i][i] = 1.0;
  }
  for (int sweep = 0; sweep < 60; ++sweep) {
    for (std::size_t p = 0; p < 4; ++p) {
      for (std::size_t q = p + 1; q < 4; ++q) {
        if (a[p][q] == 0.0) {
          continue;
        }
        const double theta = 0.5 * std::atan2(2 * a[p][q], a[q][q] - a[p][p]);
        const double c = std::cos(theta);
        const double s = std::sin(theta);
        for (std::size_t k = 0; k < 4; ++k) {
          const double x = a[k][p];
          const double y = a[k][q];
          a[k][p] = c * x - s * y;
          a[k][q] = s * x + c * y;
        }
        for (std::size_t k = 0; k < 4; ++k) {
          const double x = a[p][k];
          const double y = a[q][k];
          a[p][k] = c * x - s * y;
          a[q][k] = s * x + c * y;
        }
        for (std::size_t k = 0; k < 4; ++k) {
          const double x = v[k][p];
          const double y = v[k][q];
          v[k][p] = c * x - s * y;
          v[k][q] = s * x + c * y;
        }
      }
    }
  }
  std::size_t best = 0;
  for (std::size_t i = 1; i < 4; ++i) {
    best = a[i][i] > a[best][best] ? i : best;
  }
  return {v[0][best], v[1][best], v[2][best], v[3][best]};
}

struct PosePair {
  interchange::WorldToCamera found;
  interchange::WorldToCamera truth;
};

Vector3 Scaled(const Vector3& v, double s) {
  return {v.x * s, v.y * s, v.z * s};
}

double Dot(const Vector3& a, const Vector3& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}

}  // namespace

bool IsInstalled(const std::string& program) {
  return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

Output RunPeer(const std::string& commandLine) {
  Output output;
  const std::string command = "QT_QPA_PLATFORM=offscreen " + commandLine + " 2>&1";
  FILE* const pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    return output;
  }
  std::array<char, 4096> buffer{};
  for (std::size_t n = 0; (n = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
    output.text.append(buffer.data(), n);
  }
  output.code = pclose(pipe);
  return output;
}

std::string ReadText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

Aligned Align(const interchange::ColmapModel& found, const interchange::ColmapModel& truth) {
  std::map<std::string, interchange::WorldToCamera> byName;
  for (const interchange::ColmapImage& image : truth.images) {
    byName[image.name] = {MatrixOf(image.rotation), image.translation};
  }
  std::vector<PosePair> pairs;
  for (const interchange::ColmapImage& image : found.images) {
    pairs.push_back({{MatrixOf(image.rotation), image.translation}, byName.at(image.name)});
  }
  Vector3 meanFound;
  Vector3 meanTruth;
  const double share = 1.0 / static_cast<double>(pairs.size());
  for (const PosePair& pair : pairs) {
    meanFound = meanFound + Scaled(CentreOf(pair.found), share);
    meanTruth = meanTruth + Scaled(CentreOf(pair.truth), share);
  }
  double s[3][3] = {};
  double spreadFound = 0.0;
  double spreadTruth = 0.0;
  for (const PosePair& pair : pairs) {
    const Vector3 a = CentreOf(pair.found) - meanFound;
    const Vector3 b = CentreOf(pair.truth) - meanTruth;
    const double from[3] = {a.x, a.y, a.z};
    const double to[3] = {b.x, b.y, b.z};
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j) {
        s[i][j] += from[i] * to[j];
      }
    }
    spreadFound += Dot(a, a);
    spreadTruth += Dot(b, b);
  }
  const auto q = LargestEigenvector(
      {{{s[0][0] + s[1][1] + s[2][2], s[1][2] - s[2][1], s[2][0] - s[0][2], s[0][1] - s[1][0]},
        {s[1][2] - s[2][1], s[0][0] - s[1][1] - s[2][2], s[0][1] + s[1][0], s[2][0] + s[0][2]},
        {s[2][0] - s[0][2], s[0][1] + s[1][0], s[1][1] - s[0][0] - s[2][2], s[1][2] + s[2][1]},
        {s[0][1] - s[1][0], s[2][0] + s[0][2], s[1][2] + s[2][1], s[2][2] - s[0][0] - s[1][1]}}});
  const Matrix3 turn = MatrixOf(interchange::Quaternion{q[0], q[1], q[2], q[3]});
  Aligned aligned;
  aligned.scale = std::sqrt(spreadTruth / spreadFound);
  for (const PosePair& pair : pairs) {
    const Vector3 centre = Scaled(turn * (CentreOf(pair.found) - meanFound), aligned.scale) + meanTruth;
    aligned.worst_distance = std::max(aligned.worst_distance, Norm(centre - CentreOf(pair.truth)));
    aligned.extent = std::max(aligned.extent, Norm(CentreOf(pair.truth) - meanTruth));
    const Matrix3 rotation = pair.found.rotation * Transposed(turn) * Transposed(pair.truth.rotation);
    aligned.worst_angle = std::max(aligned.worst_angle, Norm(AngleAxisOf(rotation)));
  }
  return aligned;
}

}  // namespace interchange_test
