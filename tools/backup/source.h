// SPDX-License-Identifier: GPL-3.0-or-later
// Reads a backup from a directory or an archive. A backup comes from outside: the reader takes only
// files that its manifest names, and no more bytes than the manifest states.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "tools/backup/manifest.h"
#include "tools/common/report.h"

namespace marigold::inner {

// Takes the bytes of a backup's files. A function that returns false gives the reason and ends the
// reading.
class PartSink {
 public:
  virtual ~PartSink() = default;
  // `path` is the file whose owner and permissions count; "" without one, in an archive.
  virtual bool begin(const BackupPart& part, const std::string& path, std::string& reason) = 0;
  virtual bool write(std::string_view bytes, std::string& reason) = 0;
  // Called after the last byte of a file, when all bytes match the manifest.
  virtual bool finish(std::string& reason) = 0;
};

class BackupSource {
 public:
  virtual ~BackupSource() = default;
  [[nodiscard]] const BackupManifest& manifest() const { return manifest_; }
  // Passes all files to the sink, each compared with the manifest. Returns false and the problems:
  // every missing or additional file, every wrong size or checksum; or the reason of the sink.
  virtual bool read(PartSink& sink, Problems& problems) = 0;

 protected:
  BackupManifest manifest_;
};

// Returns null and the problem if there is no backup or its manifest is damaged.
std::unique_ptr<BackupSource> open_backup(const std::string& path, std::string& problem);

}  // namespace marigold::inner
