// The program around its subcommands.
#include "common/Program.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>
#include <system_error>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

#include "common/Failure.h"

namespace qvapp {
namespace {

constexpr const char* kFooter =
    "Exit codes:\n"
    "  0  done\n"
    "  1  the work failed: one line on standard error tells the file, what is wrong and what to do\n"
    "  2  wrong usage\n"
    "  3  check: there is no project; recover: nothing can be recovered\n"
    "\n"
    "Example:\n"
    "  qvprj missions flight.db\n"
    "  qvprj import flight.db --mission latest --out survey.db\n"
    "  qvprj crs find --near survey.db\n"
    "  qvprj set survey.db --crs EPSG:32650\n"
    "  qvprj info survey.db\n"
    "  qvprj check survey.db\n"
    "  qvprj recover damaged.db --out recovered.db\n"
    "  qvprj export survey.db --to colmap sparse";

void Describe(CLI::App& program, const std::vector<AddCommand>& commands, Action& action) {
  program.name("qvprj");
  program.description("Keeps drone photogrammetry projects: from the flight database to the saved survey.");
  program.footer(kFooter);
  program.set_version_flag("--version", "qvprj " QVPRJ_PROGRAM_VERSION);
  program.require_subcommand(0, 1);  // none is reported below, in words that tell it from an unknown one
  for (const AddCommand add : commands) {
    add(program, action);
  }
}

/// "qvprj", or "qvprj import" or "qvprj crs find" when the command line got that far.
std::string NameSoFar(const CLI::App& program) {
  std::string name = program.get_name();
  for (const CLI::App* command : program.get_subcommands()) {
    name += " " + NameSoFar(*command);
  }
  return name;
}

Failure WrongUsage(const CLI::App& program, const CLI::ParseError& error) {
  std::string problem = error.what();
  std::replace(problem.begin(), problem.end(), '\n', ' ');
  const std::string name = NameSoFar(program);
  return {name, problem, "see '" + name + " --help'", kWrongUsage};
}

int ParseAndRun(int argc, const char* const* argv, const std::vector<AddCommand>& commands,
                Console& console) {
  CLI::App program;
  Action action;
  Describe(program, commands, action);
  if (argc <= 1) {
    console.out << program.help();
    return kWrongUsage;
  }
  try {
    program.parse(argc, argv);
  } catch (const CLI::Success& asked) {  // --help, --version
    program.exit(asked, console.out, console.err);
    return kDone;
  } catch (const CLI::ParseError& error) {
    throw WrongUsage(program, error);
  }
  if (!action) {
    throw Failure("qvprj", "no command is given", "see 'qvprj --help'", kWrongUsage);
  }
  return action(console);
}

/// Writes the results in one go, so that the reason of a failure is still known when it is reported.
void WriteStandardOutput(const std::string& text) {
  errno = 0;
  const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  if (!written || std::fflush(stdout) != 0) {
    const int reason = errno;
    throw Failure("standard output",
                  "cannot be written: " +
                      (reason != 0 ? std::generic_category().message(reason) : std::string("unknown reason")),
                  "the output is incomplete");
  }
}

/// Turns a reader that went away, or a limit on file sizes, from a sudden death into an error that is
/// reported.
void KeepWriteErrors() {
#ifndef _WIN32
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
#endif
}

bool ErrorsGoToTerminal() {
#ifdef _WIN32
  return _isatty(_fileno(stderr)) != 0;
#else
  return isatty(STDERR_FILENO) != 0;
#endif
}

}  // namespace

int RunProgram(int argc, const char* const* argv, const std::vector<AddCommand>& commands, Console& console) {
  return Reported(console.err, [&] { return ParseAndRun(argc, argv, commands, console); });
}

int RunProcess(int argc, const char* const* argv, const std::vector<AddCommand>& commands) {
  return Reported(std::cerr, [&] {
    KeepWriteErrors();
    std::ios::sync_with_stdio(false);  // nothing else reads standard input, and in step it would be slow
    std::ostringstream results;
    Console console{std::cin, results, std::cerr, ErrorsGoToTerminal()};
    const int exitCode = RunProgram(argc, argv, commands, console);
    WriteStandardOutput(results.str());
    return exitCode;
  });
}

}  // namespace qvapp
