// SPDX-License-Identifier: GPL-3.0-or-later
// A backup that is read: a directory, or an archive. It comes from outside: nothing in it is taken
// that its manifest does not name, and no byte more than the manifest says.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "tools/backup/manifest.h"
#include "tools/common/report.h"

namespace marigold {

// Takes the bytes of a backup's files. False with the reason ends the reading.
class PartSink {
 public:
  virtual ~PartSink() = default;
  // `path` is the file with its owner and permissions; "" where there is none, in an archive.
  virtual bool begin(const BackupPart& part, const std::string& path, std::string& reason) = 0;
  virtual bool write(std::string_view bytes, std::string& reason) = 0;
  // All bytes have come, and they are those of the manifest.
  virtual bool finish(std::string& reason) = 0;
};

class BackupSource {
 public:
  virtual ~BackupSource() = default;
  [[nodiscard]] const BackupManifest& manifest() const { return manifest_; }
  // Hands all files to the sink, each compared with the manifest. False with the problems: every
  // file that is missing, additional, or of another size or checksum; or what the sink said.
  virtual bool read(PartSink& sink, Problems& problems) = 0;

 protected:
  BackupManifest manifest_;
};

// Null with the problem: there is no backup, or its manifest is damaged.
std::unique_ptr<BackupSource> open_backup(const std::string& path, std::string& problem);

}  // namespace marigold
