#include "runtime/print/screen_output.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <system_error>

#include "runtime/core/user_interface.h"
#include "runtime/platform/new_file.h"
#include "runtime/platform/passing_files.h"
#include "runtime/platform/record_file.h"
#include "runtime/platform/stop_signals.h"
#include "runtime/print/display_record.h"

namespace marigold {
namespace {

constexpr std::size_t kPieceSize = 65536;
constexpr std::size_t kLeastWidth = 78;  // what the viewer shows of a line
constexpr std::string_view kEndMark = "*** ANZEIGEN-ENDE ";

// A new file that is written from its beginning, in pieces. Results: 0 or the system's error
// number.
class TemporaryFile {
 public:
  explicit TemporaryFile(const char* path) : path_(path) {}

  // What is there goes first: it can be another user's, a pipe that would be waited for, or open in
  // another program that still shows it.
  int create() {
    discard();
    if (const int failed = file_remove(path_)) return failed;
    passing_file_note(path_);
    pending_.reserve(kPieceSize);
    return file_.create(path_, NewFileAccess::kOwnerOnly);
  }

  int add(std::string_view bytes) {
    while (pending_.size() + bytes.size() > kPieceSize) {
      const std::size_t room = kPieceSize - pending_.size();
      pending_.append(bytes.substr(0, room));
      bytes.remove_prefix(room);
      if (const int failed = write_pending()) return failed;
    }
    pending_.append(bytes);
    return 0;
  }

  int close() {
    const int failed = write_pending();
    discard();
    return failed;
  }

  // Closes without writing what is pending.
  void discard() {
    file_.close();
    pending_.clear();
    written_ = 0;
  }

  [[nodiscard]] int remove() const {
    passing_file_forget(path_);
    return file_remove(path_);
  }
  [[nodiscard]] const char* path() const { return path_; }

 private:
  int write_pending() {
    // A limit on the size of files is a full disk as well, and not the end of the program.
    stop_signals_hold();
    const int failed = file_.write(written_, pending_);
    stop_signals_release();
    written_ += pending_.size();
    pending_.clear();
    return failed;
  }

  const char* path_;
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
  DisplayLine line;
  std::size_t width = kLeastWidth;
  bool taking = false;  // between start and end, unless the disk is full
  bool disk_full = false;
};
State state;

int create_both() {
  for (TemporaryFile* file : {&state.printer, &state.display}) {
    const int failed = file->create();
    if (failed == 0) continue;
    const std::string text =
        std::string(file->path()) + ": " + std::generic_category().message(failed);
    screen_output_remove();
    user_interface().message(text.c_str(), "");
    return failed;
  }
  return 0;
}

void forget() {
  state.line = {};
  state.width = kLeastWidth;
}

std::string_view bytes_of(const DisplayRecord& record) {
  return {record.text.data(), sizeof record};
}

// The files make room for the one line. If not even that can be written, the viewer says it.
void give_up() {
  screen_output_remove();
  forget();
  state.disk_full = true;
  if (state.printer.create() != 0 || state.display.create() != 0) return;
  state.display.add(bytes_of(display_record(kDiskFullText)));
  state.printer.close();
  state.display.close();
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

// Also switches that came with the text.
bool has_switch(std::string_view text) {
  return text.find(kHighlightOn) != text.npos || text.find(kHighlightOff) != text.npos;
}

// A switch beyond the end of the line is as little part of it as a character.
void close_highlights() {
  while (state.line.highlights_on > state.line.highlights_off && !line_is_full())
    screen_output_highlight(false);
}

// Whole marks and a part of one, up to the width.
void fill_with_end_marks() {
  while (state.line.length + kEndMark.size() < state.width)
    store(kEndMark);
  store(kEndMark.substr(0, state.width - std::min(state.line.length, state.width)));
}

}  // namespace

int screen_output_start() {
  state.printer.discard();
  state.display.discard();
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
  if (state.taking && state.printer.close() != 0) give_up();
  if (!state.taking) return;
  fill_with_end_marks();
  screen_output_end_line();
  if (state.taking && state.display.close() != 0) give_up();
  state.taking = false;
}

int screen_output_remove() {
  state.taking = false;
  state.printer.discard();
  state.display.discard();
  const int printer = state.printer.remove();
  const int display = state.display.remove();
  return printer != 0 ? printer : display;
}

}  // namespace marigold
