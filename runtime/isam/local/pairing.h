// SPDX-License-Identifier: GPL-3.0-or-later
// Judges whether the two files of a pair belong together, and whether the index still holds.
//
// Each file may be restored from a backup without the other, copied while programs change both, or
// lose changes that were not synced. So both carry a stamp, and get a new one whenever the pair is
// put in use and whenever it is closed. The data file's stamp decides; it is made durable before
// the first change, and again after everything else. An index with another stamp belongs to another
// state of the data, and is rebuilt from the data.
#pragma once

#include "runtime/isam/local/file.h"

namespace marigold::inner::isam {

enum class Fit {
  kClean,    // as it was closed
  kInUse,    // as the last change left it, which may have been interrupted
  kRebuild,  // the index does not describe these data
  kCopied,   // the data file was copied during changes: it is of no moment at all
};

struct Judgement {
  Fit fit = Fit::kClean;
  const char* reason = "";  // of the last two
};

// Judges a pair whose headers have been read. No other process is putting it in use or closing it.
Judgement judge_pair(const File& file);

// Whether the index has the stamp with which the data were closed. Its header then has a valid
// checksum.
bool is_clean_pair(const File& file);

// Puts the pair in use, with this state, before its first change, and makes that durable. The
// caller holds the register lock, or has the file exclusively.
int put_in_use(File& file, std::uint32_t state);

// Stamps a pair as clean that no other process has open, and whose data are durable.
int stamp_clean(File& file);

inline DataMark& data_mark(const File& file) {
  return *reinterpret_cast<DataMark*>(file.data.memory() + kDataMark);
}

}  // namespace marigold::inner::isam
