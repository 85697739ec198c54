// Coordinate systems, and the registry of those that the process knows.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "qvfd/Export.h"

namespace qvfd {

/// One coordinate system. A default-constructed one is the local system that is registered nowhere.
struct CoordinateInfo {
  /// 1 WGS 84 and systems based on it, 2 Xian 1980, 3 CGCS2000, 4 local, 0 any other.
  int type = 4;

  /// The EPSG code, or a host's own number; -1 for a system that is not registered.
  int id = -1;

  /// Narrow text. The default is the GBK text of the words "local coordinate system" on every platform. The
  /// name of a system of type 2 or 3 leaves the datum out.
  std::string name = "\xB1\xBE\xB5\xD8\xD7\xF8\xB1\xEA\xCF\xB5";

  std::string description;

  /// What a transformer builds the system from: "EPSG:32650", a PROJ string, WKT, or a PROJ pipeline from WGS
  /// 84 longitude and latitude (see qvmath/GeoPrj.h).
  std::string definition;

  friend bool operator==(const CoordinateInfo&, const CoordinateInfo&) = default;
};

/// The name under which people know a system: that of type 2 begins with "Xian 1980 ", that of type 3 with
/// "CGCS2000 ", any other is the name alone.
[[nodiscard]] QVFD_API std::string DisplayName(const CoordinateInfo& info);

/// A snapshot of the registry. Copies share their data, which never changes, so they cost next to nothing and
/// may be used from any thread.
///
/// A snapshot lists the built-in systems (WGS 84; its UTM zones; CGCS2000 and Xian 1980, geographic and in
/// all their 3-degree and 6-degree Gauss-Kruger zones) and those that the host has added. It finds many more:
/// every geographic 2D and projected system of the EPSG dataset, in the geodesy database of the machine.
class QVFD_API CoordinateInfoSet {
 public:
  /// An empty set.
  CoordinateInfoSet() = default;

  /// The number of systems listed.
  [[nodiscard]] int Size() const;

  /// Fills `out` with the system of the id `id` and returns true; false when it is not known, `out` is then
  /// as it was. A system that is listed is found in no time; any other is looked for in the geodesy database,
  /// which takes milliseconds. An empty set knows none. Throws nothing.
  bool GetCoordinateByID(int id, CoordinateInfo& out) const noexcept;

  /// The WGS 84 geographic system, EPSG 4326. May throw std::bad_alloc.
  [[nodiscard]] static CoordinateInfo GetWGS84();

  /// The systems in ascending order of their ids.
  [[nodiscard]] const CoordinateInfo* begin() const;
  [[nodiscard]] const CoordinateInfo* end() const;

 private:
  friend class QvConfiguration;
  std::shared_ptr<const std::vector<CoordinateInfo>> systems_;  // ascending by id; null when empty
};

/// The process-wide configuration. All of it may be called from any thread.
class QVFD_API QvConfiguration {
 public:
  /// The one that there is. The first call makes it, and may throw std::bad_alloc.
  [[nodiscard]] static QvConfiguration& Instance();

  /// The coordinate systems that are known now. Systems added later do not appear in it.
  [[nodiscard]] CoordinateInfoSet GetCoordinateInfoSet() const;

  /// Registers a system of the host's own, for example a site calibration. False, and nothing changed, when
  /// its id is negative or taken: by a system that is listed, or by one of the EPSG dataset. The definition
  /// is taken as it stands; whether something can be built from it, the transformer tells.
  bool AddCoordinate(CoordinateInfo info) noexcept;

  ~QvConfiguration() = default;
  QvConfiguration(const QvConfiguration&) = delete;
  QvConfiguration& operator=(const QvConfiguration&) = delete;

 private:
  QvConfiguration();

  mutable std::mutex mutex_;  // guards the pointer inside registry_, not what it points to
  CoordinateInfoSet registry_;
};

}  // namespace qvfd
