// Paths: the arithmetic, the name of the track file, and saving, opening and copying a project under an odd
// name inside a folder of the target's own. The first byte of an input chooses, the rest is the path.

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

#include "Target.h"
#include "qvfd/PathHelper.h"
#include "qvprj/project/QvProject.h"
#include "support/Folder.h"
#include "support/ProjectCompare.h"

namespace fs = std::filesystem;

namespace {

using fuzz::Require;
using qvfd::PathHelper;

struct Insider : qvprj::QvProject {
  using QvProject::GetTrackFileName;
};

std::string NameOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string FolderOf(const std::string& path) {
  return path.substr(0, path.size() - NameOf(path).size());
}

/// The path with one separator where it has several in a row: the same file.
std::string OnePath(std::string path) {
  path.erase(std::unique(path.begin(), path.end(), [](char a, char b) { return a == '/' && b == '/'; }),
             path.end());
  return path;
}

void RequireArithmetic(const std::string& path) {
  const std::string title = PathHelper::GetFileTitle2(path);
  const std::string extension = PathHelper::GetFileExtension(path);
  Require(title + extension == NameOf(path), "a name is its title and its extension");
  Require(extension.empty() || (extension[0] == '.' && extension.rfind('.') == 0 && !title.empty()),
          "an extension has one dot, in front, and is not all of a name");
  const std::string directory = PathHelper::GetFileDirectory(path);
  const std::string merged = PathHelper::Merge(directory, NameOf(path));
  Require(NameOf(merged) == NameOf(path), "merging keeps the name");
  Require(OnePath(merged) == OnePath(path), "merging what was taken apart gives the path");
  Require(directory.empty() == FolderOf(path).empty(), "a directory is there where there is a separator");

  const std::string track = Insider::GetTrackFileName(path);
  Require(NameOf(track) == title + ".gb", "a track file has the title of its database");
  Require(OnePath(Insider::GetTrackFileName(track)) == OnePath(track) || title.empty(),
          "a track file is its own track file");
  Require(OnePath(FolderOf(track)) == OnePath(FolderOf(path)), "a track file is where its database is");
}

/// Whether a path leads out of the folder that it is relative to.
bool LeadsOut(const std::string& path) {
  const fs::path asTheSystemSees(path.c_str());
  return std::any_of(asTheSystemSees.begin(), asTheSystemSees.end(),
                     [](const fs::path& part) { return part == ".."; });
}

/// The directory of the process, back where it was when the object goes.
class InFolder {
 public:
  explicit InFolder(const std::string& folder) : before_(open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    Require(before_ >= 0 && chdir(folder.c_str()) == 0, "the target can go into its folder");
  }
  ~InFolder() {
    Require(fchdir(before_) == 0, "the target can go back");
    close(before_);
  }
  InFolder(const InFolder&) = delete;
  InFolder& operator=(const InFolder&) = delete;

 private:
  int before_;
};

qvprj::QvProject SomeProject() {
  qvprj::QvProject project;
  project.GetImageInfoSet().AddImage(3, "image", "path", {1, 2, 3, 4, 5, 6}, 0, 1, true);
  project.GetFeatures()[3] = {{1.0F, 2.0F}};
  return project;
}

/// Names, without their bytes, of what is new.
std::vector<std::string> NewNames(const fuzz::Folder& folder, const std::vector<std::string>& before) {
  std::vector<std::string> names;
  for (const std::string& entry : folder.Contents()) {
    if (!std::binary_search(before.begin(), before.end(), entry)) {
      names.push_back(entry.substr(0, entry.find('\0')));
    }
  }
  return names;
}

void SaveUnder(const std::string& path, const fuzz::Folder& folder) {
  const std::vector<std::string> before = folder.Contents();
  qvprj::QvProject project = SomeProject();
  project.GetPrjInfo().file_path = "before";
  const std::string title = PathHelper::GetFileTitle2(path);
  const bool namesPair = !title.empty() && PathHelper::GetFileExtension(path) != ".gb";
  const bool saved = project.Save(path);
  if (!namesPair) {
    Require(!saved && folder.Contents() == before && project.GetPrjInfo().file_path == "before",
            "a path that names no pair is refused and nothing touched");
    return;
  }
  Require(project.GetPrjInfo().file_path == path, "the path is in the record");
  if (!saved) {
    return;
  }
  Require(path.find('\0') == std::string::npos, "a path with a NUL in it names no file");
  Require(NewNames(folder, before).size() == 2, "saving makes two files and no other");
  Require(PathHelper::IsFileExisted(path) && PathHelper::IsFileExisted(Insider::GetTrackFileName(path)),
          "the pair is there");
  qvprj::QvProject opened;
  Require(opened.OpenPrj(path), "what was saved can be opened");
  const std::string difference = support::FirstDifference(project, opened);
  Require(difference.empty(), "saved and opened: " + difference);

  qvprj::QvProject::CopyTo(path, "copy.x");
  qvprj::QvProject copy;
  Require(copy.OpenPrj("copy.x") || NameOf(path) == "copy.x", "a copy can be opened");
  Require(fuzz::ReadFile("copy.x") == fuzz::ReadFile(path), "a copy is the same");
  Require(project.Save(path), "a project can be saved where it is");
  std::vector<std::string> names;
  PathHelper::GetFileNames(PathHelper::GetFileDirectory(path), names);
  Require(std::is_sorted(names.begin(), names.end()), "names are sorted");
  Require(
      std::any_of(names.begin(), names.end(), [&](const auto& name) { return NameOf(name) == NameOf(path); }),
      "a folder lists its file");
  Require(PathHelper::RemoveFile(path) && !PathHelper::IsFileExisted(path), "a file can be removed");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::uint8_t mode = input.Byte();
  const fuzz::Bytes bytes = input.Rest();
  const std::string path(bytes.begin(), bytes.end());
  RequireArithmetic(path);
  const bool relative = path.empty() || path.front() != '/';
  if (!relative || LeadsOut(path)) {
    return 0;
  }
  const fuzz::Folder& folder = fuzz::EmptyFolder();
  fs::create_directory(folder.File("d"));
  fs::create_directory(folder.File("d.db"));
  fs::create_directory(folder.File("d.gb"));
  if ((mode & 1U) != 0) {
    fs::create_symlink("elsewhere", folder.File("l.db"));
    fs::create_symlink("d", folder.File("l"));
  }
  const InFolder in(folder.Path());
  SaveUnder((mode & 2U) != 0 ? folder.File(path) : path, folder);
  return 0;
}
