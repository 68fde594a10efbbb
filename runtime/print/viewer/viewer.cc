// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/viewer/viewer.h"

#include <charconv>
#include <cstdint>
#include <string>
#include <system_error>

#include "marigold/windows.h"
#include "runtime/core/user_interface.h"
#include "runtime/platform/path.h"
#include "runtime/platform/system_error.h"
#include "runtime/print/output/screen_output.h"
#include "runtime/print/viewer/viewer_file.h"
#include "runtime/print/viewer/viewer_help.h"
#include "runtime/print/viewer/viewer_position.h"
#include "runtime/print/viewer/viewer_print.h"
#include "runtime/print/viewer/viewer_screen.h"
#include "runtime/print/viewer/viewer_search.h"

namespace marigold::inner {
namespace {

// Home, End and the page keys do nothing, as on every other screen with these keys: + - * and /
// turn pages.
struct Move {
  int code;
  char character;
  void (ViewerPosition::*move)();
};
constexpr Move kMoves[] = {
    {kKeyCharacter, '+', &ViewerPosition::forward},
    {kKeyEnter, 0, &ViewerPosition::forward},
    {kKeyCharacter, '-', &ViewerPosition::back},
    {kKeyCharacter, '*', &ViewerPosition::next_page},
    {kKeyCharacter, '/', &ViewerPosition::previous_page},
    {kKeyTab, 0, &ViewerPosition::far_right},
    {kKeyStart, 0, &ViewerPosition::start},
    {kKeyDelete, 0, &ViewerPosition::first_column},
    {kKeyLeft, 0, &ViewerPosition::left},
    {kKeyRight, 0, &ViewerPosition::right},
    {kKeyUp, 0, &ViewerPosition::line_up},
    {kKeyDown, 0, &ViewerPosition::line_down},
    {kKeyInsert, 0, &ViewerPosition::end},
};

constexpr std::string_view kKeyText = "Cursor-Steuerung  +-=Bl{ttern  */=Seite  F1=Ende";
constexpr std::string_view kKeyTextPrint = "  F4=Druck";
constexpr std::string_view kPrintingText = "AUSDRUCK L[UFT !";

constexpr std::size_t kLongestAnswer = 60;

void tell_failed(int failed) {
  const std::string text =
      path_join(screen_output_directory(), kDisplayFile) + ": " + system_error_text(failed);
  user_interface().message(text.c_str(), "");
}

std::string key_text() {
  std::string text(kKeyText);
  if (!screen_output_disk_full()) text += kKeyTextPrint;
  return text;
}

// Everything drawn during the life of this object reaches the screen at once.
class LiveOff {
 public:
  LiveOff() : live_(wi_live()) { wi_set_live(false); }
  LiveOff(const LiveOff&) = delete;
  LiveOff& operator=(const LiveOff&) = delete;
  ~LiveOff() { wi_set_live(live_); }

 private:
  bool live_;
};

// A field in place of the key line.
class Prompt {
 public:
  explicit Prompt(const std::string& text)
      : window_(kScreenRows, 1, 1, kScreenColumns, true),
        column_(static_cast<int>(text.size()) + 1) {
    p_printstr(window_.number(), 1, 1, text.c_str());
    window_.show();
  }
  [[nodiscard]] FieldPlace place(std::size_t width) const {
    return {
        .window = window_.number(), .row = 1, .column = column_, .width = static_cast<int>(width)};
  }

 private:
  OwnWindow window_;
  int column_;
};

class Viewer {
 public:
  Viewer(const ViewerJob& job, const ViewerFile& file)
      : job_(job),
        file_(file),
        position_(file.lines(), screen_output_width(), job.page_length),
        screen_(job.name) {}

  void run() {
    set_notice(key_text());
    for (;;) {
      show();
      std::uint8_t character = 0;
      const int code = field_key(character);
      if (code == kKeyF1 || (code == kKeyEscape && key_is_lost())) return;
      if (notice_ != key_text()) set_notice(key_text());
      handle(code, static_cast<char>(character));
    }
  }

 private:
  void show() {
    if (const int failed = screen_.show(file_, position_, {search_, hit_})) tell_failed(failed);
  }

  // The notice stays in the key line until the next key.
  void set_notice(const std::string& text) {
    notice_ = text;
    screen_.show_key_line(text);
  }

  void handle(int code, char character) {
    if (code == kKeyF4) return print();
    if (code == kKeyCharacter) handle_character(character);
    for (const Move& move : kMoves) {
      const bool same = move.code == code && (code != kKeyCharacter || move.character == character);
      if (same) (position_.*move.move)();
    }
  }

  void handle_character(char character) {
    if (character == 'g') ask_line();
    if (character == 's') ask_search();
    if (character == 'n') search_next();
    if (character == '?') viewer_help();
  }

  void print() {
    if (screen_output_disk_full()) return terminal_bell();
    screen_.show_key_line(kPrintingText);
    viewer_print(job_);
    set_notice(key_text());
  }

  // Returns false if the user leaves the field.
  static bool ask(const std::string& what, std::string& typed) {
    const Prompt prompt(what);
    return text_field(prompt.place(kLongestAnswer), typed, 0, kLongestAnswer) == kKeyEnter;
  }

  void ask_line() {
    std::string typed;
    if (!ask("Zeile: ", typed)) return;
    std::int64_t line = 0;
    const auto [end, failed] = std::from_chars(typed.data(), typed.data() + typed.size(), line);
    if (failed == std::errc{} && end == typed.data() + typed.size()) {
      position_.go_to(line);
    } else if (!typed.empty()) {
      set_notice("Keine Zeile: " + typed);
    }
  }

  // An empty text removes the marks.
  void ask_search() {
    std::string typed;
    if (!ask("Suchen: ", typed)) return;
    searched_ = typed;
    search_.set_text(searched_);
    hit_ = {};
    screen_.draw_all_next();
    search_from({position_.line(), 0});
  }

  // Searches after the last hit while that hit is in sight, else from the first shown line.
  void search_next() {
    if (search_.empty()) return ask_search();
    if (hit_.line != 0 && position_.in_sight(hit_.line)) {
      search_from({hit_.line, hit_.column + search_.length()});
    } else {
      search_from({position_.line(), 0});
    }
  }

  void search_from(SearchPlace place) {
    if (search_.empty()) return;
    for (;;) {
      int failed = 0;
      switch (search_.step(file_, place, failed)) {
        case SearchStep::kFound:
          return show_hit(place);
        case SearchStep::kNotFound:
          return set_notice("Nicht gefunden: " + searched_);
        case SearchStep::kFailed:
          return tell_failed(failed);
        case SearchStep::kGoOn:
          break;
      }
      set_notice("Suche bei Zeile " + std::to_string(place.line) + " (Taste bricht ab)");
      if (broken_off()) return set_notice("Suche abgebrochen");
    }
  }

  static bool broken_off() {
    std::uint8_t character = 0;
    if (!key_is_waiting()) return false;
    // Ctrl-R has repainted the screen; the user does not want to stop.
    return key_read(character) != kKeyIgnored || character != 0;
  }

  void show_hit(const SearchPlace& place) {
    hit_ = place;
    position_.bring_into_sight(place.line, static_cast<int>(place.column) + 1,
                               static_cast<int>(search_.length()));
    screen_.draw_all_next();
    set_notice(key_text());
  }

  const ViewerJob& job_;
  const ViewerFile& file_;
  ViewerPosition position_;
  ViewerScreen screen_;
  ViewerSearch search_;
  SearchPlace hit_;       // line 0: no hit
  std::string searched_;  // as the user has typed it
  std::string notice_;    // the text in the key line
};

}  // namespace

void viewer_run(const ViewerJob& job) {
  ViewerFile file;
  const int failed = file.open(screen_output_display());
  if (screen_output_disk_full() && file.lines() == 0) {
    file.show_disk_full();
  } else if (failed != 0) {
    return tell_failed(failed);
  }
  const LiveOff live_off;
  Viewer(job, file).run();
}

}  // namespace marigold::inner
