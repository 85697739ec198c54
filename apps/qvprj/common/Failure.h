// How a command fails: one line for the person who reads it, one exit code for the script that called.
#pragma once

#include <exception>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>

namespace qvapp {

inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;
inline constexpr int kWrongUsage = 2;
inline constexpr int kNoProject = 3;  ///< of commands that judge a project: there is none to judge

/// What went wrong with `subject` (a file, or an option) and what to do about it. Commands throw it; it ends
/// as the one line "subject: problem; remedy".
class Failure : public std::exception {
 public:
  Failure(std::string_view subject, std::string_view problem, std::string_view remedy,
          int exitCode = kFailed);

  /// The same failure with another exit code.
  [[nodiscard]] Failure With(int exitCode) const;

  /// The whole line, without control characters and without a line end.
  [[nodiscard]] const char* what() const noexcept override { return line_.c_str(); }

  [[nodiscard]] int ExitCode() const { return exitCode_; }

 private:
  std::string line_;
  int exitCode_;
};

/// Runs `work` and returns its exit code. Whatever it throws becomes one line on `err` and an exit code:
/// nothing leaves this function.
int Reported(std::ostream& err, const std::function<int()>& work) noexcept;

}  // namespace qvapp
