// Results for scripts.
#include "common/Json.h"

#include "qvfd/Text.h"

namespace qvapp {

Json JsonText(const std::string& text) {
  return qvfd::StringConverter::ToUTF8(text);
}

Json JsonBytes(std::optional<std::uintmax_t> bytes) {
  return bytes ? Json(*bytes) : Json(nullptr);
}

void PrintJson(std::ostream& out, const Json& document) {
  out << document.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

}  // namespace qvapp
