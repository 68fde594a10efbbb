#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <vector>

#include "runtime/data/file_swap.h"
#include "runtime/data/isam_access.h"
#include "runtime/platform/file.h"
#include "tools/data_commands.h"
#include "tools/new_files.h"
#include "tools/progress.h"
#include "tools/record_walk.h"
#include "tools/restore_swap.h"

namespace marigold {
namespace {

struct Checked {
  explicit Checked(const std::string& base) : progress(base) {}

  std::vector<std::string> findings;
  std::int64_t records = 0;
  Progress progress;
};

int open_for_check(OpenKeyedFile& file, const std::string& base) {
  // Whoever may write keeps the others from writing meanwhile.
  const int failed = file.open(base, kIsInputOutput | kIsManualLock);
  if (failed != EACCES && failed != EROFS && failed != EPERM) return failed;
  return file.open(base, kIsInput | kIsReadOnly | kIsManualLock);
}

// 0, or why the file could not be looked at.
int check_keyed(const DataTarget& target, Checked& checked) {
  OpenKeyedFile file;
  IsamInfo info;
  int failed = open_for_check(file, target.base);
  if (failed == 0) failed = file.info(info);
  if (failed == 0) {
    std::string reason;
    const auto watch = [&checked](std::uint64_t done, std::uint64_t all) {
      checked.progress.at(done, all);
    };
    if (ischeck(file.number(), checked.findings, watch) != 0) failed = iserrno;
    if (!check_version(target, reason) || !isam_fits(*target.definition, info, reason))
      checked.findings.push_back(reason);
  }
  if (failed == 0) failed = count_records(file.number(), info, checked.records);
  const bool lacks_index = failed == ENOENT && file_exists((target.base + ".dat").c_str());
  if (failed != kIsBadFile && !lacks_index) return failed;
  checked.findings.push_back(lacks_index
                                 ? "the index file is missing; marigold data rebuild makes it anew"
                                 : data_error(failed));
  return 0;
}

// Things beside the file that somebody should see to.
void look_beside(const DataTarget& target, Checked& checked) {
  for (const std::string& left : abandoned_of(target.base))
    checked.findings.push_back("left by a run that was killed: " + left);
  const auto journal = std::filesystem::path(target.base).replace_filename(kRestoreJournal);
  if (file_exists(journal.c_str()))
    checked.findings.push_back("beside " + journal.string() +
                               " of an interrupted restore; run it again");
  if (FileSwap(target.base, target.definition->type).has_leftovers())
    checked.findings.push_back("left by an interrupted conversion; run it again to finish it");
}

// What a record of a random file has to be: live and at its number's place, deleted, or never
// written.
void check_record(const char* record, std::size_t length, std::int64_t number, Checked& checked) {
  constexpr char kDeleted = 1;
  const std::string name = "record " + std::to_string(number) + ": ";
  const char marker = record[length - 1];
  const std::int32_t stored = isld_int4(record);
  if (marker != kLiveMarker && marker != kDeleted) {
    checked.findings.push_back(name + "its deletion mark is " +
                               std::to_string(static_cast<unsigned char>(marker)));
  } else if (marker == kLiveMarker && stored == number) {
    ++checked.records;
  } else if (marker == kLiveMarker && stored != 0) {
    checked.findings.push_back(name + "its SNR is " + std::to_string(stored));
  }
}

int check_numbered(DataTarget& target, Checked& checked) {
  OpenNumberedFile file;
  if (const int failed = file.open(target, false)) return failed;
  std::string reason;
  if (!check_version(target, reason)) checked.findings.push_back(reason);
  const auto length = static_cast<std::size_t>(target.definition->record_length);
  constexpr std::size_t kAhead = std::size_t{1} << 18;
  std::vector<char> records(length * (kAhead / length + 1));
  std::size_t count = records.size();
  for (std::int64_t number = 1; count == records.size();) {
    const std::uint64_t place = static_cast<std::uint64_t>(number - 1) * length;
    if (const int failed = file.bytes().read(place, records, count)) return failed;
    for (std::size_t at = 0; at + length <= count; at += length) {
      check_record(records.data() + at, length, number++, checked);
      checked.progress.step();
    }
  }
  if (count % length != 0)
    checked.findings.push_back("its end is " + counted(count % length, "byte") +
                               " of a record of " + std::to_string(length));
  return 0;
}

// True without findings.
bool check_file(const DataFileOptions& options, std::string& output, Problems& problems) {
  DataTarget target;
  if (!find_data_file(options, target, problems)) return true;
  Checked checked(target.base);
  const bool keyed = target.definition->type == FileType::kIsam;
  const int failed = keyed ? check_keyed(target, checked) : check_numbered(target, checked);
  checked.progress.hide();
  if (failed != 0) {
    problems.push_back(data_error(target.base, failed));
    return true;
  }
  look_beside(target, checked);
  for (const std::string& finding : checked.findings)
    output += target.base + ": " + finding + "\n";
  if (checked.findings.empty())
    output += target.base + ": " + counted(static_cast<std::size_t>(checked.records), "record") +
              ", no damage\n";
  return checked.findings.empty();
}

}  // namespace

int data_check(const DataCheck& options) {
  if (!options.file.path.empty() && options.files.size() > 1)
    return report_unusable({"marigold: --path is for one file"});
  std::string output;
  Problems problems;
  bool clean = true;
  for (const std::string& name : options.files) {
    DataFileOptions file = options.file;
    file.file = name;
    clean = check_file(file, output, problems) && clean;
  }
  const int status = write_output(output, clean ? kExitClean : kExitFindings);
  return problems.empty() ? status : report_unusable(problems);
}

}  // namespace marigold
