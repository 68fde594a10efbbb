// SPDX-License-Identifier: GPL-3.0-or-later
// Loads into files of a cluster.

#include <algorithm>
#include <cerrno>
#include <limits>

#include "runtime/data/access/isam_access.h"
#include "runtime/data/access/version.h"
#include "tools/data/load_parts.h"
#include "tools/records/incoming_table.h"

namespace marigold::inner {
namespace {

// ---- A keyed file without records

class NewTable : public LoadSink {
 public:
  NewTable(const DataTarget& target, OpenKeyedFile old)
      : target_(target),
        key_(isam_key(*target.definition, 1)),
        old_(target, std::move(old)),
        incoming_(target) {}

  bool begin(std::string& problem) {
    if (!old_.make_if_missing(problem)) return false;
    const int failed = incoming_.begin();
    return failed == 0 || fail_load(problem, incoming_.base(), failed);
  }

  // The server finds two records of one key only when all are there.
  Added add(char* record, std::string& problem) override {
    if (!keys_.insert(key_bytes(key_, record)).second) return Added::kComesTwice;
    const int failed = asked_to_stop(loaded) ? EINTR : incoming_.write(record);
    if (failed == 0) {
      ++loaded;
      return Added::kTaken;
    }
    fail_load(problem, target_.base, failed);
    return Added::kFailed;
  }

  bool commit(std::string& problem) override {
    if (const int failed = incoming_.close()) return fail_load(problem, target_.base, failed);
    std::vector<IsExchange> steps;
    incoming_.append_steps(true, steps);
    old_.retire();
    if (isexchange(steps) != 0) return fail_load(problem, target_.base, iserrno);
    incoming_.in_place();
    old_.keep();
    return true;
  }

 private:
  StopSignalsHold hold_;
  const DataTarget& target_;
  KeyDescription key_;
  HeldFile old_;
  IncomingTable incoming_;
  std::unordered_set<std::string> keys_;
};

// ---- Random files

class NumberedTable : public GrownFile {
 public:
  NumberedTable(const DataTarget& target, OpenKeyedFile file, const LoadRules& rules)
      : GrownFile(target, std::move(file), rules.replace), rules_(rules) {}

  bool begin(std::string& problem) {
    if (!make_if_missing(problem)) return false;
    std::vector<char> record(static_cast<std::size_t>(target().definition->record_length));
    if (ISREAD(descriptor(), record.data(), kIsLast) == 0) {
      last_ = isld_int4(record.data());
    } else if (iserrno != kIsEndOfFile) {
      return fail_load(problem, target().base, iserrno);
    }
    return true;
  }

  Added add(char* record, std::string& problem) override {
    std::int64_t number = isld_int4(record);
    if (number < 1) number = last_ + 1;
    if (number > std::numeric_limits<std::int32_t>::max()) {
      fail_load(problem, target().base, EFBIG);
      return Added::kFailed;
    }
    if (number > last_ + kFarBeyond && !rules_.far_beyond) return Added::kTooFar;
    isst_int4(static_cast<std::int32_t>(number), record);
    const Added added = GrownFile::add(record, problem);
    if (added == Added::kTaken) last_ = std::max(last_, number);
    return added;
  }

  // Without the records the version record does no harm.
  bool commit(std::string& problem) override {
    const auto version = static_cast<double>(target().definition->version);
    const int failed = version_write_record(version_file_record(target().base), version);
    return failed == 0 ? GrownFile::commit(problem) : fail_load(problem, target().base, failed);
  }

 private:
  LoadRules rules_;
  std::int64_t last_ = 0;  // greatest number so far
};

}  // namespace

std::unique_ptr<LoadSink> open_new_table(const DataTarget& target, OpenKeyedFile file,
                                         std::string& problem) {
  auto table = std::make_unique<NewTable>(target, std::move(file));
  if (!table->begin(problem)) return nullptr;
  return table;
}

std::unique_ptr<LoadSink> open_numbered_table(const DataTarget& target, const LoadRules& rules,
                                              std::string& problem) {
  OpenKeyedFile file;
  const int failed = file.open(target.table(), kIsInputOutput | kIsExclusive);
  if (failed != 0 && failed != ENOENT) {
    fail_load(problem, target.base, failed);
    return nullptr;
  }
  std::string reason;
  if (failed == 0 &&
      (!check_version(target, reason) || !fits_definition(target, file.number(), reason))) {
    problem = target.base + ": " + reason;
    return nullptr;
  }
  auto table = std::make_unique<NumberedTable>(target, std::move(file), rules);
  if (!table->begin(problem)) return nullptr;
  return table;
}

}  // namespace marigold::inner
