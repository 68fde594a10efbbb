// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/access/change_turns.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "runtime/core/user_interface.h"
#include "runtime/data/access/data_fatal.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/access/data_result.h"
#include "runtime/data/access/record_change.h"
#include "runtime/data/access/version.h"
#include "runtime/isam/common/cluster.h"
#include "runtime/isam/common/cluster_address.h"
#include "runtime/platform/library_path.h"
#include "runtime/platform/mapped_file.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/path.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner {
namespace {

struct State {
  int at_work = 0;
};

State state;

int fail(std::string& reason, const std::string& about, int number) {
  reason = about + ": " + change_error_text(number);
  return number;
}

int refuse(std::string& reason, const ChangeJournal& journal, const std::string& why) {
  reason =
      journal.path() + ": " + why + "; removing the journal drops an unfinished set of changes";
  return kIsBadFile;
}

// Leaves out schemas of clusters, which have no journals.
std::vector<std::string> in_order(std::vector<std::string> directories) {
  std::erase_if(directories, is_cluster_address);
  for (std::string& directory : directories)
    directory = change_directory(directory);
  std::ranges::sort(directories);
  directories.erase(std::unique(directories.begin(), directories.end()), directories.end());
  return directories;
}

// ---- Doing the changes of a dead writer again

// A file of the set, opened for its changes; or the file as this process has it open already.
class ChangedFile {
 public:
  explicit ChangedFile(std::string base) : base_(std::move(base)) {}
  ChangedFile(const ChangedFile&) = delete;
  ChangedFile& operator=(const ChangedFile&) = delete;
  ~ChangedFile() { static_cast<void>(close()); }

  int open() {
    for (const DataFile* file : data_files()) {
      if (file->open && !file->read_only && file->definition.type == FileType::kIsam &&
          change_base(*file) == base_)
        number_ = file->engine.descriptor;
    }
    is_own_ = number_ < 0;
    if (is_own_) number_ = ISOPEN(base_.c_str(), kIsInputOutput | kIsManualLock);
    if (number_ < 0 && iserrno == kIsTooMany && isopenlimit(kIsMostOpen + 1) == 0)
      number_ = ISOPEN(base_.c_str(), kIsInputOutput | kIsManualLock);
    return number_ < 0 ? iserrno : 0;
  }

  // Empty if the changes are for records as the file has them, else the reason.
  [[nodiscard]] std::string misfit(const JournalChange& change) const {
    IsamInfo info;
    if (isinfo(number_, info) != 0) return change_error_text(iserrno);
    if (info.record_length != static_cast<int>(change.record.size()))
      return "its record length is " + std::to_string(info.record_length) + ", the set has " +
             std::to_string(change.record.size());
    const auto version = version_read_record(version_file_record(base_));
    if (version && *version != static_cast<double>(change.version))
      return "its records have version " + version_text(*version) + ", the set has version " +
             version_text(static_cast<double>(change.version));
    return "";
  }

  [[nodiscard]] int number() const { return number_; }

  int close() {
    const int number = std::exchange(number_, -1);
    return number >= 0 && is_own_ && ISCLOSE(number) != 0 ? iserrno : 0;
  }

 private:
  std::string base_;
  int number_ = -1;
  bool is_own_ = true;
};

// A process that has just met the dead writer's set may hold the record for a moment.
int do_patiently(int number, const JournalChange& change) {
  constexpr int kPatience = 2000;  // rounds, most of them of a millisecond
  int failed = kIsLocked;
  for (int round = 0; failed == kIsLocked && round < kPatience; ++round) {
    if (round > 0) wait_a_little(round);
    failed = record_change(number, change.deletes, change.record.data());
  }
  return failed;
}

using Changes = std::vector<const JournalChange*>;

// What is done with a file of the set: all are looked at before the first one is changed.
enum class Pass { kLook, kChange };

int do_changes(const ChangedFile& file, const Changes& changes) {
  for (const JournalChange* change : changes) {
    if (const int failed = do_patiently(file.number(), *change)) return failed;
  }
  return ISFLUSH(file.number()) == 0 ? 0 : iserrno;
}

int finish_file(const ChangeJournal& journal, const Changes& changes, Pass pass,
                std::string& reason) {
  const std::string base = path_join(journal.directory(), changes.front()->name);
  ChangedFile file(base);
  int failed = file.open();
  if (failed == kIsFileLocked) failed = kIsLocked;
  if (failed == ENOENT) return refuse(reason, journal, "its file " + base + " is missing");
  for (const JournalChange* change : changes) {
    std::string misfit = failed == 0 ? file.misfit(*change) : "";
    if (!misfit.empty()) return refuse(reason, journal, misfit.insert(0, base + ": "));
  }
  if (failed == 0 && pass == Pass::kChange) failed = do_changes(file, changes);
  if (const int not_closed = file.close(); failed == 0) failed = not_closed;
  return failed == 0 ? 0 : fail(reason, base, failed);
}

// Files of the part in the order of their first change. Their order among each other does not
// matter: the set is done when all are.
std::vector<Changes> by_file(const JournalPart& part) {
  std::vector<Changes> files;
  for (const JournalChange& change : part.changes) {
    const auto same = std::ranges::find_if(
        files, [&](const Changes& file) { return file.front()->name == change.name; });
    (same == files.end() ? files.emplace_back() : *same).push_back(&change);
  }
  return files;
}

}  // namespace

// The set in a journal of turns that this process holds.
class UnfinishedSet {
 public:
  UnfinishedSet(ChangeTurns& turns, ChangeJournal& journal) : turns_(turns), journal_(journal) {}

  // Reads the journal. Gives the directories of the set if the turns lack some.
  int read(std::vector<std::string>& lacking, std::string& reason) {
    const int failed = journal_.read(state_, part_);
    if (failed != 0) return fail(reason, journal_.path(), failed);
    if (state_ == JournalState::kOther)
      return refuse(reason, journal_, "another version of the runtime has written it");
    if (state_ != JournalState::kWhole || part_.directories.empty()) return 0;
    const auto& all = part_.directories;
    if (std::ranges::find(all, journal_.directory()) == all.end())
      return refuse(reason, journal_, "its set belongs to " + all.front());
    const auto is_known = [&](const std::string& one) {
      return turns_.journal_of(one) != nullptr ||
             std::ranges::find(turns_.missing_, one) != turns_.missing_.end();
    };
    if (!std::ranges::all_of(all, is_known)) lacking = all;
    return 0;
  }

  int finish(std::string& reason) {
    if (state_ == JournalState::kEmpty) return 0;
    bool to_do = state_ == JournalState::kWhole;
    std::vector<ChangeJournal*> journals{&journal_};
    std::vector<JournalPart> parts{part_};
    if (to_do && !part_.directories.empty()) {
      if (const int failed = read_all(journals, parts, to_do, reason)) return failed;
    }
    if (!to_do) return clear({&journal_}, reason);
    const ChangesAtWork work;
    for (const Pass pass : {Pass::kLook, Pass::kChange}) {
      for (std::size_t i = 0; i < parts.size(); ++i) {
        for (const Changes& changes : by_file(parts[i])) {
          if (const int failed = finish_file(*journals[i], changes, pass, reason)) return failed;
        }
      }
    }
    return clear(journals, reason);
  }

 private:
  // Reads all parts, the deciding one first. The set is to be done if that one is whole.
  int read_all(std::vector<ChangeJournal*>& journals, std::vector<JournalPart>& parts, bool& to_do,
               std::string& reason) {
    journals.clear();
    parts.clear();
    std::size_t changes = 0;
    for (const std::string& directory : part_.directories) {
      ChangeJournal* journal = turns_.journal_of(directory);
      JournalState found = JournalState::kEmpty;
      JournalPart part;
      const int failed = journal == nullptr ? 0 : journal->read(found, part);
      if (failed != 0) return fail(reason, journal->path(), failed);
      if (journal == nullptr && !file_exists(directory.c_str()))
        return refuse(reason, journal_,
                      "its set has a part in " + directory + ", which is missing");
      const bool is_part = found == JournalState::kWhole && part.set == part_.set;
      if (!is_part && parts.empty()) {
        to_do = false;
        return 0;
      }
      if (!is_part)
        return refuse(reason, *journals.front(), "its set has no whole part in " + directory);
      changes += part.changes.size();
      journals.push_back(journal);
      parts.push_back(std::move(part));
    }
    return changes == part_.changes_of_set
               ? 0
               : refuse(reason, journal_, "its set has other parts than its journals");
  }

  static int clear(const std::vector<ChangeJournal*>& journals, std::string& reason) {
    for (ChangeJournal* journal : journals) {
      if (const int failed = journal->clear()) return fail(reason, journal->path(), failed);
    }
    return 0;
  }

  ChangeTurns& turns_;
  ChangeJournal& journal_;
  JournalState state_ = JournalState::kEmpty;
  JournalPart part_;
};

// ---- Turns

ChangeJournal* ChangeTurns::journal_of(const std::string& directory) const {
  const auto found = std::ranges::find_if(
      journals_, [&](const auto& journal) { return journal->directory() == directory; });
  return found == journals_.end() ? nullptr : found->get();
}

bool ChangeTurns::kept_all_away() const {
  return std::ranges::none_of(missing_, [](const std::string& directory) {
    return file_exists(path_join(directory, kChangeJournal).c_str());
  });
}

int ChangeTurns::take_turns(const std::vector<std::string>& directories,
                            const std::vector<std::string>& to_make, const std::string& like,
                            std::string& reason) {
  journals_.clear();
  missing_.clear();
  for (const std::string& directory : directories) {
    auto journal = std::make_unique<ChangeJournal>(directory);
    const bool make = std::ranges::find(to_make, directory) != to_make.end();
    int failed = make ? journal->open_or_make(like) : journal->open(true);
    if (failed == ENOENT && !make) {
      missing_.push_back(directory);
      continue;
    }
    if (failed == 0) failed = journal->take_turn();
    if (failed == EAGAIN) failed = kIsLocked;
    if (failed != 0) return fail(reason, journal->path(), failed);
    journals_.push_back(std::move(journal));
  }
  return 0;
}

// Finishes what the journals hold. Gives the directories of a set for which turns are lacking.
int ChangeTurns::finish_all(std::vector<std::string>& lacking, std::string& reason) {
  for (const auto& journal : journals_) {
    UnfinishedSet set(*this, *journal);
    if (const int failed = set.read(lacking, reason)) return failed;
    if (!lacking.empty()) return 0;
    if (const int failed = set.finish(reason)) return failed;
  }
  return 0;
}

int ChangeTurns::take(std::vector<std::string> directories, Missing missing,
                      const std::string& like, std::string& reason) {
  const std::vector<std::string> wanted = in_order(std::move(directories));
  // A journal names directories of others only to be read there: no file is made in them.
  const auto to_make = missing == Missing::kMake ? wanted : std::vector<std::string>();
  std::vector<std::string> now = wanted;
  for (;;) {
    std::vector<std::string> lacking;
    if (const int failed = take_turns(now, to_make, like, reason)) return failed;
    if (const int failed = finish_all(lacking, reason)) return failed;
    if (lacking.empty() && now == wanted) return 0;
    // Takes the turns of the set's other directories as well; and once the set is finished, those
    // that are wanted alone.
    now = wanted;
    now.insert(now.end(), lacking.begin(), lacking.end());
    now = in_order(std::move(now));
  }
}

ChangesAtWork::ChangesAtWork() {
  ++state.at_work;
}

ChangesAtWork::~ChangesAtWork() {
  --state.at_work;
}

std::string change_directory(const std::string& directory) {
  std::error_code error;
  const auto path =
      std::filesystem::canonical(library_path(directory.empty() ? "." : directory), error);
  return error ? directory : path_of_library(path);
}

bool changes_unfinished(const std::string& directory) {
  if (is_cluster_address(directory)) return false;
  ChangeJournal journal(directory);
  const int failed = journal.open(false);
  bool empty = false;
  bool lives = false;
  if (failed != 0) return failed != ENOENT;
  if (journal.is_empty(empty) != 0) return true;
  return !empty && (journal.writer_lives(lives) != 0 || !lives);
}

int changes_finish(const std::string& directory, std::string& reason) {
  ChangeTurns turns;
  return turns.take({directory}, ChangeTurns::Missing::kLeave, "", reason);
}

// ---- Open files

namespace {

std::string directory_of(const DataFile& file) {
  return data_path_directory(data_path(file));
}

[[noreturn]] void give_up(const std::string& reason, int number) {
  user_interface().warning(("a set of changes cannot be finished: " + reason).c_str());
  data_fatal("", number);
}

// A set is part of the directory as it was when the file was opened, whatever becomes of the
// process's own directory.
int ask_guard(const std::string& directory) {
  if (state.at_work > 0) return 0;
  ChangeJournal journal(directory);
  bool lives = false;
  const bool asked = journal.open(false) == 0 && journal.writer_lives(lives) == 0;
  return asked && lives ? 0 : kIsUnfinished;
}

}  // namespace

void changes_guard(const DataFile& file) {
  if (iscluster(file.engine.descriptor)) return;
  isguard(file.engine.descriptor,
          [directory = change_directory(directory_of(file))] { return ask_guard(directory); });
}

int changes_make_good(DataFile& file) {
  ChangeTurns turns;
  std::string reason;
  int failed = turns.take({directory_of(file)}, ChangeTurns::Missing::kMake,
                          data_path(file) + ".dat", reason);
  // No set has marked the file: its writer would have the turn.
  if (failed == 0 && ismark(file.engine.descriptor, false) != 0)
    failed = fail(reason, data_path(file), iserrno);
  if (failed == kIsLocked) return kDataLocked;
  if (failed != 0) give_up(reason, failed);
  return kDataDone;
}

int changes_make_good_before_open(const DataFile& file) {
  if (!changes_unfinished(directory_of(file))) return kDataDone;
  std::string reason;
  const int failed = changes_finish(directory_of(file), reason);
  if (failed == 0) return kDataDone;
  if (failed == kIsLocked) return kDataLocked;
  if (!file.read_only) give_up(reason, failed);
  user_interface().warning(
      ("some records are those from before an unfinished set of changes: " + reason).c_str());
  return kDataDone;
}

}  // namespace marigold::inner
