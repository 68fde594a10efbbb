// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/output/screen_output.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <utility>

#include "runtime/core/user_interface.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/new_file.h"
#include "runtime/platform/passing_files.h"
#include "runtime/platform/path.h"
#include "runtime/platform/record_file.h"
#include "runtime/platform/stop_signals.h"
#include "runtime/platform/system_error.h"
#include "runtime/print/output/display_record.h"

namespace marigold::inner {
namespace {

constexpr std::size_t kPieceSize = 65536;
constexpr std::size_t kLeastWidth = 78;  // columns of a line that the viewer shows
constexpr std::string_view kEndMark = "*** ANZEIGEN-ENDE ";

// A new file, written from its beginning in pieces, and held until it is removed. Results: 0 or the
// system's error number.
class TemporaryFile {
 public:
  explicit TemporaryFile(const char* name) : name_(name) {}

  // EAGAIN if another program or user has a file of that name.
  int create(const std::string& directory) {
    constexpr int kPatience = 20;
    path_ = path_join(directory, name_);
    int failed = EEXIST;
    for (int round = 0; failed == EEXIST && round < kPatience; ++round) {
      failed = clear_away();
      if (failed == 0) failed = file_.create(path_.c_str(), NewFileAccess::kOwnerOnly);
    }
    // Before the lock another program may have taken the file for a left one.
    if (failed == 0 &&
        (file_.lock(kFileAliveLock, 1, true) != 0 || !file_.is_still_at(path_.c_str())))
      failed = EAGAIN;
    if (failed != 0) {
      file_.close();
      return failed == EEXIST ? EAGAIN : failed;
    }
    passing_file_note(path_.c_str());
    pending_.reserve(kPieceSize);
    return 0;
  }

  int add(std::string_view bytes) {
    while (pending_.size() + bytes.size() > kPieceSize) {
      const std::size_t room = kPieceSize - pending_.size();
      pending_.append(bytes.substr(0, room));
      bytes.remove_prefix(room);
      if (const int failed = flush()) return failed;
    }
    pending_.append(bytes);
    return 0;
  }

  int flush() {
    // A limit on the size of files counts as a full disk and does not end the program.
    stop_signals_hold();
    const int failed = file_.write(written_, pending_);
    stop_signals_release();
    written_ += pending_.size();
    pending_.clear();
    return failed;
  }

  // Drops the written and the pending bytes.
  int begin_again() {
    pending_.clear();
    written_ = 0;
    return file_.cut();
  }

  // A file that has lost its name is gone already, and a file that now has the name is not ours.
  int remove() {
    if (!file_.is_open()) return 0;
    passing_file_forget(path_.c_str());
    const int failed = file_.is_still_at(path_.c_str()) ? file_remove(path_.c_str()) : 0;
    file_.close();
    pending_.clear();
    written_ = 0;
    return failed;
  }

  [[nodiscard]] const RecordFile& file() const { return file_; }
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  // Frees the name: removes the file of a killed program, and anything that is no plain file
  // (opening a pipe would wait, a link may lead to another user's file). The lock is held until the
  // name is free, so that only one of two programs that find the same file removes it.
  [[nodiscard]] int clear_away() const {
    if (!file_exists(path_.c_str())) return 0;
    RecordFile left;
    const int failed = left.open_own(path_.c_str(), true);
    if (failed == ENOENT) return 0;
    const bool is_no_file =
        failed == system_result(ELOOP) || failed == EINVAL || failed == EISDIR || failed == ENXIO;
    if (is_no_file) return file_remove(path_.c_str());
    if (failed != 0 || left.lock(kFileAliveLock, 1, true) != 0) return EAGAIN;
    return left.is_still_at(path_.c_str()) ? file_remove(path_.c_str()) : EEXIST;
  }

  const char* name_;
  std::string path_;
  RecordFile file_;
  std::string pending_;
  std::uint64_t written_ = 0;
};

struct DisplayLine {
  DisplayRecord record = display_record({});  // its first `length` characters are the line
  std::size_t length = 0;
  std::size_t to_swallow = 0;  // blanks still to be dropped
  int highlights_on = 0;       // switches in the line
  int highlights_off = 0;
};

struct State {
  TemporaryFile printer{kPrinterFile};
  TemporaryFile display{kDisplayFile};
  std::string directory;  // "": the current one
  DisplayLine line;
  std::size_t width = kLeastWidth;
  bool taking = false;  // between start and end, unless the disk is full
  bool disk_full = false;
};
State state;

int create_in(const std::string& directory) {
  for (TemporaryFile* file : {&state.printer, &state.display})
    if (const int failed = file->create(directory)) return failed;
  return 0;
}

int remove_directory() {
  if (state.directory.empty()) return 0;
  passing_file_forget(state.directory.c_str());
  return file_remove_directory(std::exchange(state.directory, {}).c_str());
}

int refuse(const std::string& path, int failed) {
  screen_output_remove();
  const std::string text = path + ": " + system_error_text(failed);
  user_interface().message(text.c_str(), "");
  return failed;
}

// Returns the path of the file that could not be made.
const std::string& path_at_fault() {
  return state.printer.file().is_open() ? state.display.path() : state.printer.path();
}

// For the second of two programs that print to the screen in one directory.
int create_in_own_directory(const std::string& taken) {
  if (const int failed = file_make_private_directory(state.directory)) {
    const std::string directory = std::exchange(state.directory, {});
    return refuse(taken + " belongs to another program or user, and " + directory, failed);
  }
  const int failed = create_in(state.directory);
  passing_file_note(state.directory.c_str());
  return failed == 0 ? 0 : refuse(path_at_fault(), failed);
}

int create_both() {
  const int failed = create_in("");
  if (failed == 0) return 0;
  const std::string& path = path_at_fault();
  if (failed != EAGAIN) return refuse(path, failed);
  screen_output_remove();
  return create_in_own_directory(path);
}

void forget() {
  state.line = {};
  state.width = kLeastWidth;
}

std::string_view bytes_of(const DisplayRecord& record) {
  return {record.text.data(), sizeof record};
}

// The files now hold the one line only. If that line cannot be written either, the viewer shows it.
void give_up() {
  forget();
  state.taking = false;
  state.disk_full = true;
  if (state.printer.begin_again() != 0 || state.display.begin_again() != 0) return;
  state.display.add(bytes_of(display_record(kDiskFullText)));
  state.display.flush();
}

void store(std::string_view text) {
  DisplayLine& line = state.line;
  const std::size_t count = std::min(text.size(), kDisplayColumns - line.length);
  std::memcpy(line.record.text.data() + line.length, text.data(), count);
  line.length += count;
}

bool line_is_full() {
  return state.line.length == kDisplayColumns;
}

bool is_switch(char c) {
  return c == kHighlightOn || c == kHighlightOff;
}

// Also finds switches that came with the text.
bool has_switch(std::string_view text) {
  return text.find(kHighlightOn) != text.npos || text.find(kHighlightOff) != text.npos;
}

// A switch beyond the end of the line is dropped like a character there.
void close_highlights() {
  while (state.line.highlights_on > state.line.highlights_off && !line_is_full())
    screen_output_highlight(false);
}

// Stores whole marks and a part of one, up to the width.
void fill_with_end_marks() {
  while (state.line.length + kEndMark.size() < state.width)
    store(kEndMark);
  store(kEndMark.substr(0, state.width - std::min(state.line.length, state.width)));
}

}  // namespace

int screen_output_start() {
  screen_output_remove();
  forget();
  state.disk_full = false;
  const int failed = create_both();
  state.taking = failed == 0;
  return failed;
}

bool screen_output_disk_full() {
  return state.disk_full;
}

int screen_output_width() {
  return static_cast<int>(state.width);
}

void screen_output_bytes(std::string_view bytes) {
  if (state.taking && state.printer.add(bytes) != 0) give_up();
}

void screen_output_text(std::string_view text) {
  if (!state.taking) return;
  std::size_t& to_swallow = state.line.to_swallow;
  while (to_swallow > 0 && !text.empty()) {
    if (text.front() == ' ') {
      --to_swallow;
    } else {
      if (!is_switch(text.front())) to_swallow = 0;
      store(text.substr(0, 1));
    }
    text.remove_prefix(1);
  }
  store(text);
}

void screen_output_backspaces(std::size_t count) {
  if (!state.taking) return;
  DisplayLine& line = state.line;
  while (count > 0 && line.length > 0 && line.record.text[line.length - 1] == ' ') {
    --line.length;
    --count;
  }
  line.to_swallow += count;
}

void screen_output_highlight(bool on) {
  DisplayLine& line = state.line;
  if (!state.taking || line_is_full()) return;
  if (!on && line.highlights_on <= line.highlights_off) return;
  store({on ? &kHighlightOn : &kHighlightOff, 1});
  ++(on ? line.highlights_on : line.highlights_off);
}

void screen_output_end_line() {
  if (!state.taking) return;
  close_highlights();
  DisplayLine& line = state.line;
  state.width = std::max(state.width, line.length);
  const std::span text = std::span(line.record.text).first(line.length);
  const bool flagged = has_switch({text.data(), text.size()});
  line.record.flag = flagged ? kWithHighlight : kWithoutHighlight;
  const int failed = state.display.add(bytes_of(line.record));
  std::ranges::fill(text, ' ');
  line.length = line.to_swallow = 0;
  line.highlights_on = line.highlights_off = 0;
  if (failed != 0) give_up();
}

void screen_output_end() {
  if (state.taking && state.printer.flush() != 0) give_up();
  if (!state.taking) return;
  fill_with_end_marks();
  screen_output_end_line();
  if (state.taking && state.display.flush() != 0) give_up();
  state.taking = false;
}

int screen_output_remove() {
  state.taking = false;
  const int printer = state.printer.remove();
  const int display = state.display.remove();
  const int directory = remove_directory();
  return printer != 0 ? printer : display != 0 ? display : directory;
}

const RecordFile& screen_output_printer() {
  return state.printer.file();
}

const RecordFile& screen_output_display() {
  return state.display.file();
}

const std::string& screen_output_directory() {
  return state.directory;
}

}  // namespace marigold::inner
