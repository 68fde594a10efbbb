// SPDX-License-Identifier: GPL-3.0-or-later
// Walks the records of a data file in the order of a key, without the access layer: a tool must
// report a fault for which a program would end.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "runtime/isam/common/isam.h"
#include "runtime/platform/record_file.h"
#include "tools/records/data_target.h"
#include "tools/records/record_text.h"

namespace marigold::inner {

// A keyed file, which the destructor closes.
class OpenKeyedFile {
 public:
  OpenKeyedFile() = default;
  ~OpenKeyedFile() { close(); }
  OpenKeyedFile(OpenKeyedFile&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  OpenKeyedFile& operator=(OpenKeyedFile&&) = delete;

  // Results: 0, or the error number of the engine or the system. The base name of a random file of a
  // cluster is DataTarget::table().
  int open(const std::string& base, int mode);
  int build(const FileDefinition& file, const std::string& base);
  // Builds a pair that will replace `like`; see isbuild_like.
  int build_like(const FileDefinition& file, const std::string& base, const std::string& like);
  int close();
  // Ends the use of a pair that is exclusively open, if it is, and keeps its locks until it is
  // closed. Comes before another pair takes its place, so a failure does no harm.
  void retire();
  int info(IsamInfo& info) const;
  [[nodiscard]] int number() const { return number_; }
  [[nodiscard]] bool is_open() const { return number_ >= 0; }

 private:
  int number_ = -1;
};

// Whether an open file is as it is defined; a random file of a cluster as well.
bool fits_definition(const DataTarget& target, int number, std::string& reason);

// Counts the live records of a keyed file. The others are placeholders that a killed program has
// left for its locks. Returns 0, or the engine's error number.
int count_records(int number, int record_length, std::int64_t& records);

// Returns a line that names a keyed file and its difference from its definition; "" without one.
// For a file that was just rebuilt: the rebuild uses the file's own description.
std::string misfit_of(const DataTarget& target);

// A random file of a directory, which the destructor closes; see random_file.h.
class OpenNumberedFile {
 public:
  OpenNumberedFile() = default;
  ~OpenNumberedFile();
  OpenNumberedFile(const OpenNumberedFile&) = delete;
  OpenNumberedFile& operator=(const OpenNumberedFile&) = delete;

  // Opens an existing file, for reading, or exclusively for writing. Returns 0, kIsFileLocked when
  // another process's use excludes this one, or the system's error number. The target outlives this
  // object.
  int open(const DataTarget& target, bool exclusive);
  [[nodiscard]] RecordFile& bytes() const;

 private:
  std::optional<DataFile> file_;
};

// Deletion marker of a live record; see isam_access.h and random_file.h.
inline constexpr char kLiveMarker = 0;

// The records of a walk and their order.
struct WalkRange {
  int key = 1;       // of a keyed file
  std::string from;  // values of the first segments of the key, or the number, as in a CSV line;
  std::string to;    // empty: no limit. The last ones have these values
};

class RecordWalk {
 public:
  virtual ~RecordWalk() = default;
  enum class Outcome { kRecord, kEnd, kFailed };
  // Puts the next live record into the buffer, which has the file's record length. Gives the reason
  // of a failure, without the file's name.
  virtual Outcome next(char* record, std::string& reason) = 0;
};

// Opens the file for reading, also while other processes use it. Returns null and the problem on a
// failure; the arguments outlive the result.
std::unique_ptr<RecordWalk> walk_records(DataTarget& target, RecordText& text,
                                         const WalkRange& range, std::string& problem);

}  // namespace marigold::inner
