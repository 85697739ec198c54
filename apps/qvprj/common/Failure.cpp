// How a command fails: the line that it prints.
#include "common/Failure.h"

#include <new>

#include "common/Text.h"

namespace qvapp {
namespace {

int Print(std::ostream& err, const char* line, int exitCode) noexcept {
  try {
    err << line << std::endl;
  } catch (...) {
    // A stream that throws leaves the exit code as the only way to tell.
  }
  return exitCode;
}

}  // namespace

Failure::Failure(std::string_view subject, std::string_view problem, std::string_view remedy, int exitCode)
    : line_(subject.empty() ? "''" : Printable(subject)), exitCode_(exitCode) {
  line_ += ": " + Printable(problem);
  if (!remedy.empty()) {
    line_ += "; " + Printable(remedy);
  }
}

Failure Failure::With(int exitCode) const {
  Failure other(*this);
  other.exitCode_ = exitCode;
  return other;
}

int Reported(std::ostream& err, const std::function<int()>& work) noexcept {
  try {
    return work();
  } catch (const Failure& failure) {
    return Print(err, failure.what(), failure.ExitCode());
  } catch (const std::bad_alloc&) {
    return Print(err, "qvprj: out of memory; close other programs, or work on a machine with more", kFailed);
  } catch (const std::exception& unexpected) {
    try {
      const Failure failure("qvprj", unexpected.what(), "this should not happen: please report it");
      return Print(err, failure.what(), kFailed);
    } catch (...) {
      return Print(err, "qvprj: out of memory; close other programs", kFailed);
    }
  } catch (...) {
    return Print(err, "qvprj: unknown failure; this should not happen: please report it", kFailed);
  }
}

}  // namespace qvapp
