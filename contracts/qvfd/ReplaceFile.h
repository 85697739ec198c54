// Writing a file so that nobody ever sees half of it. Private: not installed.
#pragma once

#include <functional>
#include <string>

namespace qvfd {

/// Lets `write` make the new file at a temporary path beside `target` and renames it over `target`. False,
/// `target` as it was and no temporary file left, when `write` returns false or throws, when the rename
/// fails, or when `target` names something that is no file. What `write` throws is passed on.
bool ReplaceFile(const std::string& target, const std::function<bool(const std::string& temporary)>& write);

}  // namespace qvfd
