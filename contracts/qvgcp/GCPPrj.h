// Ground control: points of known position, and where the images show them.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "qvfd/Track.h"
#include "qvgcp/Export.h"

namespace qvgcp {

/// Where one image shows a ground point, for the host's own use: it is not stored with a project.
struct ImageMeasurement {
  int image_id = 0;
  double x = 0.0;  ///< pixels
  double y = 0.0;  ///< pixels

  friend bool operator==(const ImageMeasurement&, const ImageMeasurement&) = default;
};

/// One ground control point or check point.
struct GroundPoint {
  std::string name;  ///< as shown to the user; narrow text, stored byte for byte
  double x = 0.0;    ///< object space, in the frame the host chose
  double y = 0.0;    ///< object space
  double z = 0.0;    ///< object space
  int type = 0;  ///< the point's kind (control, check, ...): the host's numbers, stored and never interpreted
  bool enable = true;  ///< whether the point takes part in processing

  /// Not stored; empty after a project was opened.
  std::vector<ImageMeasurement> measurements;

  friend bool operator==(const GroundPoint&, const GroundPoint&) = default;
};

/// The ground points by id.
class QVGCP_API GroundPoints {
 public:
  /// Replaces `ids` by the ids of all points, ascending.
  void GetPointIndex(std::vector<int>& ids) const;

  /// Copies the point `id` into `point` and returns true; false when there is none, `point` is then as it
  /// was.
  bool GetPoint(int id, GroundPoint& point) const;

  /// Stores the point under `id`, in place of an earlier one. Returns `id`.
  int AddPoint(int id, GroundPoint point);

  friend bool operator==(const GroundPoints&, const GroundPoints&) = default;

 private:
  std::map<int, GroundPoint> points_;
};

/// The image measurements of ground points, by point id.
class QVGCP_API CommonPoints {
 public:
  /// Makes sure that the point `id` has an entry; measurements that it has already stay.
  void AddGroundPoint(int id);

  /// Records where the image `imageId` shows the point `id`, in place of an earlier measurement of that
  /// image. Makes the point's entry when it has none.
  void AddImagePoint(int id, int imageId, qvfd::Point2_T<double> pt);

  /// Replaces `measurements` by those of the point `id` (image id to pixel position) and returns true; false
  /// when the point has no entry, `measurements` is then as it was.
  bool GetGroundPoint(int id, std::map<int, qvfd::Point2_T<double>>& measurements) const;

  friend bool operator==(const CommonPoints&, const CommonPoints&) = default;

 private:
  std::map<int, std::map<int, qvfd::Point2_T<double>>> measurements_;
};

/// The ground control of one project.
struct GCPPrj {
  GroundPoints ground_points;
  CommonPoints common_points;

  friend bool operator==(const GCPPrj&, const GCPPrj&) = default;
};

}  // namespace qvgcp
