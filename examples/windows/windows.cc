// SPDX-License-Identifier: GPL-3.0-or-later
// A walk through the window system: windows that are moved, raised, hidden and scrolled, a
// selection, two input fields, a warning and messages.
//
//   windows        from the folder with the sample texts, so that the runtime speaks the language
//                  of LANGUAGE_IDENTIFIER
//
// Cursor keys move the topmost window, Tab raises the lowest one. The last row shows the function
// keys.

#include <marigold/application.h>
#include <marigold/windows.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace {

using namespace marigold;

constexpr int kHeight = 9;
constexpr int kWidth = 34;
constexpr std::array<const char*, 4> kPoem = {"Marigolds along the wall,", "gold above the green;",
                                              "none of them was seen to fall,",
                                              "all of them were seen."};
constexpr const char* kKeys =
    "F1 end  F2 list  F3 fields  F4 warning  F5 hide  F6 show  PgUp/PgDn scroll";

class Garden {
 public:
  Garden() {
    int header = 0;
    create_header_w(header, "Marigold: windows", 1);
    int keys = 0;
    create_status_w(keys, kKeys);
    for (int i = 0; i < 3; ++i)
      plant(i);
    show_now();
  }

  void run() {
    for (;;) {
      std::uint8_t character = 0;
      const int code = field_key(character);
      if (code == kKeyF1 || code == kKeyEscape) return;
      follow(code);
      show_now();
    }
  }

 private:
  static void show_now() {
    wi_refresh_active();
    terminal_refresh();
  }

  // Creates a window with a title and the poem, a little below and to the right of the one before.
  void plant(int number) {
    int window = 0;
    create_w(window, 4 + 3 * number, 4 + 12 * number, kHeight, kWidth, false);
    p_set_atr(window, "0110");
    p_printstr(window, 1, 2, ("Window " + std::to_string(number + 1)).c_str());
    p_set_atr(window, "0000");
    int row = 3;
    for (const char* line : kPoem)
      p_printstr(window, row++, 2, line);
    p_active_w(window);
    windows_.push_back(window);
  }

  void raise(std::size_t index) {
    std::rotate(windows_.begin() + static_cast<std::ptrdiff_t>(index),
                windows_.begin() + static_cast<std::ptrdiff_t>(index) + 1, windows_.end());
    p_active_w(windows_.back());
  }

  void hide() {
    if (windows_.empty()) return;
    p_de_active_w(windows_.back());
    hidden_.push_back(windows_.back());
    windows_.pop_back();
  }

  void show_hidden() {
    if (hidden_.empty()) return;
    p_active_w(hidden_.back());
    windows_.push_back(hidden_.back());
    hidden_.pop_back();
  }

  void move(int rows, int columns) {
    if (!windows_.empty()) p_move_w(windows_.back(), rows, columns);
  }

  void scroll(bool down) {
    if (!windows_.empty()) p_scroll_w(windows_.back(), down);
  }

  static void choose() {
    const SelectionEntry entries[] = {
        {"Flowers", false}, {"----------", false}, {"Calendula"}, {"Dahlia"}, {"Sunflower"},
        {"Herbs", false},   {"----------", false}, {"Basil"},     {"Thyme"}};
    const int number = selection_field({.row = 6,
                                        .column = 30,
                                        .title = "What shall grow?",
                                        .entries = entries,
                                        .help_key = "_GROW_"});
    const std::string text =
        number == 0 ? "Nothing, then."
                    : "Planted: " + std::string(entries[static_cast<std::size_t>(number) - 1].text);
    user_interface().message(text.c_str(), "_GROW_");
  }

  void fill_in() {
    int window = 0;
    create_beside_w(window, 2, 4, 7, 40, false);
    p_printstr(window, 2, 2, "Name of the bed:");
    p_printstr(window, 4, 2, "Length in metres:");
    p_active_w(window);
    const FieldPlace name{
        .window = window, .row = 2, .column = 20, .width = 16, .help_key = "_BED_"};
    const FieldPlace length{.window = window, .row = 4, .column = 20, .help_key = "_BED_"};
    const bool done = text_field(name, bed_, 1, 24) != kKeyEscape &&
                      number_field(length, "##0,00", metres_, 0.5, 250) != kKeyEscape;
    p_destroy_w(window);
    if (done) {
      const std::string text = bed_ + ": " + edit_number("##0,00", metres_) + " m";
      user_interface().message(text.c_str(), "");
    }
  }

  void follow(int code) {
    if (code == kKeyUp) move(-1, 0);
    if (code == kKeyDown) move(1, 0);
    if (code == kKeyLeft) move(0, -1);
    if (code == kKeyRight) move(0, 1);
    if (code == kKeyTab && !windows_.empty()) raise(0);
    if (code == kKeyPageUp) scroll(true);
    if (code == kKeyPageDown) scroll(false);
    if (code == kKeyF2) choose();
    if (code == kKeyF3) fill_in();
    if (code == kKeyF4)
      user_interface().warning(
          "Frost is expected tonight. Cover what is tender, and water nothing.");
    if (code == kKeyF5) hide();
    if (code == kKeyF6) show_hidden();
  }

  std::vector<int> windows_;  // the shown ones, the topmost last
  std::vector<int> hidden_;
  std::string bed_ = "South wall";
  double metres_ = 12.5;
};

}  // namespace

int main() {
  runtime_start("windows");
  Garden().run();
  runtime_end();
  return 0;
}
