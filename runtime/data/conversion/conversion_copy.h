// Copying the records of a data file into a new one, each by the way of all definitions between.
//
// Errors are numbers of the engine (from 100) or of the system; error_number_text has them for
// people.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "runtime/data/conversion/record_mapping.h"
#include "runtime/data/definition/definition.h"
#include "runtime/platform/record_file.h"

namespace marigold {

std::string error_number_text(int number);

// An old file, opened for this process alone until it is closed: nobody can write what would not be
// copied. Its records come in the order of the primary key, or of their numbers.
class OldFile {
 public:
  OldFile() = default;
  OldFile(const OldFile&) = delete;
  OldFile& operator=(const OldFile&) = delete;
  ~OldFile() { close(); }

  // 0, or an error; 113 when another process has it open. A file whose records or keys are not
  // those of the definition (it outlives the object) is error 105, with the reason.
  int open(const FileDefinition& definition, const std::string& base, std::string& reason);
  void close();

  // The number of records, placeholders and deleted ones included.
  [[nodiscard]] std::uint64_t count() const { return count_; }

  // The next record, live or not: 0, 110 at the end, or an error.
  int next(std::vector<char>& record, bool& live);

 private:
  int open_keyed(const std::string& base, std::string& reason);
  int open_numbered(const std::string& path, std::string& reason);

  const FileDefinition* definition_ = nullptr;
  int descriptor_ = -1;
  RecordFile bytes_;
  std::uint64_t count_ = 0;
  std::uint64_t passed_ = 0;
};

// A new file without a name yet that programs know. Closing brings it to the disk; what is not
// closed is of no use.
class NewFile {
 public:
  NewFile() = default;
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();

  // Makes the file, which must not be there, with the access rights of the old one.
  int create(const FileDefinition& definition, const std::string& base,
             const std::string& old_base);
  // Of a numbered file each place in turn, deleted ones too; of a keyed file the live records. 100
  // when another record has its primary key.
  int write(const std::vector<char>& record);
  int write_deleted();
  // Adds the other keys, and waits for the disk.
  int close();

 private:
  int close_keyed();
  int flush();

  const FileDefinition* definition_ = nullptr;
  std::string base_;
  int descriptor_ = -1;
  RecordFile bytes_;
  std::vector<char> block_;  // of a numbered file, not written yet
  std::uint64_t written_ = 0;
};

struct CopyResult {
  std::uint64_t records = 0;
  std::uint64_t cut = 0;                  // records of which a text was cut
  std::uint64_t misfits = 0;              // records that could not be converted
  std::vector<std::string> misfit_texts;  // of the first of them
};

// Told how many records have been passed; false stops the copy (error 4, interrupted).
using CopyWatch = std::function<bool(std::uint64_t passed)>;

// Copies all live records through the mappings, at least one. 0 also when some did not fit: then
// the others have been copied only to find all that do not, and the new file is of no use.
int copy_records(OldFile& from, NewFile& to, std::span<const RecordMapping> steps,
                 const CopyWatch& watch, CopyResult& result);

}  // namespace marigold
