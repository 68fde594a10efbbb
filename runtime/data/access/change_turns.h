// SPDX-License-Identifier: GPL-3.0-or-later
// The turns of several data directories: their holder alone may begin, do or finish a set of
// changes there. Finishes the sets of dead writers.
//
// How a set stays whole when its writer dies: the writer locks all records of the set, marks the
// files, writes the journals, changes the files, empties the journals, removes the marks, and gives
// the locks back, in this order. The system gives the locks of a dead writer back, but its marks
// stay, and within each operation that locks or changes a record of a marked file the engine asks
// the guard of this module: no process passes it before the set is finished. A power loss removes
// the marks as well; every process has to open its files again then, and looks for a journal by
// name.
//
// The holder of a turn waits for no record: it gives up at a locked one, and finishing meets no
// lock that another process keeps. So a process may hold record locks while it waits for a turn.
//
// A schema of a database cluster has no journal, turn or mark: its server does a set whole. The
// operations here leave it out.
//
// Results: 0, kIsLocked (another process keeps a turn, a file or a record), or another number for
// data_fatal with its reason. The module prints nothing, except through changes_make_good.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "runtime/data/access/change_journal.h"
#include "runtime/data/access/data_handle.h"

namespace marigold::inner {

class ChangeTurns {
 public:
  enum class Missing {
    kLeave,  // a directory without a journal has no turn
    kMake,
  };

  // Takes the turns of these directories, in the order of their full paths, after finishing what
  // dead writers have left there. `like` is a file whose access new journals get.
  int take(std::vector<std::string> directories, Missing missing, const std::string& like,
           std::string& reason);

  // The journals, ordered by their directories; each directory occurs once.
  [[nodiscard]] const std::vector<std::unique_ptr<ChangeJournal>>& journals() const {
    return journals_;
  }
  // Returns the journal of a directory of `take`, or null.
  [[nodiscard]] ChangeJournal* journal_of(const std::string& directory) const;
  // Whether no set can have begun in any of the directories since the turns were taken: one could
  // begin in a directory that had no journal.
  [[nodiscard]] bool kept_all_away() const;

 private:
  friend class UnfinishedSet;
  int finish_all(std::vector<std::string>& lacking, std::string& reason);
  int take_turns(const std::vector<std::string>& directories,
                 const std::vector<std::string>& to_make, const std::string& like,
                 std::string& reason);

  std::vector<std::unique_ptr<ChangeJournal>> journals_;
  std::vector<std::string> missing_;  // directories without a journal
};

// Lets guarded operations of this process pass: it does a set or finishes one.
class ChangesAtWork {
 public:
  ChangesAtWork();
  ~ChangesAtWork();
  ChangesAtWork(const ChangesAtWork&) = delete;
  ChangesAtWork& operator=(const ChangesAtWork&) = delete;
};

// Returns the full path of a directory without links, by which a set knows it; as it is if it
// cannot be found.
std::string change_directory(const std::string& directory);

// Whether a dead writer has left something in the directory's journal. True also for a journal that
// cannot be read; changes_finish gives the reason then.
bool changes_unfinished(const std::string& directory);

// Finishes what a dead writer has left in the directory: does a whole set, drops one whose writing
// was interrupted.
int changes_finish(const std::string& directory, std::string& reason);

// ---- For open files

// Number for iserrno of the guard of data files.
inline constexpr int kIsUnfinished = 200;

// Puts the guard in the place of an open keyed file.
void changes_guard(const DataFile& file);

// Finishes the set that stopped an operation on an open file, and removes its mark. Returns 0 or
// kDataLocked; reports any other failure and ends the process.
int changes_make_good(DataFile& file);

// Does so before a file is opened. A handle for reading alone goes on with a warning when this
// process cannot finish the set.
int changes_make_good_before_open(const DataFile& file);

}  // namespace marigold::inner
