// Results for scripts.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>

namespace qvapp {

/// Keeps keys in the order in which they are written: the order that the help describes.
using Json = nlohmann::ordered_json;

/// Narrow text as JSON text.
[[nodiscard]] Json JsonText(const std::string& text);

/// Null for what is not there.
[[nodiscard]] Json JsonBytes(std::optional<std::uintmax_t> bytes);

/// Prints the document and a line end. Bytes that are no text do not fail: they become U+FFFD.
void PrintJson(std::ostream& out, const Json& document);

}  // namespace qvapp
