// Putting a new pair of files in place of an old one as a whole, whatever happens on the way.
#pragma once

#include <functional>
#include <string>

#include "qvprj/Export.h"

namespace qvprj {

/// Where the two files of a project are.
struct PairFiles {
  std::string database;
  std::string track_file;
};

/// Lets `write` make the files of a new pair at the paths that it is given, both in the folder of `pair`, makes
/// them durable, and puts them in place of `pair`. A new pair may be without a track file. After a crash or a power cut at any instant the old pair is
/// whole, or the new one is: in place, or waiting beside it until `FinishReplacement` is next called.
///
/// False, the old pair as it was and no other file left, when `write` returns false or throws, when a file
/// cannot be written, made durable or put in place, when `pair` names something that is no file, or when
/// another process, or another thread, has been replacing the same pair for longer than ten seconds. What
/// `write` throws is not passed on.
[[nodiscard]] QVPRJ_API bool ReplacePair(const PairFiles& pair,
                                         const std::function<bool(const PairFiles& made)>& write) noexcept;

/// Finishes a replacement of `pair` that was interrupted, if there is one, and tells where its files are: in
/// place, or, where they cannot be put there (read-only media), where they are waiting. Costs one look at the
/// folder when nothing is waiting. A replacement is given up when other files than the old ones have come into
/// its place since. May throw std::bad_alloc.
[[nodiscard]] QVPRJ_API PairFiles FinishReplacement(const PairFiles& pair);

/// Where `FinishReplacement` would leave the files of the pair that holds, for who must not touch anything:
/// those of `pair` itself when nothing is waiting. May throw std::bad_alloc.
[[nodiscard]] QVPRJ_API PairFiles FilesThatHold(const PairFiles& pair);

/// Gives up a replacement of `pair` that was interrupted, if there is one: for who writes or removes the pair
/// by other means. Otherwise the old replacement would come in place of the later work. May throw
/// std::bad_alloc.
QVPRJ_API void DropReplacement(const PairFiles& pair);

}  // namespace qvprj
