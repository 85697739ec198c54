// The program around its subcommands: command line, help, exit codes, and the streams at its ends.
#pragma once

#include <functional>
#include <vector>

#include "common/Console.h"

namespace CLI {
class App;
}

namespace qvapp {

/// What a command line asks for.
using Action = std::function<int(Console&)>;

/// Adds one subcommand to the program. When the command line names it, parsing sets `action`.
using AddCommand = void (*)(CLI::App& program, Action& action);

/// Parses the command line and does what it asks for; returns the exit code. Results are on `console.out`
/// when it returns, failures and wrong usage are one line on `console.err`. Throws nothing.
int RunProgram(int argc, const char* const* argv, const std::vector<AddCommand>& commands, Console& console);

/// `RunProgram` on the streams of the process. A standard output that cannot be written is a failure too.
int RunProcess(int argc, const char* const* argv, const std::vector<AddCommand>& commands);

}  // namespace qvapp
