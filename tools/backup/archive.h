// SPDX-License-Identifier: GPL-3.0-or-later
// A backup in one file: a tar archive compressed by zstd, through libarchive. The manifest comes
// first, so that a reader knows all sizes before the files.
#pragma once

#include <string>

#include "tools/backup/tree.h"

namespace marigold::inner {

// Writes the finished tree under a temporary name and installs the archive when it is whole.
// Returns false and the reason on a failure.
bool write_archive(const BackupTree& tree, const BackupManifest& manifest, const std::string& path,
                   std::string& reason);

}  // namespace marigold::inner
