// SPDX-License-Identifier: GPL-3.0-or-later
// The journal of sets of changes: CHANGES.journal in a data directory, made by the first set there
// and never removed. While it is empty, no set of the directory is under way or unfinished.
//
// A set over files of several directories has a part in each of their journals. The journal of the
// first directory decides: the set is to be done when that journal is whole, and is done when that
// journal is empty again. docs/formats/change-journal.md draws the format.
//
// Results: 0, or the system's error number.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/platform/record_file.h"

namespace marigold::inner {

inline constexpr const char* kChangeJournal = "CHANGES.journal";

struct JournalChange {
  std::uint32_t position = 0;  // in the whole set, from 0
  bool deletes = false;
  std::int32_t version = 0;  // of the file's definition
  std::string name;          // of the file beside the journal, without ".dat"
  std::string record;        // all bytes; for a deletion only the primary key counts
};

// The part of a set in one directory.
struct JournalPart {
  std::string set;  // 16 characters, the same in all parts of the set and in no other set
  std::uint32_t changes_of_set = 0;
  // Absolute paths of the set's directories; the first one decides. Empty if there is only one, so
  // that a directory can be moved as a whole.
  std::vector<std::string> directories;
  std::vector<JournalChange> changes;
};

enum class JournalState {
  kEmpty,
  kTorn,   // its writer died before the part was whole, so nothing of the set was done
  kWhole,  // the checksum holds
  kOther,  // of another version of the format
};

// Bytes of a part, as they lie in the journal.
std::string journal_bytes(const JournalPart& part);
JournalState journal_parse(std::string_view bytes, JournalPart& part);

class ChangeJournal {
 public:
  explicit ChangeJournal(const std::string& directory);

  [[nodiscard]] const std::string& directory() const { return directory_; }
  [[nodiscard]] const std::string& path() const { return path_; }

  // Opens the journal. ELOOP for a link, EMLINK for a file with a second name.
  int open(bool writable);
  // Makes a missing journal as well, with the owner and permissions of the file at `like`.
  int open_or_make(const std::string& like);

  // Waits a moment for the turn, which one process at a time has: to do a set, or to finish the set
  // of a dead writer. EAGAIN: another process keeps it. Closing gives it back.
  int take_turn();
  // Shows that this process is the writer of the set in the journal, until it closes the journal or
  // dies. The caller has the turn.
  int become_writer();
  // Whether the writer of the set lives.
  int writer_lives(bool& lives) const;

  int is_empty(bool& empty) const;
  int read(JournalState& state, JournalPart& part) const;
  // Writes a part and makes it durable.
  int write(const JournalPart& part);
  // Empties the journal durably.
  int clear();

 private:
  std::string directory_;
  std::string path_;
  RecordFile file_;
};

}  // namespace marigold::inner
