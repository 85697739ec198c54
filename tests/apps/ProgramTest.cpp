// The program as a process: command line, exit codes, and streams that fail.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>

#include "Commands.h"

using namespace apps_test;
using nlohmann::json;
using qvapp::kDone;
using qvapp::kFailed;
using qvapp::kWrongUsage;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr const char* kCommands[] = {"missions", "import",    "info", "check",  "recover", "set",
                                     "crs",      "transform", "copy", "export", "gcp"};

class Program : public testing::Test {
 protected:
  void SetUp() override { MakeFlight(folder_.File("flight.db"), {{"m1", "Early"}}); }

  [[nodiscard]] Outcome Do(const std::string& commandLine) const { return Shell(folder_, commandLine); }

  support::TempFolder folder_;
};

/// A terminal that nobody looks at but the test.
class Terminal {
 public:
  Terminal() : controller_(posix_openpt(O_RDWR | O_NOCTTY)) {
    EXPECT_EQ(grantpt(controller_), 0);
    EXPECT_EQ(unlockpt(controller_), 0);
    // Held open, so that what was written stays readable when the program ends.
    held_ = open(Path().c_str(), O_RDWR | O_NOCTTY);
    EXPECT_GE(held_, 0);
  }
  ~Terminal() {
    close(held_);
    close(controller_);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  [[nodiscard]] std::string Path() const { return ptsname(controller_); }

  [[nodiscard]] std::string Seen() const {
    // What was written arrives a little later, and in pieces.
    constexpr int kQuiet = 500;  // milliseconds
    std::string text;
    pollfd arriving{controller_, POLLIN, 0};
    while (poll(&arriving, 1, kQuiet) > 0) {
      std::array<char, 4096> piece{};
      const ssize_t count = read(controller_, piece.data(), piece.size());
      if (count <= 0) {
        break;
      }
      text.append(piece.data(), static_cast<std::size_t>(count));
    }
    return text;
  }

 private:
  int controller_;
  int held_ = -1;
};

}  // namespace

TEST_F(Program, HelpsWhoGivesNoArguments) {
  const Outcome outcome = Do("qvprj");
  EXPECT_EQ(outcome.code, kWrongUsage);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.out, Do("qvprj --help").out);
}

TEST_F(Program, DocumentsCommandsAndExitCodes) {
  const Outcome outcome = Do("qvprj --help");
  EXPECT_THAT(outcome, Succeeds());
  for (const char* command : kCommands) {
    EXPECT_THAT(outcome.out, HasSubstr(std::string("\n  ") + command + " "));
  }
  EXPECT_THAT(outcome.out, HasSubstr("Exit codes:\n  0  done\n  1  the work failed"));
  EXPECT_THAT(outcome.out, HasSubstr("\n  2  wrong usage\n"));
}

TEST_F(Program, ShowsAnExampleForEachCommand) {
  for (const std::string command : kCommands) {
    const Outcome outcome = Do("qvprj " + command + " --help");
    EXPECT_THAT(outcome, Succeeds());
    EXPECT_THAT(outcome.out, HasSubstr("Example:\n  qvprj " + command + " "));
    EXPECT_THAT(outcome.out, HasSubstr("With --json: {"));
  }
  EXPECT_THAT(Do("qvprj crs find --help").out, HasSubstr("Example:\n  qvprj crs find "));
}

TEST_F(Program, TellsItsVersion) {
  const Outcome outcome = Do("qvprj --version");
  EXPECT_THAT(outcome, Succeeds());
  EXPECT_EQ(outcome.out, "qvprj " QVPRJ_PROGRAM_VERSION "\n");
}

TEST_F(Program, RefusesAWrongCommandLineInOneLine) {
  const std::pair<const char*, const char*> cases[] = {
      {"qvprj frobnicate", "qvprj: "},
      {"qvprj --", "qvprj: no command is given"},
      {"qvprj missions", "qvprj missions: FLIGHT.db is required"},
      {"qvprj missions a.db b.db", "qvprj missions: "},
      {"qvprj missions --frobnicate flight.db", "qvprj missions: "},
      {"qvprj missions flight.db info", "qvprj missions: "},
      {"qvprj import flight.db --out a.db", "qvprj import: --mission is required"},
      {"qvprj import flight.db --mission m1", "qvprj import: --out is required"},
      {"qvprj import flight.db --mission m1 --out", "qvprj import: --out"},
      {"qvprj import flight.db --mission m1 --out a.db --out b.db", "qvprj import: --out"},
      {"qvprj import flight.db --mission m1 --out ''", "'': is no file name"},
      {"qvprj info", "qvprj info: SURVEY.db is required"},
      {"qvprj import flight.db --mission m1 --out a.db --crs x", "--crs: 'x' is no code"},
      {"qvprj copy a.db", "qvprj copy: B.db is required"},
      {"qvprj set", "qvprj set: SURVEY.db is required"},
      {"qvprj set flight.db", "qvprj set: nothing is to be set"},
      {"qvprj set flight.db --name", "qvprj set: --name"},
      {"qvprj crs", "qvprj crs: "},
      {"qvprj crs frobnicate", "qvprj crs: "},
      {"qvprj crs find", "qvprj crs find: needs either a TEXT or --near"},
      {"qvprj crs find utm --near a.db", "qvprj crs find: needs either a TEXT or --near"},
      {"qvprj crs find --frobnicate", "qvprj crs find: "},
      {"qvprj transform --to-local", "qvprj transform: SURVEY.db is required"},
      {"qvprj transform flight.db", "qvprj transform: needs one of --to-local and --from-local"},
  };
  for (const auto& [commandLine, start] : cases) {
    const Outcome outcome = Do(commandLine);
    EXPECT_EQ(outcome.code, kWrongUsage) << commandLine;
    EXPECT_EQ(outcome.out, "") << commandLine;
    EXPECT_THAT(outcome.err, IsOneLine()) << commandLine;
    EXPECT_THAT(outcome.err, StartsWith(start)) << commandLine;
  }
  EXPECT_THAT(folder_.Names(), testing::ElementsAre("flight.db"));
}

TEST_F(Program, TakesAFileThatIsNamedLikeACommand) {
  std::filesystem::copy_file(folder_.File("flight.db"), folder_.File("info"));
  EXPECT_THAT(Do("qvprj missions info"), Succeeds());
}

TEST_F(Program, TakesWordsThatAreNamedLikeCommands) {
  EXPECT_EQ(json::parse(Do("qvprj crs find copy find --json").out)["query"], "copy find");
}

TEST_F(Program, ReadsPointsFromStandardInput) {
  MakeProjectAt(folder_.File("survey.db"), 32632, {});
  const Outcome whole = Do("printf '9 0\\n9 0' | qvprj transform survey.db --to-local");
  EXPECT_THAT(whole, Succeeds());
  EXPECT_EQ(whole.out, "500000 0\n500000 0\n");
  const Outcome none = Do("qvprj transform survey.db --to-local </dev/null");
  EXPECT_THAT(none, Succeeds());
  EXPECT_EQ(none.out, "");
  EXPECT_THAT(Do("qvprj transform survey.db --to-local <."),
              FailsWith(kFailed, "standard input", "cannot be read; "));
}

TEST_F(Program, GoesAllTheWay) {
  EXPECT_EQ(json::parse(Do("qvprj missions flight.db --json").out)["missions"].size(), 1U);
  EXPECT_THAT(Do("qvprj import flight.db --mission latest --out survey.db --operator \xC3\xBC"), Succeeds());
  EXPECT_THAT(Do("qvprj set survey.db --crs EPSG:32632 --name '' --description 'it is'"), Succeeds());
  EXPECT_THAT(Do("qvprj copy survey.db copy.db"), Succeeds());
  const Outcome info = Do("qvprj info copy.db --json");
  EXPECT_THAT(info, Succeeds());
  EXPECT_EQ(json::parse(info.out)["images"], 2);
  EXPECT_EQ(json::parse(info.out)["project"]["operator"], "\xC3\xBC");
  EXPECT_EQ(json::parse(info.out)["project"]["coordinate_id"], 32632);
  EXPECT_EQ(json::parse(info.out)["project"]["name"], "");
  EXPECT_EQ(json::parse(info.out)["project"]["description"], "it is");
  EXPECT_EQ(json::parse(Do("qvprj crs find --near copy.db --json").out)["systems"][0]["id"], 32632);
  EXPECT_THAT(Do("qvprj transform copy.db --to-local --images").out, StartsWith("id,name,x,y,z,"));
  EXPECT_EQ(json::parse(info.out)["files"]["database"]["path"], "copy.db");
}

TEST_F(Program, FailsInOneLine) {
  EXPECT_THAT(Do("qvprj missions missing.db"), FailsWith(kFailed, "missing.db", "no such file; "));
  EXPECT_THAT(Do("qvprj info flight.db"), FailsWith(kFailed, "flight.db", "table data_project is missing"));
  EXPECT_THAT(Do("qvprj import flight.db --mission latest --out flight.db --force"),
              FailsWith(kWrongUsage, "flight.db", "is the file that is read from"));
}

TEST_F(Program, PrintsNamesThatAreNoAsciiInAnyLocale) {
  MakeFlight(folder_.File("wide.db"), {{"m1", "\xE6\xBB\xB4\xE6\xB3\x89"}});
  for (const std::string locale : {"C", "C.UTF-8"}) {
    EXPECT_THAT(Do("LC_ALL=" + locale + "; qvprj missions wide.db").out,
                HasSubstr("\xE6\xBB\xB4\xE6\xB3\x89"))
        << locale;
  }
}

TEST_F(Program, ReportsAnOutputThatCannotBeWritten) {
  if (!std::filesystem::exists("/dev/full")) {
    GTEST_SKIP() << "there is no /dev/full here";
  }
  for (const std::string arguments :
       {"missions flight.db", "missions flight.db --json", "--help", "--version"}) {
    EXPECT_THAT(Do("qvprj " + arguments + " >/dev/full"),
                FailsWith(kFailed, "standard output", "cannot be written: No space left on device"))
        << arguments;
  }
}

TEST_F(Program, ReportsAReaderThatWentAway) {
  const Outcome outcome =
      Do("{ until [ -e gone ]; do sleep 0.01; done; qvprj missions flight.db; echo $? >code; } |"
         " { exec <&-; : >gone; }");
  EXPECT_EQ(outcome.err, "standard output: cannot be written: Broken pipe; the output is incomplete\n");
  EXPECT_EQ(support::ReadBytes(folder_.File("code")), (support::Bytes{'1', '\n'}));
}

TEST_F(Program, ReportsAnOutputThatIsClosed) {
  EXPECT_THAT(Do("qvprj missions flight.db >&-"),
              FailsWith(kFailed, "standard output", "cannot be written: "));
}

TEST_F(Program, ShowsAStatusLineOnATerminalOnly) {
  const Terminal terminal;
  EXPECT_EQ(Do("qvprj missions flight.db 2>" + terminal.Path()).code, kDone);
  EXPECT_THAT(terminal.Seen(), HasSubstr("\rListing the missions of flight.db ...\r"));
  EXPECT_EQ(Do("qvprj missions flight.db").err, "");
}
