// A project as a pair of files: opening, saving and copying it.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "detail/NoThrow.h"
#include "qvfd/BlobFile.h"
#include "qvfd/PathHelper.h"
#include "qvprj/detail/Stamp.h"
#include "qvprj/project/PairReplacement.h"
#include "qvprj/project/QvProject.h"
#include "qvsql/Database.h"
#include "qvsql/SideFiles.h"

namespace qvprj {
namespace {

constexpr char kTrackFileExtension[] = ".gb";

/// Whether a database of this extension would be its own track file.
bool IsTrackFileExtension(std::string extension) {
#if defined(_WIN32)
  for (char& c : extension) {
    c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
#endif
  return extension == kTrackFileExtension;
}

/// Whether `path` can name a project database beside which a track file of another name can stand.
bool NamesPair(const std::string& path) {
  return !qvfd::PathHelper::GetFileTitle2(path).empty() &&
         !IsTrackFileExtension(qvfd::PathHelper::GetFileExtension(path));
}

/// Field by field: where memory runs out in the middle of an initializer list, g++ 12 destroys what it has made
/// of a temporary twice.
PairFiles PairOf(const std::string& database, const std::string& trackFile) {
  PairFiles pair;
  pair.database = database;
  pair.track_file = trackFile;
  return pair;
}

/// FNV-1a, 32 bits, of values as they stand in memory.
class StampHash {
 public:
  template <class T>
  void Add(const T& value) {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(&value);
    for (std::size_t i = 0; i < sizeof value; ++i) {
      hash_ = (hash_ ^ bytes[i]) * 0x01000193U;
    }
  }

  /// Never 0, which stands for no stamp.
  [[nodiscard]] std::uint32_t Value() const { return hash_ == 0 ? 1 : hash_; }

 private:
  std::uint32_t hash_ = 0x811C9DC5U;
};

/// A stamp that depends on nothing but the project, so that the same project gives the same files: from its id
/// and from how many tie points there are, with a few of them, since another adjustment changes all. Looking at
/// more would cost more than the stamp is worth.
std::uint32_t StampOf(QvProject& project) {
  StampHash hash;
  for (const char c : project.GetPrjInfo().id) {
    hash.Add(c);
    if (c == '\0') {
      break;
    }
  }
  hash.Add(project.GetFeatures().size());
  if (!project.GetFeatures().empty()) {
    hash.Add(project.GetFeatures().begin()->second.size());
    hash.Add(project.GetFeatures().rbegin()->second.size());
  }
  hash.Add(project.GetMatches().size());
  if (!project.GetMatches().empty()) {
    hash.Add(project.GetMatches().begin()->second.size());
    hash.Add(project.GetMatches().rbegin()->second.size());
  }
  hash.Add(project.GetTracks().size());
  if (!project.GetTracks().empty()) {
    for (const qvfd::Track* const track : {&project.GetTracks().front(), &project.GetTracks().back()}) {
      hash.Add(track->x);
      hash.Add(track->y);
      hash.Add(track->z);
      hash.Add(track->observations.size());
    }
  }
  return hash.Value();
}

/// The files of a project, opened for reading.
struct OpenPair {
  qvsql::Database database;
  qvfd::BlobFileReader tracks;  // closed where there is no sound track file
};

/// Opens both files of one save, also while another process replaces the pair. A pair that goes on not
/// belonging together is opened as it is.
bool Open(const PairFiles& pair, OpenPair& opened) {
  constexpr int kAttempts = 3;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const PairFiles files = FinishReplacement(pair);
    if (!opened.database.Open(files.database) || !opened.database.IsOpen()) {
      return false;
    }
    if (!opened.tracks.Open(files.track_file) || opened.tracks.Stamp() == 0 ||
        opened.tracks.Stamp() == ReadStamp(opened.database)) {
      break;
    }
  }
  return true;
}

/// When a file was last written; none where there is none.
std::optional<std::filesystem::file_time_type> TimeOf(const std::string& path) {
  std::error_code error;
  const auto time = std::filesystem::last_write_time(path, error);
  return error ? std::nullopt : std::optional(time);
}

/// Copies a database with the journal or log that a killed program left beside it, without which it is half
/// written. Those of an older target would be taken for the new one's.
void CopyDatabase(const std::string& from, const std::string& to) {
  namespace fs = std::filesystem;
  std::error_code error;
  const bool toItself = fs::equivalent(from, to, error);
  const auto before = TimeOf(to);
  qvfd::PathHelper::CopyFile2(from, to);
  const auto after = TimeOf(to);
  if (toItself || !after || after == before) {
    return;  // nothing was copied
  }
  const fs::path real = fs::canonical(from, error);
  for (const char* const suffix : qvsql::kSideFileEnds) {
    if (qvfd::PathHelper::IsFileExisted(to + suffix)) {
      qvfd::PathHelper::RemoveFile(to + suffix);
    }
  }
  for (const char* const suffix : qvsql::kUnfinishedWriteEnds) {
    const std::string beside = (error ? from : real.string()) + suffix;
    std::error_code none;
    if (fs::file_size(beside, none) > 0 && !none) {
      qvfd::PathHelper::CopyFile2(beside, to + suffix);
    }
  }
}

}  // namespace

std::string QvProject::GetTrackFileName(std::string path) {
  const std::string directory = qvfd::PathHelper::GetFileDirectory(path);
  const std::string title = qvfd::PathHelper::GetFileTitle2(path);
  return qvfd::PathHelper::Merge(directory, title + kTrackFileExtension);
}

bool QvProject::OpenPrj(std::string path) {
  return qvdetail::NoThrow([&] {
    OpenPair opened;
    if (!Open(PairOf(path, GetTrackFileName(path)), opened)) {
      return false;
    }
    qvsql::Database& database = opened.database;
    // Images come before everything that refers to images: those readers drop what refers to an unknown one.
    if (!ReadPrjRecords(database, path) || !ReadImageRecords(database) || !ReadCameraRecords(database)) {
      return false;
    }
    // From here on a project opens with whatever can be read. Tables go before the track file.
    const bool featuresRead = ReadFeatures(database);
    const bool matchesRead = ReadMatches(database);
    ReadOpenTrackFile(opened.tracks, !featuresRead, !matchesRead);
    static_cast<void>(ReadGCPRecords(database));
    static_cast<void>(ReadCPRecords(database));
    return true;
  });
}

bool QvProject::QuickOpenPrj(std::string path) {
  return qvdetail::NoThrow([&] {
    qvsql::Database database;
    return database.Open(FinishReplacement(PairOf(path, GetTrackFileName(path))).database) &&
           database.IsOpen() && ReadPrjRecords(database, path);
  });
}

bool QvProject::Save(std::string path) {
  return qvdetail::NoThrow([&] {
    if (!NamesPair(path)) {
      return false;
    }
    const std::string trackFile = GetTrackFileName(path);
    prjInfo_.file_path = path;
    DropReplacement(PairOf(path, trackFile));
    for (const std::string& oldFile : {path, trackFile}) {
      if (qvfd::PathHelper::IsFileExisted(oldFile)) {
        qvfd::PathHelper::RemoveFile(oldFile);
      }
    }
    return WriteFiles(path, trackFile, Under::kItsName);
  });
}

bool QvProject::SaveDurably(std::string path) {
  return qvdetail::NoThrow([&] {
    if (!NamesPair(path)) {
      return false;
    }
    std::string filePath = path;  // before anything is replaced: afterwards nothing may fail
    const bool saved = ReplacePair(PairOf(path, GetTrackFileName(path)), [this](const PairFiles& made) {
      return WriteFiles(made.database, made.track_file, Under::kTemporaryName);
    });
    if (saved) {
      prjInfo_.file_path = std::move(filePath);
    }
    return saved;
  });
}

bool QvProject::WriteFiles(const std::string& database, const std::string& trackFile, Under name) {
  // What is made to replace an older save has to be told from that one in any case.
  const std::uint32_t stamp = name == Under::kItsName ? StampOf(*this) : NewStamp();
  {
    qvsql::Database file;
    const bool written = file.Create(database) && WriteStamp(file, stamp) && CreateCameraTable(file) &&
                         WriteCameraRecords(file) && CreateImageTable(file) && WriteImageRecords(file) &&
                         CreatePrjTable(file) && WritePrjRecords(file) && CreateGCPTable(file) &&
                         WriteGCPRecords(file) && CreateCPTable(file) && WriteCPRecords(file);
    if (!written) {
      return false;
    }
  }
  return WriteStampedTrackFile(trackFile, stamp, name);
}

void QvProject::CopyTo(std::string source, std::string target) {
  static_cast<void>(qvdetail::NoThrow([&] {
    const PairFiles from = FinishReplacement(PairOf(source, GetTrackFileName(source)));
    const PairFiles to = PairOf(target, GetTrackFileName(target));
    DropReplacement(to);
    CopyDatabase(from.database, to.database);
    qvfd::PathHelper::CopyFile2(from.track_file, to.track_file);
    return true;
  }));
}

}  // namespace qvprj
