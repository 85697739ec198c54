// A PostgreSQL server with PostGIS for one test.
#include "PostgresServer.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <system_error>
#include <thread>
#include <vector>

#include "Surveys.h"

namespace fs = std::filesystem;

namespace gis_test {
namespace {

constexpr const char* kInstalled = "/usr/lib/postgresql";
constexpr const char* kExtensions = "/usr/share/postgresql";

/// The newest version of the server that is installed, with PostGIS; empty without.
std::string Version() {
  std::error_code error;
  std::vector<std::string> versions;
  for (const auto& entry : fs::directory_iterator(kInstalled, error)) {
    const std::string version = entry.path().filename().string();
    if (fs::exists(entry.path() / "bin/postgres", error) &&
        fs::exists(fs::path(kExtensions) / version / "extension/postgis.control", error)) {
      versions.push_back(version);
    }
  }
  return versions.empty() ? "" : *std::max_element(versions.begin(), versions.end());
}

std::string Program(const std::string& name) {
  return std::string(kInstalled) + "/" + Version() + "/bin/" + name;
}

/// Starts a program that refuses the superuser as the user "postgres", its output in a file.
pid_t Start(const std::vector<std::string>& words, const std::string& log) {
  std::vector<char*> arguments;
  for (const std::string& word : words) {
    arguments.push_back(const_cast<char*>(word.c_str()));
  }
  arguments.push_back(nullptr);
  const passwd* const user = geteuid() == 0 ? getpwnam("postgres") : nullptr;
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child != 0) {
    return child;
  }
  const int file = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
  dup2(file, STDOUT_FILENO);
  dup2(file, STDERR_FILENO);
  if (user != nullptr &&
      (setgroups(0, nullptr) != 0 || setgid(user->pw_gid) != 0 || setuid(user->pw_uid) != 0)) {
    _exit(98);
  }
  // SIGINT makes the server end at once, its clients or not.
  prctl(PR_SET_PDEATHSIG, SIGINT);
  if (getppid() != parent) {
    _exit(97);
  }
  execv(arguments[0], arguments.data());
  _exit(99);
}

bool Succeeds(pid_t child) {
  int status = 0;
  return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

std::optional<std::string> PostgresServer::WhyNot() {
  if (Version().empty()) {
    return "PostgreSQL and PostGIS are not installed: skipped what needs a server";
  }
  if (geteuid() == 0 && getpwnam("postgres") == nullptr) {
    return "there is no user 'postgres', and the server refuses the superuser: skipped what needs a server";
  }
  return std::nullopt;
}

PostgresServer::PostgresServer() {
  const std::string log = folder_.File("log");
  if (geteuid() == 0) {
    const passwd* const user = getpwnam("postgres");
    EXPECT_EQ(chown(folder_.Path().c_str(), user->pw_uid, user->pw_gid), 0);
  }
  EXPECT_TRUE(Succeeds(Start({Program("initdb"), "-D", folder_.File("data"), "-A", "trust", "-U", "postgres",
                              "-E", "UTF8", "--no-locale", "--no-sync"},
                             log)))
      << TextOfFile(log);
  server_ = Start({Program("postgres"), "-D", folder_.File("data"), "-k", folder_.Path().string(), "-c",
                   "listen_addresses=", "-c", "fsync=off"},
                  log);
  constexpr auto kPatience = std::chrono::seconds(60);
  const auto start = std::chrono::steady_clock::now();
  while (Sql("SELECT 1") != "1\n") {
    if (std::chrono::steady_clock::now() - start > kPatience) {
      ADD_FAILURE() << "the server does not start: " << TextOfFile(log);
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  static_cast<void>(Sql("CREATE DATABASE surveys"));
  runs_ = true;
  EXPECT_EQ(Sql("CREATE EXTENSION postgis"), "CREATE EXTENSION\n");
}

PostgresServer::~PostgresServer() {
  if (server_ > 0) {
    kill(server_, SIGINT);
    waitpid(server_, nullptr, 0);
  }
}

std::string PostgresServer::Connection() const {
  return "PG:host=" + folder_.Path().string() + " user=postgres dbname=surveys";
}

std::string PostgresServer::Sql(const std::string& statements) const {
  std::string quoted = "'";
  for (const char c : statements) {
    quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  quoted += "'";
  return OutputOf(Program("psql") + " -X -At -h " + folder_.Path().string() + " -U postgres -d " +
                  (runs_ ? "surveys" : "postgres") + " -c " + quoted + " 2>/dev/null");
}

}  // namespace gis_test
