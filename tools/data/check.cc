// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "runtime/core/new_files.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/isam_access.h"
#include "runtime/data/conversion/cluster_swap.h"
#include "runtime/isam/common/cluster.h"
#include "runtime/isam/common/cluster_address.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/path.h"
#include "tools/backup/restore_swap.h"
#include "tools/common/json_text.h"
#include "tools/common/progress.h"
#include "tools/data/commands.h"
#include "tools/records/record_walk.h"

namespace marigold::inner {
namespace {

struct Checked {
  Checked(const std::string& base, bool is_quick) : quick(is_quick), progress(base) {}

  bool quick;
  std::vector<const char*> looked_at;
  std::vector<std::string> findings;
  std::int64_t records = 0;
  Progress progress;
};

int open_for_check(OpenKeyedFile& file, const std::string& base, bool quick) {
  // A process that may write keeps others from writing during the check; a quick look does not need
  // that.
  const int failed = quick ? EACCES : file.open(base, kIsInputOutput | kIsManualLock);
  if (failed != EACCES && failed != EROFS && failed != EPERM) return failed;
  return file.open(base, kIsInput | kIsReadOnly | kIsManualLock);
}

// Verifies records and trees.
int walk_keyed(OpenKeyedFile& file, int record_length, Checked& checked) {
  std::vector<std::string> findings;
  const auto watch = [&checked](std::uint64_t done, std::uint64_t all) {
    checked.progress.at(done, all);
  };
  if (ischeck(file.number(), findings, watch) != 0) return iserrno;
  checked.findings.insert(checked.findings.end(), findings.begin(), findings.end());
  checked.looked_at.insert(checked.looked_at.end(), {"records", "indexes"});
  return count_records(file.number(), record_length, checked.records);
}

int look_into_keyed(const DataTarget& target, Checked& checked) {
  OpenKeyedFile file;
  IsamInfo info;
  int failed = open_for_check(file, target.base, checked.quick);
  if (failed == 0) failed = file.info(info);
  if (failed == 0 && isglance(file.number(), checked.findings) != 0) failed = iserrno;
  if (failed != 0) return failed;
  std::string reason;
  if (!check_version(target, reason) || !isam_fits(*target.definition, info, reason))
    checked.findings.push_back(reason);
  if (info.made_anew != std::string_view())
    checked.findings.push_back("its indexes were rebuilt: " + std::string(info.made_anew));
  checked.looked_at = {"headers", "pairing", "sizes", "version", "definition"};
  return checked.quick ? 0 : walk_keyed(file, info.record_length, checked);
}

// Checks a file of a cluster. Whether its parts fit together is the server's concern.
int check_table(const DataTarget& target, Checked& checked) {
  OpenKeyedFile file;
  if (const int failed = file.open(target.table(), kIsInput | kIsReadOnly | kIsManualLock))
    return failed;
  std::string reason;
  if (!check_version(target, reason) || !fits_definition(target, file.number(), reason))
    checked.findings.push_back(reason);
  checked.looked_at = {"version", "definition"};
  return checked.quick ? 0 : walk_keyed(file, target.definition->record_length, checked);
}

// Returns 0, or the number of the reason why the file cannot be checked.
int check_keyed(const DataTarget& target, Checked& checked) {
  std::string unfinished;
  if (!finish_changes(target, unfinished)) checked.findings.push_back(unfinished);
  const int failed = look_into_keyed(target, checked);
  const bool half = failed == ENOENT && (file_exists((target.base + ".dat").c_str()) ||
                                         file_exists((target.base + ".idx").c_str()));
  if (failed != kIsBadFile && !half) return failed;
  checked.findings.push_back(half ? half_pair_text(target) : data_error(failed));
  if (checked.looked_at.empty()) checked.looked_at = {"headers", "pairing"};
  return 0;
}

// Finds what killed runs have left in the schema.
int look_into_schema(const DataTarget& target, Checked& checked) {
  std::vector<std::string> files;
  if (islist(cluster_directory(target.base), files) != 0) return iserrno;
  const auto has = [&](const std::string& base) {
    return std::ranges::binary_search(
        files, cluster_file_name(cluster_table(base, target.definition->type)));
  };
  const std::string incoming = data_path_with(target.base, kIncoming);
  if (has(incoming))
    checked.findings.push_back("left by a copy or a load that was killed, or still runs: " +
                               incoming);
  if (has(FileSwap::of(target.base, target.definition->type)->new_base()))
    checked.findings.push_back(kLeftByConversion);
  checked.looked_at.push_back("left_behind");
  return 0;
}

// Finds files beside the data file that need the operator's attention.
void look_beside(const DataTarget& target, Checked& checked) {
  for (const std::string& left : abandoned_of(target.base))
    checked.findings.push_back("left by a run that was killed: " + left);
  const std::string journal = path_beside(target.base, kRestoreJournal);
  if (file_exists(journal.c_str()))
    checked.findings.push_back("beside " + journal +
                               " of an interrupted restore or copy; run it again");
  if (FileSwap::of(target.base, target.definition->type)->has_leftovers())
    checked.findings.push_back(kLeftByConversion);
  checked.looked_at.push_back("left_behind");
}

// Checks a record of a random file: live with the number of its place, deleted, or never written.
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

int walk_numbered(const OpenNumberedFile& file, std::size_t length, Checked& checked) {
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
  checked.looked_at.push_back("records");
  return 0;
}

int check_numbered(DataTarget& target, Checked& checked) {
  OpenNumberedFile file;
  std::uint64_t bytes = 0;
  int failed = file.open(target, false);
  if (failed == 0) failed = file.bytes().size(bytes);
  if (failed != 0) return failed;
  std::string reason;
  if (!check_version(target, reason)) checked.findings.push_back(reason);
  checked.looked_at = {"sizes", "version"};
  const auto length = static_cast<std::size_t>(target.definition->record_length);
  if (!checked.quick) failed = walk_numbered(file, length, checked);
  if (bytes % length != 0)
    checked.findings.push_back("it ends with " + counted(bytes % length, "byte") +
                               " of a record of " + std::to_string(length));
  return failed;
}

// ---- Output

std::string as_text(const std::string& base, const Checked& checked) {
  std::string text;
  for (const std::string& finding : checked.findings)
    text.append(base).append(": ").append(finding).append("\n");
  if (checked.quick)
    text += base + (checked.findings.empty() ? ": no damage seen, quick look" : ": quick look") +
            " without records and indexes\n";
  else if (checked.findings.empty())
    text += base + ": " + counted(static_cast<std::size_t>(checked.records), "record") +
            ", no damage\n";
  return text;
}

Json as_json(const std::string& base, const Checked& checked) {
  Json object =
      Json::object({{"path", base},
                    {"looked_at", checked.looked_at},
                    {"findings", checked.findings},
                    {"status", int{checked.findings.empty() ? kExitClean : kExitFindings}}});
  const bool counted = std::ranges::count(checked.looked_at, std::string_view("records")) > 0;
  if (counted) object.set("records", checked.records);
  return object;
}

// Results of all files.
struct Outcome {
  bool json = false;
  bool clean = true;
  std::string text;
  Json files = Json::array();
  Problems problems;
};

void note_unusable(const std::string& name, const Problems& problems, Outcome& outcome) {
  outcome.problems.insert(outcome.problems.end(), problems.begin(), problems.end());
  outcome.files.push_back(
      Json::object({{"file", name}, {"problems", problems}, {"status", int{kExitUnusable}}}));
}

// Returns 0, or the number of the reason why the file cannot be checked.
int look_at(DataTarget& target, Checked& checked) {
  int failed = 0;
  if (target.in_cluster()) {
    failed = check_table(target, checked);
    if (failed == 0) failed = look_into_schema(target, checked);
  } else {
    failed = target.is_keyed() ? check_keyed(target, checked) : check_numbered(target, checked);
    if (failed == 0) look_beside(target, checked);
  }
  checked.progress.hide();
  return failed;
}

void check_file(const DataFileOptions& options, bool quick, Outcome& outcome) {
  DataTarget target;
  Problems problems;
  if (!find_data_file(options, target, problems))
    return note_unusable(options.file, problems, outcome);
  Checked checked(target.base, quick);
  if (const int failed = look_at(target, checked))
    return note_unusable(options.file, {data_error(target.base, failed)}, outcome);
  outcome.clean = outcome.clean && checked.findings.empty();
  outcome.text += as_text(target.base, checked);
  Json object = Json::object({{"file", options.file}});
  object.update(as_json(target.base, checked));
  outcome.files.push_back(object);
}

std::string document_of(const Outcome& outcome, bool quick, int status) {
  return Json::object({{"quick", quick}, {"files", outcome.files}, {"status", status}}).line();
}

}  // namespace

int data_check(const DataCheck& options) {
  if (!options.file.path.empty() && options.files.size() > 1)
    return report_unusable({"marigold: --path is for one file"});
  Outcome outcome;
  for (const std::string& name : options.files) {
    DataFileOptions file = options.file;
    file.file = name;
    check_file(file, options.quick, outcome);
  }
  const int looked = outcome.clean ? kExitClean : kExitFindings;
  const int status = outcome.problems.empty() ? looked : kExitUnusable;
  const int written = write_output(
      options.json ? document_of(outcome, options.quick, status) : outcome.text, status);
  return outcome.problems.empty() ? written : report_unusable(outcome.problems);
}

}  // namespace marigold::inner
