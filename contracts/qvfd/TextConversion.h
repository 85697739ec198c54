// How texts change their encoding. Private: not installed.
#pragma once

#include <string>
#include <string_view>

#include "qvfd/Export.h"

namespace qvfd {

#if !defined(_WIN32)

/// Converts `text` between two encodings, named as iconv names them. Every character that the target cannot
/// represent, and every byte that is not valid in the source, becomes '?'. Unchanged when the system does not
/// know an encoding.
[[nodiscard]] QVFD_API std::string ConvertText(std::string_view text, const char* fromCodeset,
                                               const char* toCodeset);

#endif

}  // namespace qvfd
