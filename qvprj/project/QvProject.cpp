// The project object itself: construction, copying, clearing.

#include "qvprj/project/QvProject.h"

#include <algorithm>

#include "detail/FixedText.h"

namespace qvprj {

QvProject::QvProject() = default;
QvProject::QvProject(const QvProject& other) = default;
QvProject::QvProject(QvProject&& other) noexcept = default;
QvProject& QvProject::operator=(const QvProject& other) = default;
QvProject& QvProject::operator=(QvProject&& other) noexcept = default;
QvProject::~QvProject() = default;

void QvProject::Clear() {
  cameras_.Clear();
  images_.Clear();
  prjInfo_ = PrjInfo();
}

void QvProject::CopyTo(QvProject& target) {
  target = *this;
}

void QvProject::string2char(char* dst, int capacity, std::string text) {
  qvdetail::CopyText(dst, static_cast<std::size_t>(std::max(capacity, 0)), text);
}

}  // namespace qvprj
