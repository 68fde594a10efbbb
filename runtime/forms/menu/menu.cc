// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/menus.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "runtime/core/system_errors.h"
#include "runtime/core/user_interface.h"
#include "runtime/texte/screen_text.h"
#include "runtime/texte/sysmsg.h"
#include "runtime/wi/terminal/letters.h"
#include "runtime/wi/window/window_text.h"

namespace marigold {

using namespace inner;

namespace {

constexpr std::size_t kNoLetter = std::string::npos;

// A text without its mark, and the place of the letter that the mark stands before.
struct MarkedText {
  std::string text;
  std::size_t letter = kNoLetter;
};

MarkedText take_mark(const std::string& marked) {
  MarkedText taken;
  for (std::size_t i = 0; i < marked.size(); ++i) {
    const bool is_mark = marked[i] == '&' && i + 1 < marked.size();
    if (is_mark && marked[i + 1] != '&' && taken.letter == kNoLetter)
      taken.letter = taken.text.size();
    if (is_mark) ++i;
    taken.text += marked[i];
  }
  return taken;
}

std::string key_text(int key) {
  if (key >= kKeyF1 && key <= kKeyF8)
    return std::string("F").append(std::to_string(key - kKeyF1 + 1));
  return key == kKeyF9 ? "F9" : "";
}

bool is_line(const MenuEntry& entry) {
  return *entry.text == '\0';
}

bool can_be_chosen(const MenuEntry& entry) {
  return entry.enabled && !is_line(entry);
}

// Ends the process for an error of the program.
[[noreturn]] void menu_fatal(const Menu& menu, const std::string& fault, int error) {
  user_interface().hand_terminal_back();
  std::fputs(("menu " + std::string(menu.title) + ": " + fault + "\n").c_str(), stderr);
  raise_fatal(error);
}

// Entries from a menu down, by their indexes.
using Path = std::vector<int>;

// Finds the first entry that can be chosen and fulfils a condition, in the menu before in its
// submenus. Does not go beyond the deepest level, where menus may contain themselves.
template <typename Condition>
bool find_path(const Menu& menu, Condition condition, Path& path) {
  for (std::size_t i = 0; i < menu.entries.size(); ++i) {
    if (!can_be_chosen(menu.entries[i]) || !condition(menu.entries[i])) continue;
    path.push_back(static_cast<int>(i));
    return true;
  }
  if (path.size() + 1 >= kMenuLevels) return false;
  for (std::size_t i = 0; i < menu.entries.size(); ++i) {
    const MenuEntry& entry = menu.entries[i];
    if (!can_be_chosen(entry) || entry.submenu == nullptr) continue;
    path.push_back(static_cast<int>(i));
    if (find_path(*entry.submenu, condition, path)) return true;
    path.pop_back();
  }
  return false;
}

struct Place {
  int top = 1;
  int left = 1;
  int height = 0;
  int width = 0;
};

// A menu on the screen. Entries have their indexes here; -1 is none.
class OpenMenu {
 public:
  // The parent is null for the first menu. The last row stays free for a status line.
  OpenMenu(const Menu& menu, const OpenMenu* parent)
      : menu_(menu),
        texts_(make_texts(menu)),
        place_(make_place(parent)),
        window_(place_.top, place_.left, place_.height, place_.width, false) {
    current_ = next_from(-1, 1);
  }

  [[nodiscard]] const Menu& menu() const { return menu_; }
  [[nodiscard]] const MenuEntry* current() const {
    return current_ < 0 ? nullptr : &menu_.entries[static_cast<std::size_t>(current_)];
  }
  void go_to(int entry) { current_ = entry; }

  void show() {
    scroll();
    if (drawn_top_ != top_) draw_all();
    if (drawn_ != current_ && drawn_ >= 0) draw_entry(drawn_);
    if (current_ >= 0) draw_entry(current_);
    drawn_ = current_;
    window_.show();
    wi_set_cursor(window_.number(), row_of(std::max(current_, top_)), 1);
  }

  // Moves by a key; false for any other key.
  bool move(int code) {
    if (code == kKeyUp || code == kKeyBackTab) {
      current_ = next_from(current_, -1);
    } else if (code == kKeyDown || code == kKeyTab) {
      current_ = next_from(current_, 1);
    } else if (code == kKeyHome) {
      current_ = next_from(-1, 1);
    } else if (code == kKeyEnd) {
      current_ = next_from(count(), -1);
    } else if (code == kKeyPageUp || code == kKeyPageDown) {
      page(code == kKeyPageDown ? 1 : -1);
    } else {
      return false;
    }
    return true;
  }

  // Goes to the entry with this letter and returns true; else goes to the next one that begins with
  // it.
  bool take_letter(char letter) {
    for (int i = 0; i < count(); ++i) {
      const MarkedText& text = texts_[static_cast<std::size_t>(i)];
      if (text.letter == kNoLetter || !is_open(i)) continue;
      if (fold_letter(text.text[text.letter]) != fold_letter(letter)) continue;
      current_ = i;
      return true;
    }
    for (int i = 1; i <= count(); ++i) {
      const int candidate = (std::max(current_, 0) + i) % count();
      const std::string& text = texts_[static_cast<std::size_t>(candidate)].text;
      if (!is_open(candidate) || fold_letter(text.front()) != fold_letter(letter)) continue;
      current_ = candidate;
      break;
    }
    return false;
  }

 private:
  static std::vector<MarkedText> make_texts(const Menu& menu) {
    std::vector<MarkedText> texts;
    for (const MenuEntry& entry : menu.entries)
      texts.push_back(take_mark(screen_text(entry.text)));
    return texts;
  }

  [[nodiscard]] int count() const { return static_cast<int>(menu_.entries.size()); }
  [[nodiscard]] int title_rows() const { return *menu_.title == '\0' ? 0 : 1; }
  [[nodiscard]] int rows() const { return place_.height - 2 - title_rows(); }
  [[nodiscard]] int row_of(int entry) const { return entry - top_ + title_rows() + 1; }

  // An empty text in the user's language leaves an entry without letters to choose it by.
  [[nodiscard]] bool is_open(int entry) const {
    const auto index = static_cast<std::size_t>(entry);
    return can_be_chosen(menu_.entries[index]) && !texts_[index].text.empty();
  }

  [[nodiscard]] Place make_place(const OpenMenu* parent) const {
    std::size_t text = screen_text(menu_.title).size();
    std::size_t key = 0;
    bool opens = false;
    for (std::size_t i = 0; i < menu_.entries.size(); ++i) {
      const MenuEntry& entry = menu_.entries[i];
      text = std::max(text, texts_[i].text.size() + (entry.enabled ? 0 : 2));
      const std::size_t key_length = key_text(entry.key).size();
      if (key_length > 0) key = std::max(key, key_length + 2);
      opens = opens || entry.submenu != nullptr;
    }
    const std::size_t needed = text + key + (opens ? 2 : 0) + 4;
    Place place;
    place.width = static_cast<int>(std::min<std::size_t>(needed, kScreenColumns));
    place.height = std::clamp(count() + title_rows() + 2, 3, kScreenRows - 1);
    int left = menu_.column;
    int top = menu_.row;
    if (parent != nullptr) {
      const Place& from = parent->place_;
      top = from.top + parent->row_of(parent->current_);
      left = from.left + from.width;
      if (left + place.width > kScreenColumns + 1) left = std::max(1, from.left - place.width);
    }
    place.top = std::clamp(top, 1, kScreenRows - place.height);
    place.left = std::clamp(left, 1, kScreenColumns - place.width + 1);
    return place;
  }

  // Returns the next entry that can be chosen, around the menu; the same one, or -1, without
  // another.
  [[nodiscard]] int next_from(int entry, int step) const {
    for (int i = 1; i <= count(); ++i) {
      const int candidate = ((entry + i * step) % count() + count()) % count();
      if (can_be_chosen(menu_.entries[static_cast<std::size_t>(candidate)])) return candidate;
    }
    return -1;
  }

  void page(int step) {
    if (current_ < 0) return;
    const int wanted = std::clamp(current_ + step * std::max(1, rows() - 1), 0, count() - 1);
    for (int entry = wanted; entry != current_; entry -= step) {
      if (!can_be_chosen(menu_.entries[static_cast<std::size_t>(entry)])) continue;
      current_ = entry;
      return;
    }
  }

  void scroll() {
    if (current_ >= 0) top_ = std::clamp(top_, std::max(0, current_ - rows() + 1), current_);
  }

  void draw_all() {
    const int window = window_.number();
    const int columns = place_.width - 2;
    p_clear_w(window);
    if (title_rows() > 0)
      print_with(window, kBrightText, 1, 1, cut_visibly(padded(screen_text(menu_.title)), columns));
    for (int entry = top_; entry < count() && entry < top_ + rows(); ++entry)
      draw_entry(entry);
    drawn_top_ = top_;
    drawn_ = -1;
  }

  void draw_entry(int index) {
    if (index < top_ || index >= top_ + rows()) return;
    const MenuEntry& entry = menu_.entries[static_cast<std::size_t>(index)];
    const MarkedText& text = texts_[static_cast<std::size_t>(index)];
    const int window = window_.number();
    const int row = row_of(index);
    const int columns = place_.width - 2;
    if (is_line(entry)) return p_printsonder(window, row, 2, kLineHorizontal, columns);
    const std::string right = key_text(entry.key) + (entry.submenu != nullptr ? " >" : "");
    const int room = columns - 2 - static_cast<int>(right.size());
    std::string shown = entry.enabled ? text.text : std::string("(").append(text.text).append(")");
    shown = padded(cut_visibly(shown, room).append(right));
    const bool is_current = index == current_;
    print_with(window, is_current ? kReverseText : kPlainText, row, 1, shown);
    const auto letter = text.letter == kNoLetter ? room : static_cast<int>(text.letter);
    if (!is_current && entry.enabled && letter < room)
      print_with(window, kBrightText, row, letter + 2,
                 shown.substr(static_cast<std::size_t>(letter) + 1, 1));
    // More entries below.
    const bool is_last_row = index == top_ + rows() - 1 && index + 1 < count();
    const std::string more(systxt_more.view().substr(0, static_cast<std::size_t>(columns)));
    if (is_last_row && !is_current)
      print_with(window, kBrightText, row, columns - static_cast<int>(more.size()) + 1, more);
  }

  const Menu& menu_;
  std::vector<MarkedText> texts_;  // by entry
  Place place_;
  OwnWindow window_;
  int current_ = -1;
  int top_ = 0;         // the first visible entry
  int drawn_top_ = -1;  // as on the screen
  int drawn_ = -1;      // the entry that is shown as the current one
};

// A menu with its open submenus, while the user chooses.
class MenuRun {
 public:
  MenuRun(const Menu& menu, int start) : menu_(menu) {
    if (*menu.status != '\0' && wi_has_free_window()) {
      status_.emplace(kScreenRows, 1, 1, kScreenColumns, true);
      print_with(status_->number(), kReverseText, 1, 1,
                 cut_visibly(padded(screen_text(menu.status)), kScreenColumns));
      status_->show();
    }
    open(menu);
    Path path;
    if (start != 0 && find_path(
                          menu,
                          [start](const MenuEntry& entry) {
                            return entry.submenu == nullptr && entry.number == start;
                          },
                          path))
      follow(path);
  }

  MenuRun(const MenuRun&) = delete;
  MenuRun& operator=(const MenuRun&) = delete;
  // The innermost menu goes first, as the windows lie.
  ~MenuRun() {
    while (!levels_.empty())
      levels_.pop_back();
  }

  int run() {
    for (;;) {
      levels_.back()->show();
      std::uint8_t character = 0;
      const int code = field_key(character);
      if (code == kKeyStart) return 0;
      if (code == kKeyEscape && !close()) return 0;
      if (const int number = take(code, static_cast<char>(character)); number != 0) return number;
    }
  }

 private:
  // Returns the number of the entry that the key chooses; 0 if it chooses none.
  int take(int code, char character) {
    OpenMenu& menu = *levels_.back();
    if (const int number = take_function_key(code); number != 0) return number;
    if (menu.move(code)) return 0;
    if (code == kKeyEnter || (code == kKeyCharacter && menu.take_letter(character)))
      return choose();
    const MenuEntry* entry = menu.current();
    if (code == kKeyRight && entry != nullptr && entry->submenu != nullptr) return choose();
    if (code == kKeyLeft) close();
    if (code == kKeyHelp || (code == kKeyF1 && !has_key(code))) help();
    return 0;
  }

  int take_function_key(int code) {
    Path path;
    if (key_text(code).empty() || !find_key(code, path)) return 0;
    while (levels_.size() > 1)
      levels_.pop_back();
    follow(path);
    return choose();
  }

  bool find_key(int code, Path& path) const {
    return find_path(
        menu_, [code](const MenuEntry& entry) { return entry.key == code; }, path);
  }
  bool has_key(int code) const {
    Path path;
    return find_key(code, path);
  }

  // Opens the submenus on the way to an entry.
  void follow(const Path& path) {
    for (std::size_t i = 0; i < path.size(); ++i) {
      levels_.back()->go_to(path[i]);
      if (i + 1 == path.size()) return;
      levels_.back()->show();
      open(*levels_.back()->current()->submenu);
    }
  }

  int choose() {
    const MenuEntry* entry = levels_.back()->current();
    if (entry == nullptr) return 0;
    if (entry->submenu == nullptr) return entry->number;
    levels_.back()->show();
    open(*entry->submenu);
    return 0;
  }

  void open(const Menu& menu) {
    if (levels_.size() == kMenuLevels) menu_fatal(menu, "it lies too deep", kErrorMenu);
    for (const MenuEntry& entry : menu.entries) {
      if (can_be_chosen(entry) && entry.submenu == nullptr && entry.number <= 0)
        menu_fatal(menu, std::string(entry.text) + " has neither a number nor a submenu",
                   kErrorMenuEntry);
    }
    const OpenMenu* parent = levels_.empty() ? nullptr : levels_.back().get();
    levels_.push_back(std::make_unique<OpenMenu>(menu, parent));
  }

  // Goes back from a submenu; false in the first menu.
  bool close() {
    if (levels_.size() == 1) return false;
    levels_.pop_back();
    return true;
  }

  void help() const {
    const Menu& menu = levels_.back()->menu();
    const MenuEntry* entry = levels_.back()->current();
    const bool own = entry != nullptr && *entry->help_key != '\0';
    help_show(own ? entry->help_key : menu.help_key);
  }

  const Menu& menu_;
  std::optional<OwnWindow> status_;
  std::vector<std::unique_ptr<OpenMenu>> levels_;
};

}  // namespace

int menu_run(const Menu& menu, int start) {
  return MenuRun(menu, start).run();
}

}  // namespace marigold
