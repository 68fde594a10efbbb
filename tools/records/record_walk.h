// SPDX-License-Identifier: GPL-3.0-or-later
// Going over the records of a data file in the order of a key, without the access layer: an
// operator's tool says what is wrong where a program would end.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "runtime/isam/isam.h"
#include "runtime/platform/record_file.h"
#include "tools/records/data_target.h"
#include "tools/records/record_text.h"

namespace marigold {

// A keyed file that is closed at the end of the object's life.
class OpenKeyedFile {
 public:
  OpenKeyedFile() = default;
  ~OpenKeyedFile() { close(); }
  OpenKeyedFile(OpenKeyedFile&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  OpenKeyedFile& operator=(OpenKeyedFile&&) = delete;

  // Results: 0, or the engine's or the system's error number.
  int open(const std::string& base, int mode);
  int build(const FileDefinition& file, const std::string& base);
  // A pair that is to take the place of `like`; see isbuild_like.
  int build_like(const FileDefinition& file, const std::string& base, const std::string& like);
  int close();
  int info(IsamInfo& info) const;
  [[nodiscard]] int number() const { return number_; }
  [[nodiscard]] bool is_open() const { return number_ >= 0; }

 private:
  int number_ = -1;
};

// How many records of a keyed file are live: the others are placeholders, which a program that was
// killed has left behind its lock. 0, or the engine's number.
int count_records(int number, const IsamInfo& info, std::int64_t& records);

// What is the matter with a keyed file that has just been made again, as a line that names it; ""
// for nothing. It was made from what it says of itself, whether its definition is that or not.
std::string misfit_of(const DataTarget& target);

// A random file that is closed at the end of the object's life; see random_file.h.
class OpenNumberedFile {
 public:
  OpenNumberedFile() = default;
  ~OpenNumberedFile();
  OpenNumberedFile(const OpenNumberedFile&) = delete;
  OpenNumberedFile& operator=(const OpenNumberedFile&) = delete;

  // Opens what is there, to read it or exclusively to write it. 0, kIsFileLocked when another
  // process has it in use in a way that excludes this one, or the system's error number. The
  // target outlives the object.
  int open(const DataTarget& target, bool exclusive);
  [[nodiscard]] RecordFile& bytes() const;

 private:
  std::optional<DataFile> file_;
};

// The marker of a record that is there; see isam_access.h and random_file.h.
inline constexpr char kLiveMarker = 0;

// Which records, and in which order.
struct WalkRange {
  int key = 1;       // of a keyed file
  std::string from;  // values of the first segments of the key, or the number, as in a CSV line;
  std::string to;    // empty: no limit. The last ones have these values
};

class RecordWalk {
 public:
  virtual ~RecordWalk() = default;
  enum class Outcome { kRecord, kEnd, kFailed };
  // Puts the next live record into the buffer of the file's record length. For a failure the reason
  // without the file's name.
  virtual Outcome next(char* record, std::string& reason) = 0;
};

// Opens the file for reading, by whoever else it is used. Null with the problem; the arguments
// outlive the result.
std::unique_ptr<RecordWalk> walk_records(DataTarget& target, RecordText& text,
                                         const WalkRange& range, std::string& problem);

}  // namespace marigold
