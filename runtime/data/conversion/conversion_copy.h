// SPDX-License-Identifier: GPL-3.0-or-later
// Copies the records of a data file into a new one and converts each through all definitions on the
// way.
//
// Errors are numbers of the engine (from 100) or of the system; error_number_text returns a text
// for the user: for a failure of a server that has just happened, the server's words.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "runtime/data/conversion/new_data_file.h"
#include "runtime/data/conversion/record_mapping.h"
#include "runtime/data/definition/definition.h"
#include "runtime/platform/record_file.h"

namespace marigold::inner {

std::string error_number_text(int number);

// An old file. It is open for this process alone until it is closed, so no other process can change
// records meanwhile. Its records come in the order of the primary key, or of their numbers.
class OldFile {
 public:
  OldFile() = default;
  OldFile(const OldFile&) = delete;
  OldFile& operator=(const OldFile&) = delete;
  ~OldFile() { close(); }

  // Returns 0, or an error; 113 if another process has the file open. A file with other records or
  // keys than the definition's is error 105, with the reason. The definition outlives the object.
  int open(const FileDefinition& definition, const std::string& base, std::string& reason);
  void close();
  // Ends the reading and keeps the file locked until it is closed: another file can then take its
  // place.
  void retire();

  // Returns the number of records, including placeholders and deleted records.
  [[nodiscard]] std::uint64_t count() const { return count_; }

  // Reads the next record, live or not. Returns 0, 110 at the end, or an error.
  int next(std::vector<char>& record, bool& live);

 private:
  int open_keyed(const std::string& base, std::string& reason);
  int open_numbered(const std::string& path, std::string& reason);
  int open_table(const std::string& path, std::string& reason);

  const FileDefinition* definition_ = nullptr;
  int descriptor_ = -1;
  RecordFile bytes_;
  std::uint64_t count_ = 0;
  std::uint64_t passed_ = 0;
};

struct CopyResult {
  std::uint64_t records = 0;
  std::uint64_t cut = 0;                  // records with a text that was cut
  std::uint64_t misfits = 0;              // records that could not be converted
  std::vector<std::string> misfit_texts;  // texts of the first misfits
};

// Called with the number of records passed so far; false stops the copy (error 4, interrupted).
using CopyWatch = std::function<bool(std::uint64_t passed)>;

// Copies all live records through the mappings, at least one. Returns 0 also if some records do not
// fit: the copy then continues only to find all misfits, and the new file has no use.
int copy_records(OldFile& from, NewDataFile& to, std::span<const RecordMapping> steps,
                 const CopyWatch& watch, CopyResult& result);

}  // namespace marigold::inner
