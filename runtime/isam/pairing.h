// Whether the two files of a pair belong together, and whether what the index says still holds.
//
// Each file may be restored from a backup without the other, copied while programs change both, or
// lose what was not synced. So both carry a stamp, a new one whenever the pair is put in use and
// whenever it is closed. The data file's is the one that decides, and it is on the disk before
// anything is changed, and again when everything else is. An index with another stamp belongs to
// another state of the data, and is made anew from them.
#pragma once

#include "runtime/isam/file.h"

namespace marigold::isam {

enum class Fit {
  kClean,    // as it was closed
  kInUse,    // as the last change left it, which may have been interrupted
  kRebuild,  // the index says nothing of these data
  kCopied,   // the data file is a copy made while records were changed: of no moment at all
};

struct Judgement {
  Fit fit = Fit::kClean;
  const char* reason = "";  // of the last two
};

// Of a pair whose headers have been read, and that nobody else is putting in use or closing.
Judgement judge_pair(const File& file);

// Whether the index is that with which the data were closed. What it says then has a check.
bool is_clean_pair(const File& file);

// Puts the pair in use before its first change, in this state, and syncs that. Held by the register
// lock, or exclusively.
int put_in_use(File& file, std::uint32_t state);

// Closes a pair that nobody else has open and whose data are on the disk.
int stamp_clean(File& file);

inline DataMark& data_mark(const File& file) {
  return *reinterpret_cast<DataMark*>(file.data.memory() + kDataMark);
}

}  // namespace marigold::isam
