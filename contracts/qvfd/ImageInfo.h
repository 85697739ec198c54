// The images of a project and their exterior orientations.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "qvfd/Export.h"
#include "qvfd/IdIndex.h"

namespace qvfd {

/// Exterior orientation: where the camera was and how it was turned. A project stores WGS 84 degrees
/// (longitude in `x`, latitude in `y`) and radians; the record itself carries any frame and unit.
struct EOP {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
  double omega = 0.0;
  double phi = 0.0;
  double kappa = 0.0;

  friend bool operator==(const EOP&, const EOP&) = default;
};

/// One image: its id, name and path, and two exterior orientations, the initial one (as flown) and the
/// updated one (as adjusted).
class QVFD_API ImageInfo {
 public:
  ImageInfo() = default;

  /// An image that was never updated: both orientations are `eop`.
  ImageInfo(int id, std::string name, std::string path, const EOP& eop);

  [[nodiscard]] int Id() const { return id_; }
  [[nodiscard]] std::string Name() const { return name_; }
  [[nodiscard]] std::string Path() const { return path_; }

  /// The initial orientation: the one the image was added with, or the last one given to `SetEOP`.
  [[nodiscard]] const EOP& GetEOP() const { return eop_; }

  /// The updated orientation: the last one given to `Update`; before any, the one the image was added with.
  [[nodiscard]] const EOP& GetUpdatedEOP() const { return updated_eop_; }

  void SetName(std::string name) { name_ = std::move(name); }
  void SetPath(std::string path) { path_ = std::move(path); }

  /// Replaces the initial orientation and leaves the updated one alone.
  void SetEOP(EOP eop) { eop_ = eop; }

  /// Replaces the updated orientation and leaves the initial one alone.
  void Update(EOP eop) { updated_eop_ = eop; }

  friend bool operator==(const ImageInfo&, const ImageInfo&) = default;

 private:
  int id_ = -1;
  std::string name_;
  std::string path_;
  EOP eop_;
  EOP updated_eop_;
};

/// What a project notes of an image beside its orientation.
struct ImageInfoExt {
  int strip_id = 0;     ///< the flight strip that the image belongs to
  int camera_id = 0;    ///< the `CameraInfo::id` of its camera
  bool enabled = true;  ///< whether the image takes part in processing

  friend bool operator==(const ImageInfoExt&, const ImageInfoExt&) = default;
};

/// The images, each with its extension, in the order in which they were added. Ids may be sparse, in any
/// order and repeated. A copy is independent of its source.
///
/// Pointers and iterators that it hands out are valid until the set is changed or destroyed. Through them an
/// image may be changed, but not replaced by one with another id: `FindImage` would miss it.
class QVFD_API ImageInfoSet {
 public:
  /// Removes all images.
  void Clear();

  [[nodiscard]] int Size() const;

  /// Makes room for `count` images, so that adding them moves none.
  void Reserve(int count);

  /// The image at position `positionOrId`. Where no image has that position the argument is taken as an id,
  /// and null is returned when no image has that id either. Code that has an id calls `FindImage`: with ids
  /// 1, 2, 3 a position hides the id of the same value.
  [[nodiscard]] ImageInfo* GetImage(int positionOrId);
  [[nodiscard]] const ImageInfo* GetImage(int positionOrId) const;

  /// The extension of the image that `GetImage` gives for the same argument; null where that is null.
  [[nodiscard]] ImageInfoExt* GetImageExt(int positionOrId);
  [[nodiscard]] const ImageInfoExt* GetImageExt(int positionOrId) const;

  /// The image with the id `id`, the one added last where several have it; null when none has. Constant time.
  [[nodiscard]] ImageInfo* FindImage(int id);
  [[nodiscard]] const ImageInfo* FindImage(int id) const;

  /// The extension of the image that `FindImage` gives for the same id; null where that is null.
  [[nodiscard]] ImageInfoExt* FindImageExt(int id);
  [[nodiscard]] const ImageInfoExt* FindImageExt(int id) const;

  /// Appends one image with its extension, also when another image has that id already. Both its orientations
  /// are `eop`. May throw std::bad_alloc; the set is then as it was.
  void AddImage(int id, std::string name, std::string path, EOP eop, int camera_id, int strip_id,
                bool enabled);

  [[nodiscard]] std::vector<ImageInfo>::iterator begin() { return images_.begin(); }
  [[nodiscard]] std::vector<ImageInfo>::iterator end() { return images_.end(); }
  [[nodiscard]] std::vector<ImageInfo>::const_iterator begin() const { return images_.begin(); }
  [[nodiscard]] std::vector<ImageInfo>::const_iterator end() const { return images_.end(); }

 private:
  static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);
  [[nodiscard]] std::size_t PositionOf(int positionOrId) const;
  [[nodiscard]] std::size_t PositionOfId(int id) const;

  std::vector<ImageInfo> images_;
  std::vector<ImageInfoExt> extensions_;  // one an image, at the same position
  IdIndex positions_;                     // image id to the position of the image added last with it
};

}  // namespace qvfd
