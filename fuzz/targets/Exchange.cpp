// Files of other programs. The first byte says which format; the second, in which system; the rest is its files, with
// a line "--" between two of them.

#include <array>
#include <filesystem>

#include "Target.h"
#include "interchange/Failure.h"
#include "interchange/formats/ColmapDatabase.h"
#include "interchange/formats/ColmapModel.h"
#include "interchange/formats/GroundPointTable.h"
#include "interchange/formats/OdmText.h"
#include "interchange/formats/OpenSfm.h"
#include "interchange/formats/OrientationText.h"
#include "interchange/formats/PositionLog.h"
#include "interchange/mapping/ColmapProject.h"
#include "interchange/mapping/GroundControl.h"
#include "interchange/mapping/OpenSfmProject.h"
#include "interchange/mapping/TextProject.h"
#include "support/Folder.h"
#include "support/Memory.h"
#include "support/ProjectChecks.h"

namespace {

using fuzz::Bytes;
using fuzz::Require;
using qvprj::QvProject;
namespace ic = interchange;

/// Files are made in one folder, what is written of them in another.
struct Place {
  const fuzz::Folder& from;
  const fuzz::Folder& to;
  std::size_t bytes = 0;  // of all files
};

/// The parts of the input, with a line "--" between two of them, as the files `names`.
void WriteParts(const Bytes& parts, std::initializer_list<const char*> names, const fuzz::Folder& folder) {
  constexpr std::array<unsigned char, 4> kBetween = {'\n', '-', '-', '\n'};
  auto begin = parts.begin();
  for (const char* const name : names) {
    const auto end = std::search(begin, parts.end(), kBetween.begin(), kBetween.end());
    fuzz::WriteFile(folder.File(name), Bytes(begin, end));
    if (end == parts.end()) {
      return;
    }
    begin = end + kBetween.size();
  }
}

/// Whether `work` ends without a failure. It throws nothing else, which would end the program.
template <class Work>
bool Succeeds(const Place& place, Work work) {
  const fuzz::MemoryWatch memory(place.bytes);
  try {
    work();
    return true;
  } catch (const ic::Failure&) {
    return false;
  }
}

/// What was read and can be written is read again, and then written as it was.
template <class Read, class Write>
void RequireComesBack(const Place& place, const std::string& path, Read read, Write write) {
  const std::string once = place.to.File("once");
  const std::string twice = place.to.File("twice");
  if (!Succeeds(place, [&] { write(once, read(path)); })) {
    return;
  }
  Require(Succeeds(place, [&] { write(twice, read(once)); }), "what was written can be read");
  Require(fuzz::ReadFile(once) == fuzz::ReadFile(twice), "what was read again is the same");
}

/// An import gives a project like any other, or fails.
template <class Import>
void RequireImports(const Place& place, QvProject project, Import import) {
  if (Succeeds(place, [&] { import(project); })) {
    fuzz::RequireSavesAndOpensTheSame(std::move(project), place.to.Path(), "imported");
  }
}

QvProject ProjectWithImages() {
  QvProject project;
  project.GetImageInfoSet().AddImage(1, "a.jpg", "", {}, 0, 0, true);
  project.GetImageInfoSet().AddImage(2, "b.jpg", "", {}, 0, 0, true);
  return project;
}

void Colmap(const Place& place, const Bytes& parts, const std::string& extension,
            const ic::ColmapImportOptions& options) {
  const std::string cameras = "cameras" + extension;
  const std::string images = "images" + extension;
  const std::string points = "points3D" + extension;
  WriteParts(parts, {cameras.c_str(), images.c_str(), points.c_str(), ic::kGeoreferenceName}, place.from);
  for (const auto write : {ic::WriteColmapBinary, ic::WriteColmapText}) {
    place.to.Clear();
    const std::string once = place.to.File("once");
    const std::string twice = place.to.File("twice");
    if (!Succeeds(place, [&] { write(once, ic::ReadColmapModel(place.from.Path())); })) {
      continue;
    }
    Require(Succeeds(place, [&] { write(twice, ic::ReadColmapModel(once)); }),
            "what was written can be read");
    for (const auto& entry : std::filesystem::directory_iterator(once)) {
      const std::string name = entry.path().filename().string();
      Require(fuzz::ReadFile(entry.path().string()) == fuzz::ReadFile(twice + "/" + name),
              "what was read again is the same");
    }
  }
  RequireImports(place, {},
                 [&](QvProject& project) { ic::ImportColmap(place.from.Path(), options, project); });
}

void OpenSfm(const Place& place, const Bytes& parts, const ic::ImportFrameOptions& frame) {
  WriteParts(parts, {"reconstruction.json", "tracks.csv", ic::kGeoreferenceName}, place.from);
  RequireComesBack(place, place.from.File("reconstruction.json"), ic::ReadOpenSfmReconstruction,
                   ic::WriteOpenSfmReconstruction);
  RequireComesBack(place, place.from.File("tracks.csv"), ic::ReadOpenSfmTracks, ic::WriteOpenSfmTracks);
  RequireImports(place, {},
                 [&](QvProject& project) { ic::ImportOpenSfm(place.from.Path(), frame, {}, project); });
}

void Text(const Place& place, const Bytes& file, ic::TextKind kind, const ic::TextOptions& options) {
  const std::string path = place.from.File("file.csv");
  fuzz::WriteFile(path, file);
  const bool isOpk = kind == ic::TextKind::kOpk;
  RequireComesBack(place, path, isOpk ? ic::ReadOpkText : ic::ReadYprText,
                   isOpk ? ic::WriteOpkText : ic::WriteYprText);
  RequireImports(place, {}, [&](QvProject& project) { ic::ImportText(path, kind, options, {}, project); });
}

void Odm(const Place& place, const Bytes& parts, const ic::TextOptions& options) {
  WriteParts(parts, {"geo.txt", "gcp_list.txt"}, place.from);
  RequireComesBack(place, place.from.File("geo.txt"), ic::ReadGeoText, ic::WriteGeoText);
  RequireComesBack(place, place.from.File("gcp_list.txt"), ic::ReadGcpList, ic::WriteGcpList);
  RequireImports(place, {},
                 [&](QvProject& project) { ic::ImportOdm(place.from.Path(), options, {}, project); });
}

void Try(unsigned format, const Place& place, const Bytes& rest, const std::optional<std::string>& crs) {
  const std::string path = place.from.File("file.csv");
  ic::TextOptions text;
  text.crs = crs;
  ic::ColmapImportOptions colmap;
  colmap.frame.crs = crs;
  switch (format) {
    case 0:
      Text(place, rest, ic::TextKind::kOpk, text);
      break;
    case 1:
      Text(place, rest, ic::TextKind::kYpr, text);
      break;
    case 2:
      Odm(place, rest, text);
      break;
    case 3: {
      fuzz::WriteFile(path, rest);
      RequireComesBack(
          place, path, [](const std::string& file) { return ic::ReadGroundPointTable(file, ""); },
          ic::WriteGroundPointTable);
      ic::GroundControlOptions options;
      options.crs = crs;
      RequireImports(place, ProjectWithImages(),
                     [&](QvProject& project) { ic::ImportGroundControl(path, options, project); });
      break;
    }
    case 4:
      fuzz::WriteFile(path, rest);
      Succeeds(place, [&] { static_cast<void>(ic::ReadPositionLog(path, "")); });
      break;
    case 5:
      OpenSfm(place, rest, colmap.frame);
      break;
    case 6:
      Colmap(place, rest, ".txt", colmap);
      break;
    case 7:
      Colmap(place, rest, ".bin", colmap);
      break;
    default:
      fuzz::WriteFile(path, rest);
      RequireImports(place, {}, [&](QvProject& project) { ic::ImportColmap(path, colmap, project); });
      break;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  constexpr unsigned kFormats = 9;
  fuzz::Input input(data, size);
  const fuzz::Folder& from = fuzz::EmptyFolder();
  static const fuzz::Folder to;
  to.Clear();
  const unsigned format = input.Byte() % kFormats;
  const std::optional<std::string> systems[] = {std::nullopt, "EPSG:4326", "EPSG:32650"};
  const std::optional<std::string> crs = systems[input.Below(std::size(systems))];
  Try(format, {from, to, size}, input.Rest(), crs);
  return 0;
}
