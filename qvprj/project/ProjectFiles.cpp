// A project as a pair of files: opening, saving and copying it.

#include <exception>
#include <utility>

#include "detail/NoThrow.h"
#include "qvfd/PathHelper.h"
#include "qvprj/project/QvProject.h"
#include "qvsql/Database.h"

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

}  // namespace

std::string QvProject::GetTrackFileName(std::string path) {
  const std::string directory = qvfd::PathHelper::GetFileDirectory(path);
  const std::string title = qvfd::PathHelper::GetFileTitle2(path);
  return qvfd::PathHelper::Merge(directory, title + kTrackFileExtension);
}

bool QvProject::OpenPrj(std::string path) {
  return qvdetail::NoThrow([&] {
    qvsql::Database database;
    if (!database.Open(path) || !database.IsOpen()) {
      return false;
    }
    // Images come before everything that refers to images: those readers drop what refers to an unknown one.
    if (!ReadPrjRecords(database, path) || !ReadImageRecords(database) || !ReadCameraRecords(database)) {
      return false;
    }
    // From here on a project opens with whatever can be read. Tables go before the track file.
    const bool featuresRead = ReadFeatures(database);
    const bool matchesRead = ReadMatches(database);
    ReadTrackFile(GetTrackFileName(path), !featuresRead, !matchesRead);
    static_cast<void>(ReadGCPRecords(database));
    static_cast<void>(ReadCPRecords(database));
    return true;
  });
}

bool QvProject::QuickOpenPrj(std::string path) {
  return qvdetail::NoThrow([&] {
    qvsql::Database database;
    return database.Open(path) && database.IsOpen() && ReadPrjRecords(database, path);
  });
}

bool QvProject::Save(std::string path) {
  return qvdetail::NoThrow([&] {
    if (!NamesPair(path)) {
      return false;
    }
    const std::string trackFile = GetTrackFileName(path);
    prjInfo_.file_path = path;
    for (const std::string& oldFile : {path, trackFile}) {
      if (qvfd::PathHelper::IsFileExisted(oldFile)) {
        qvfd::PathHelper::RemoveFile(oldFile);
      }
    }
    {
      qvsql::Database database;
      const bool saved = database.Create(path) && CreateCameraTable(database) &&
                         WriteCameraRecords(database) && CreateImageTable(database) &&
                         WriteImageRecords(database) && CreatePrjTable(database) &&
                         WritePrjRecords(database) && CreateGCPTable(database) && WriteGCPRecords(database) &&
                         CreateCPTable(database) && WriteCPRecords(database);
      if (!saved) {
        return false;
      }
    }
    return WriteTrackFile(trackFile);
  });
}

void QvProject::CopyTo(std::string source, std::string target) {
  static_cast<void>(qvdetail::NoThrow([&] {
    const std::string sourceTracks = GetTrackFileName(source);
    const std::string targetTracks = GetTrackFileName(target);
    qvfd::PathHelper::CopyFile2(std::move(source), std::move(target));
    qvfd::PathHelper::CopyFile2(sourceTracks, targetTracks);
    return true;
  }));
}

}  // namespace qvprj
