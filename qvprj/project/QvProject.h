// The photogrammetric project: everything a survey holds in memory, and its two files.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "qvfd/BinaryData.h"
#include "qvfd/BlobFile.h"
#include "qvfd/CameraInfo.h"
#include "qvfd/CoordinateInfo.h"
#include "qvfd/ImageInfo.h"
#include "qvfd/Track.h"
#include "qvgcp/GCPPrj.h"
#include "qvprj/Export.h"
#include "qvprj/project/PrjInfo.h"
#include "qvsql/Database.h"

namespace qvprj {

/// A project: cameras, images with two exterior orientations each, project information, ground control, and
/// tie-point data (features, matches, tracks).
///
/// On disk it is two files side by side: the project database at the path that the caller names, and the
/// track file at the same path with ".gb" in place of its extension. docs/formats/ describes both.
///
/// Operations that return bool throw nothing: running out of memory and every error of the system or the
/// database engine end as false. Copying and assigning may throw std::bad_alloc. Nothing is locked: one
/// project is used by one thread at a time. References from the getters live as long as the project. A
/// project that was moved from may be assigned to, cleared or destroyed.
///
/// Paths and texts are narrow strings: the ANSI code page on Windows, bytes as they are elsewhere.
class QVPRJ_API QvProject {
 public:
  /// The feature points of each image: image id to pixel positions, in feature-index order.
  using Features = std::map<int, std::vector<qvfd::Point2_T<float>>>;

  /// The matches of each image pair: two image ids to pairs of indices into the features of the first and the
  /// second image. (2, 5) and (5, 2) are two pairs.
  using Matches = std::map<qvfd::Point2_T<int>, std::vector<qvfd::Point2_T<int>>>;

  /// The tie points.
  using Tracks = std::vector<qvfd::Track>;

  /// An empty project with a new id.
  QvProject();
  QvProject(const QvProject& other);
  QvProject(QvProject&& other) noexcept;

  /// Makes this project a copy of `other`, its id and file path included. Assigning a project to itself
  /// changes nothing.
  QvProject& operator=(const QvProject& other);
  QvProject& operator=(QvProject&& other) noexcept;

  virtual ~QvProject();

  /// Empties cameras and images and gives the project information its defaults: a new id, no file path.
  /// Ground control, features, matches and tracks stay as they are; empty them through their getters.
  virtual void Clear();

  /// Makes `target` a copy of this project, in memory only: the same as `target = *this`.
  void CopyTo(QvProject& target);

  // ---- What the project holds -------------------------------------------------------------------

  [[nodiscard]] qvfd::CameraInfoSet& GetCameraInfoSet() { return cameras_; }
  [[nodiscard]] const qvfd::CameraInfoSet& GetCameraInfoSet() const { return cameras_; }
  [[nodiscard]] qvfd::ImageInfoSet& GetImageInfoSet() { return images_; }
  [[nodiscard]] const qvfd::ImageInfoSet& GetImageInfoSet() const { return images_; }
  [[nodiscard]] PrjInfo& GetPrjInfo() { return prjInfo_; }
  [[nodiscard]] const PrjInfo& GetPrjInfo() const { return prjInfo_; }
  [[nodiscard]] qvgcp::GCPPrj& GetGroundControl() { return groundControl_; }
  [[nodiscard]] Features& GetFeatures() { return features_; }
  [[nodiscard]] Matches& GetMatches() { return matches_; }
  [[nodiscard]] Tracks& GetTracks() { return tracks_; }

  void SetCameraInfoSet(const qvfd::CameraInfoSet& cameras) { cameras_ = cameras; }
  void SetImageInfoSet(const qvfd::ImageInfoSet& images) { images_ = images; }

  /// Takes over the whole record, `file_path` included.
  void SetPrjInfo(const PrjInfo& info) { prjInfo_ = info; }

  /// The coordinate system that the registry has for `PrjInfo::coordinate_id`; the default local system for
  /// an id that it does not know, -1 included. May throw std::bad_alloc.
  [[nodiscard]] qvfd::CoordinateInfo GetCoordinate() const;

  // ---- Positions in the local frame: the project's own coordinate system ---------------------------------
  //
  // A project stores WGS 84 degrees; what is converted is made on each call and kept nowhere. Only the
  // planimetric pair of a position is converted, never heights or angles. With coordinate_id -1 the local
  // frame is what is stored, and all passes through unchanged. Each call prepares one conversion: a set of
  // images costs little more than its points, single points in a loop cost a preparation each (see
  // qvmath::GeoPrj). Nothing here tells of positions that cannot be converted; qvmath::GeoPrj does. All may
  // throw std::bad_alloc.

  /// Longitude and latitude in degrees to the local frame: easting and northing in the unit of its system;
  /// radians where that is geographic. What cannot be converted comes back as it is, in degrees.
  [[nodiscard]] qvfd::Point2_T<double> ToLocal(qvfd::Point2_T<double> p);

  /// The other way round. What cannot be converted comes back as it is.
  [[nodiscard]] qvfd::Point2_T<double> FromLocal(qvfd::Point2_T<double> p);

  /// A copy of the images with `x` and `y` of both orientations in the local frame, as `ToLocal` converts
  /// them. An orientation that cannot be converted stays as it is.
  [[nodiscard]] qvfd::ImageInfoSet GetImageInfoSetLocal() const;

  /// Takes the updated orientations of `local`, a set that came from `GetImageInfoSetLocal`, back into the
  /// project. Images are matched by position; what one set has more than the other is passed over. Nothing
  /// else of `local` is taken: no initial orientations, names, flags, added or removed images. An orientation
  /// that cannot be converted is passed over. With coordinate_id -1 `local` replaces the images as a whole.
  void SetImageInfoSetLocal(const qvfd::ImageInfoSet& local);

  // ---- Whole projects and their files -----------------------------------------------------------

  /// Reads the project at `path`: project information, images and cameras, each of which must be readable;
  /// then features and matches (from the tables "data_feature" and "data_match" where the database has them
  /// with rows, from the track file otherwise), ground control and tracks, as far as they can be read. A
  /// track file that is missing or damaged is no failure: there are no tie points then. A durable save that was
  /// interrupted is finished first.
  ///
  /// The object is not cleared first: ground control is added to what is there, everything else is replaced.
  /// On false nothing is touched when the database could not be opened; otherwise what was read before the
  /// failing step (in the order above) is kept.
  [[nodiscard]] bool OpenPrj(std::string path);

  /// Reads the project information alone; its cost does not depend on the size of the project. On false
  /// nothing is touched.
  [[nodiscard]] bool QuickOpenPrj(std::string path);

  /// Writes the project to a new pair of files at `path`, in place of an old pair, and stores the path in
  /// `PrjInfo::file_path`. Features and matches go to the track file only.
  ///
  /// False, and nothing touched, when `path` cannot name a pair: it is empty, ends in a separator or has the
  /// extension ".gb". On any other false the old pair is gone, `file_path` is changed, and the files may be
  /// there in part: a partial database and no track file, or a whole database and no track file.
  [[nodiscard]] bool Save(std::string path);

  /// As `Save`, and safe: the old pair stays until the new one is whole and on the disk, and takes its place at
  /// once. After a crash or a power cut at any instant, `path` holds the old pair or the new one; where it
  /// happened on the way from one to the other, the next opening or saving finishes that. Needs room for both
  /// pairs, and waits for the disk. Readers in other processes see the old pair or the new one too.
  ///
  /// On false (no room, no permission, a path that names no pair, or the same project being saved by another
  /// process for longer than ten seconds) the old pair, the folder and this project are as they were.
  [[nodiscard]] bool SaveDurably(std::string path);

  /// Copies the pair of files at `source` to `target`, in place of what is there. What is missing or cannot
  /// be written is passed over in silence. A journal or log that a killed program left beside the source goes
  /// along, since the database is half written without it; one beside the target goes, since it was of the old
  /// database. No project in memory takes part.
  static void CopyTo(std::string source, std::string target);

  /// Copies `text` into the array `dst` of `capacity` (at least 1) characters: at most `capacity` - 1 of
  /// them, and a NUL.
  void string2char(char* dst, int capacity, std::string text);

  // ---- Tables of the project database -----------------------------------------------------------
  //
  // Create... adds the empty table. Write... appends all rows in one transaction. Read... needs an open
  // database. docs/formats/project-database.md lists every column.

  /// Table "data_project": one row. Reading replaces the project information, and takes `projectPath` as its
  /// file_path; false, and nothing changed, when the database is closed or the table is missing or empty.
  [[nodiscard]] bool CreatePrjTable(qvsql::Database& database);
  [[nodiscard]] bool WritePrjRecords(qvsql::Database& database);
  [[nodiscard]] bool ReadPrjRecords(qvsql::Database& database, std::string projectPath);

  /// Table "data_camera": one row a camera. Reading replaces all cameras; false, and nothing changed, when
  /// the database is closed or the table cannot be read.
  [[nodiscard]] bool CreateCameraTable(qvsql::Database& database);
  [[nodiscard]] bool WriteCameraRecords(qvsql::Database& database);
  [[nodiscard]] bool ReadCameraRecords(qvsql::Database& database);

  /// Table "data_image": one row an image, with both orientations. Reading replaces all images; false, and
  /// nothing changed, when the database is closed or the table cannot be read.
  [[nodiscard]] bool CreateImageTable(qvsql::Database& database);
  [[nodiscard]] bool WriteImageRecords(qvsql::Database& database);
  [[nodiscard]] bool ReadImageRecords(qvsql::Database& database);

  /// Table "data_gcp": one row a ground point. Reading adds to the ground points; false only when the
  /// database is closed or memory runs out.
  [[nodiscard]] bool CreateGCPTable(qvsql::Database& database);
  [[nodiscard]] bool WriteGCPRecords(qvsql::Database& database);
  [[nodiscard]] bool ReadGCPRecords(qvsql::Database& database);

  /// Table "data_cp": one row a measurement of a ground point in an image. Writing passes over measurements
  /// whose point is no ground point; reading adds to the measurements and passes over those in images that
  /// the project does not have. False as for "data_gcp".
  [[nodiscard]] bool CreateCPTable(qvsql::Database& database);
  [[nodiscard]] bool WriteCPRecords(qvsql::Database& database);
  [[nodiscard]] bool ReadCPRecords(qvsql::Database& database);

  /// Tables "data_feature" and "data_match": one row an image, or an image pair, with its points or matches
  /// as a blob. `Save` does not write them; they are for hosts that want tie points in the database. Matches
  /// are written in batches of 100000 rows, each a transaction: rows of earlier batches stay when one fails.
  ///
  /// Reading replaces the features, or matches, by those of images that the project has. False, and none of
  /// them, when the table is missing, has no rows or another number of columns.
  [[nodiscard]] bool CreateFeatureTable(qvsql::Database& database);
  [[nodiscard]] bool CreateMatchTable(qvsql::Database& database);
  [[nodiscard]] bool WriteFeatures(qvsql::Database& database);
  [[nodiscard]] bool WriteMatches(qvsql::Database& database);
  [[nodiscard]] bool ReadFeatures(qvsql::Database& database);
  [[nodiscard]] bool ReadMatches(qvsql::Database& database);

  // ---- Blobs of the track file ------------------------------------------------------------------

  /// Adds the features as blob 1, the matches as blob 2, the tracks as blob 0; none where there is nothing to
  /// write. False, and no blob added, when there are more elements than a 32-bit count can tell, or memory
  /// runs out.
  [[nodiscard]] bool WriteFeatures(qvfd::BinaryData& blobs);
  [[nodiscard]] bool WriteMatches(qvfd::BinaryData& blobs);
  [[nodiscard]] bool WriteTracks(qvfd::BinaryData& blobs);

  /// Replaces the features (matches) by those of the blob whose images the project has. False, and none, when
  /// there is no such blob; false, and the whole records before the damage, of whatever images, when it is
  /// corrupt. A record whose count is negative is kept with no points (matches).
  [[nodiscard]] bool ReadFeatures(qvfd::BinaryData& blobs);
  [[nodiscard]] bool ReadMatches(qvfd::BinaryData& blobs);

  /// Replaces the tracks by those of the blob. Observations in images that the project does not have are
  /// dropped, and so are tracks without any observation left. False, and none, when there is no such blob;
  /// false, and the whole tracks before the damage, when it is corrupt.
  [[nodiscard]] bool ReadTracks(qvfd::BinaryData& blobs);

  /// Writes the tracks alone to a new track file at `path`; true and no file when there are none. False when
  /// the file cannot be written, what was there is then as it was.
  [[nodiscard]] bool WriteTracks(std::string path);

 protected:
  /// The track file that belongs to a project database: the path with ".gb" in place of its extension.
  [[nodiscard]] static std::string GetTrackFileName(std::string path);

  /// The file of the three blobs at `path`, without a second copy of them in memory. Reading passes over
  /// features or matches where the database has given them; of a file that is damaged anywhere nothing is
  /// kept.
  [[nodiscard]] bool WriteTrackFile(const std::string& path) const;
  void ReadTrackFile(const std::string& path, bool features, bool matches);

 private:
  /// Whether a file is written under the name that it keeps, and never seen half written there, or under a
  /// name that nobody looks at.
  enum class Under { kItsName, kTemporaryName };

  /// The two new files of a pair, with the same stamp in both.
  [[nodiscard]] bool WriteFiles(const std::string& database, const std::string& trackFile, Under name);
  [[nodiscard]] bool WriteStampedTrackFile(const std::string& path, std::uint32_t stamp, Under name) const;

  /// From a file that was opened, or could not be.
  void ReadOpenTrackFile(qvfd::BlobFileReader& file, bool features, bool matches);

  qvfd::CameraInfoSet cameras_;
  qvfd::ImageInfoSet images_;
  PrjInfo prjInfo_;
  qvgcp::GCPPrj groundControl_;
  Features features_;
  Matches matches_;
  Tracks tracks_;
};

}  // namespace qvprj
