// SPDX-License-Identifier: GPL-3.0-or-later
// A new data file under a name that programs do not use, for converted records. A file that was not
// closed has no use.
//
// Results: 0, or the number of the system or the engine.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "runtime/data/definition/definition.h"

namespace marigold::inner {

class NewDataFile {
 public:
  static std::unique_ptr<NewDataFile> of(const FileDefinition& definition, const std::string& base);
  explicit NewDataFile(const FileDefinition& definition) : definition_(definition) {}
  NewDataFile(const NewDataFile&) = delete;
  NewDataFile& operator=(const NewDataFile&) = delete;
  virtual ~NewDataFile() = default;

  // Makes the file, which must not exist yet, with the access rights of the old one.
  virtual int create(const std::string& base, const std::string& old_base) = 0;
  // Writes a live record, and keeps the old one for a report. A record with the primary key of
  // another one is not written; see on_duplicate.
  virtual int write(const std::vector<char>& record, const std::vector<char>& old) = 0;
  // Keeps the place of a deleted record, in a file whose records have places.
  virtual int write_deleted(const std::vector<char>& old) = 0;
  // Writes what is not written yet.
  virtual int flush() = 0;
  // Adds the other keys, and waits until the file is durable.
  virtual int close() = 0;

  // Called with the old record of each that was not written, at the latest by flush.
  std::function<void(const std::vector<char>& old)> on_duplicate = [](const auto&) {};

 protected:
  const FileDefinition& definition_;
};

// Makes a file of a cluster.
std::unique_ptr<NewDataFile> new_cluster_file(const FileDefinition& definition);

// Adds the other keys to all records at once, which is faster than record by record, and closes the
// keyed file.
int add_keys_and_close(const FileDefinition& definition, int descriptor);

}  // namespace marigold::inner
