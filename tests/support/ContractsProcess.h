// Work in a process of its own: for what may block or crash, and for what an ordinary user may not do.
#pragma once

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <optional>

namespace support {

/// Runs `work` in a child process and returns its result; none when the child crashed, or was still at work
/// after half a minute. Expectations inside `work` are lost: it answers with its result alone.
inline std::optional<bool> InChild(const std::function<bool()>& work) {
  constexpr unsigned kSecondsAllowed = 30;
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    alarm(kSecondsAllowed);
    _exit(work() ? 0 : 1);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) > 1) {
    return std::nullopt;
  }
  return WEXITSTATUS(status) == 0;
}

/// As `InChild`, without the rights of the superuser: file permissions do not stop that one.
inline std::optional<bool> AsOrdinaryUser(const std::function<bool()>& work) {
  return InChild([&work] {
    constexpr unsigned kNobody = 65534;
    if (geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
      _exit(99);
    }
    return work();
  });
}

/// As `InChild`; no file can grow past `bytes`, as if the disk were full then.
inline std::optional<bool> OnFullDisk(rlim_t bytes, const std::function<bool()>& work) {
  return InChild([bytes, &work] {
    const rlimit limit{bytes, bytes};
    std::signal(SIGXFSZ, SIG_IGN);
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) {
      _exit(99);
    }
    return work();
  });
}

/// Takes the right to write away from a folder and all that is in it, while the object lives.
class ReadOnlyFolder {
 public:
  explicit ReadOnlyFolder(std::filesystem::path folder) : folder_(std::move(folder)) { Allow(0444, 0555); }
  ~ReadOnlyFolder() { Allow(0644, 0755); }
  ReadOnlyFolder(const ReadOnlyFolder&) = delete;
  ReadOnlyFolder& operator=(const ReadOnlyFolder&) = delete;

 private:
  void Allow(mode_t fileMode, mode_t folderMode) {
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
      if (entry.is_regular_file()) {
        chmod(entry.path().c_str(), fileMode);
      }
    }
    chmod(folder_.c_str(), folderMode);
  }

  std::filesystem::path folder_;
};

}  // namespace support
