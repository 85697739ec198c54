// Path arithmetic on text, and the few file operations that a project needs.

#include "qvfd/PathHelper.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#if !defined(_WIN32)
#include <dirent.h>
#endif

#include "detail/Windows.h"
#include "qvfd/ReplaceFile.h"

namespace fs = std::filesystem;

namespace qvfd {
namespace {

/// Where the file name begins: behind the last separator.
std::size_t NameStart(const std::string& path) {
#if defined(_WIN32)
  // A '\' may be the second byte of a character: walk character by character.
  std::size_t start = 0;
  for (std::size_t i = 0; i < path.size(); ++i) {
    if (IsDBCSLeadByte(static_cast<BYTE>(path[i])) && i + 1 < path.size()) {
      ++i;
    } else if (path[i] == '/' || path[i] == '\\' || (path[i] == ':' && i == 1)) {
      start = i + 1;
    }
  }
  return start;
#else
  const std::size_t separator = path.rfind('/');
  return separator == std::string::npos ? 0 : separator + 1;
#endif
}

/// Where the last extension begins, its dot included; the end when there is none. A leading dot begins no
/// extension.
std::size_t ExtensionStart(const std::string& path, std::size_t nameStart) {
  const std::size_t dot = path.rfind('.');
  return dot == std::string::npos || dot <= nameStart ? path.size() : dot;
}

/// Whether `path` up to `end` is a drive ("C:") or its root ("C:/"), where such things exist.
bool IsDrive([[maybe_unused]] const std::string& path, [[maybe_unused]] std::size_t end) {
#if defined(_WIN32)
  return end <= 3 && path[1] == ':';
#else
  return false;
#endif
}

/// A name with a NUL in it reaches no file, but a C string made of it might.
bool NamesFile(const std::string& path) {
  return !path.empty() && path.find('\0') == std::string::npos;
}

bool IsRegularFile(const std::string& path) {
  std::error_code error;
  return NamesFile(path) && fs::is_regular_file(path, error);
}

/// The names of the regular files in a directory, of which `prefix` is the path with a separator behind it.
#if defined(_WIN32)

std::vector<std::string> FilesIn(const std::string& directory, const std::string& /*prefix*/) {
  std::vector<std::string> names;
  std::error_code error;
  fs::directory_iterator entry(directory.empty() ? "." : directory, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    std::error_code unknown;
    if (entry->is_regular_file(unknown)) {
      names.push_back(entry->path().filename().string());
    }
  }
  return names;
}

#else

struct FolderCloser {
  void operator()(DIR* folder) const { closedir(folder); }
};

// Not with directory_iterator: the standard library ends the program where that one gets no memory.
std::vector<std::string> FilesIn(const std::string& directory, const std::string& prefix) {
  std::vector<std::string> names;
  const std::unique_ptr<DIR, FolderCloser> folder(opendir(directory.empty() ? "." : directory.c_str()));
  if (!folder || directory.find('\0') != std::string::npos) {
    return names;
  }
  while (const dirent* const entry = readdir(folder.get())) {
    const auto* const name = static_cast<const char*>(entry->d_name);
    const bool isPlain = entry->d_type == DT_REG;
    const bool mayBePlain = entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN;
    if (isPlain || (mayBePlain && IsRegularFile(prefix + name))) {
      names.emplace_back(name);
    }
  }
  return names;
}

#endif

}  // namespace

std::string PathHelper::GetFileDirectory(std::string path) {
  std::size_t end = NameStart(path);
  if (end > 1 && !IsDrive(path, end)) {
    --end;  // without the separator, which belongs to the directory only where there is nothing else, as in
            // "/"
  }
  return path.substr(0, end);
}

std::string PathHelper::GetFileTitle2(std::string path) {
  const std::size_t start = NameStart(path);
  return path.substr(start, ExtensionStart(path, start) - start);
}

std::string PathHelper::GetFileExtension(std::string path) {
  return path.substr(ExtensionStart(path, NameStart(path)));
}

std::string PathHelper::Merge(std::string directory, std::string name) {
  if (!directory.empty() && NameStart(directory) != directory.size()) {
    directory += '/';
  }
  return directory + name;
}

bool PathHelper::IsFileExisted(std::string path) noexcept {
  try {
    return IsRegularFile(path);
  } catch (const std::exception&) {
    return false;
  }
}

bool PathHelper::RemoveFile(std::string path) noexcept {
  try {
    std::error_code error;
    const fs::file_type type = NamesFile(path) ? fs::symlink_status(path, error).type() : fs::file_type::none;
    return (type == fs::file_type::regular || type == fs::file_type::symlink) && fs::remove(path, error);
  } catch (const std::exception&) {
    return false;
  }
}

void PathHelper::CopyFile2(std::string from, std::string to) noexcept {
  try {
    std::error_code error;
    if (!IsRegularFile(from) || (IsRegularFile(to) && fs::equivalent(from, to, error))) {
      return;
    }
    ReplaceFile(to, [&from](const std::string& temporary) {
      std::error_code copyError;
      return fs::copy_file(from, temporary, copyError);
    });
  } catch (const std::exception&) {
    return;  // out of memory: the target is as it was
  }
}

void PathHelper::GetFileNames(std::string directory, std::vector<std::string>& names) noexcept {
  const std::size_t before = names.size();
  try {
    const std::string prefix = Merge(directory, "");
    std::vector<std::string> found = FilesIn(directory, prefix);
    std::sort(found.begin(), found.end());
    names.reserve(before + found.size());
    for (const std::string& name : found) {
      names.push_back(prefix + name);
    }
  } catch (const std::exception&) {
    names.resize(before);
  }
}

}  // namespace qvfd
