// What a project says of itself, as commands take it and tell it.
#pragma once

#include <cstddef>
#include <string>

#include "common/Json.h"
#include "common/Text.h"
#include "qvprj/project/PrjInfo.h"

namespace qvapp {

/// How many bytes of a text a saved project keeps.
inline constexpr std::size_t kNameCapacity = 63;
inline constexpr std::size_t kOperatorCapacity = 63;
inline constexpr std::size_t kDescriptionCapacity = 255;

/// Throws wrong usage, of `option`, when a project would cut `text`, which is the `what`.
void RequireKept(const std::string& option, const std::string& what, const std::string& text,
                 std::size_t capacity);

[[nodiscard]] Json RecordJson(const qvprj::PrjInfo& record);

/// Adds a row for each value of the record to a table of two columns.
void AddRecordRows(const qvprj::PrjInfo& record, Table& table);

}  // namespace qvapp
