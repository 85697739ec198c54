// What every part of this library throws where it cannot do what it is asked for.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace interchange {

/// What is wrong with `subject` (a file, or an option) and what to do about it. Reading a file that is
/// damaged or means nothing, and refusing a conversion that would be wrong, end with it; what was to be made
/// is then as it was.
class Failure : public std::runtime_error {
 public:
  Failure(std::string subject, std::string problem, std::string remedy)
      : std::runtime_error(subject + ": " + problem + "; " + remedy),
        subject_(std::move(subject)),
        problem_(std::move(problem)),
        remedy_(std::move(remedy)) {}

  [[nodiscard]] const std::string& Subject() const { return subject_; }
  [[nodiscard]] const std::string& Problem() const { return problem_; }
  [[nodiscard]] const std::string& Remedy() const { return remedy_; }

 private:
  std::string subject_;
  std::string problem_;
  std::string remedy_;
};

}  // namespace interchange
