// How much memory this program has taken: what operator new gave, and what the SQL engine holds.
#pragma once

#include <cstddef>

namespace bench {

/// Bytes in use now.
std::size_t MemoryInUse();

/// The most that was in use since `ForgetPeak`.
std::size_t PeakMemory();

void ForgetPeak();

}  // namespace bench
