// What the SQL engine keeps beside a database file: the names are the file's own and these ends.
#pragma once

#include <array>

namespace qvsql {

/// The journal: the pages as they were before a write that has not ended. Who opens the database undoes the write.
inline constexpr const char* kJournalEnd = "-journal";

/// The write-ahead log: pages that have been written, and are not yet in the database itself.
inline constexpr const char* kLogEnd = "-wal";

/// The index of the log, which is made anew from it.
inline constexpr const char* kLogIndexEnd = "-shm";

/// What a database that was left in the middle of a write is incomplete without: to be copied with it.
inline constexpr std::array kUnfinishedWriteEnds = {kJournalEnd, kLogEnd};

/// What must not stand beside a file that takes the place of a database: the engine would take it for the new one's.
inline constexpr std::array kSideFileEnds = {kJournalEnd, kLogEnd, kLogIndexEnd};

}  // namespace qvsql
