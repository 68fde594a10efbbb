// SPDX-License-Identifier: GPL-3.0-or-later
// Random window operations against a model: the screen is a picture, and each window a smaller one.
// In the model only the active window is painted, by its dirty rows or, when live, by its changes;
// hiding, moving and refreshing paint a rectangle from all windows; other operations leave the
// picture as it is.

#include <cstdio>
#include <random>
#include <span>

#include "tests/wi/window_support.h"

namespace marigold::inner::test {
namespace {

using Cells = std::vector<ConsoleCell>;
using Picture = std::vector<Cells>;

const Cells kBlanks(kScreenColumns);
const std::pair<const char*, std::uint16_t> kManners[] = {{nullptr, kColourPlain},
                                                          {"01", kColourReverse},
                                                          {"x010", kColourBright},
                                                          {"01101", kColourReverseBright}};

struct Painting {
  int number = 0;
  Rectangle at;  // from 0
  int inset = 0;
  std::uint16_t colour = kColourPlain;
  Picture cells = Picture(at.height, Cells(at.width));
  std::vector<bool> dirty = std::vector<bool>(at.height, true);
};

void paint_row(Picture& picture, const Painting& window, int row) {
  std::ranges::copy(window.cells[row], &picture[window.at.top + row][window.at.left]);
}

struct WindowModelTest : WindowTest {
  int below(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound)); }
  Painting& with(int number) { return *std::ranges::find(all_, number, &Painting::number); }
  // In half of the cases the active window, which shows most.
  Painting& some_window() {
    if (!stack_.empty() && below(2) == 0) return with(stack_.back());
    return all_[below(static_cast<int>(all_.size()))];
  }
  [[nodiscard]] int top() const { return stack_.empty() ? kNoWindow : stack_.back(); }

  void paint_composed(const Rectangle& place) {
    Picture composed(kScreenRows, kBlanks);
    for (const int number : stack_)
      for (int row = 0; row < with(number).at.height; ++row)
        paint_row(composed, with(number), row);
    for (int row = place.top; row < place.top + place.height; ++row)
      std::copy_n(&composed[row][place.left], place.width, &screen_[row][place.left]);
  }
  void paint_active() {
    if (live_ || flushing_) ++refreshes_;
    if (stack_.empty()) return;
    Painting& window = with(top());
    for (int row = 0; row < window.at.height; ++row)
      if (window.dirty[row]) paint_row(screen_, window, row);
    window.dirty.assign(window.at.height, false);
  }
  // Returns some or all rows and columns inside a window, as the operations count them.
  Rectangle some_region(const Painting& window, bool all) {
    const int rows = window.at.height - 2 * window.inset;
    const int columns = window.at.width - 2 * window.inset;
    if (all) return {1, 1, rows, columns};
    const int top = below(rows);
    const int left = below(columns);
    return {top + 1, left + 1, 1 + below(rows - top), 1 + below(columns - left)};
  }

  void create() {
    if (all_.size() == kWindows) return;
    const int height = 1 + below(12);
    const int width = 1 + below(40);
    const Rectangle at{below(25 - height), below(81 - width), height, width};
    const bool no_frame = below(2) == 0;
    const int inset = no_frame || height < 3 || width < 3 ? 0 : 1;
    Painting window{make(at.top + 1, at.left + 1, height, width, no_frame), at, inset};
    for (int row = 0; inset == 1 && row < height; ++row) {
      const bool first = row == 0;
      const bool last = row == height - 1;
      if (first || last) window.cells[row].assign(width, ConsoleCell{196});
      window.cells[row].front().character = first ? 218 : last ? 192 : 179;
      window.cells[row].back().character = first ? 191 : last ? 217 : 179;
    }
    all_.push_back(window);
  }
  void print(Painting& window) {
    const Rectangle at = some_region(window, false);
    const ConsoleCell cell{static_cast<std::uint8_t>('a' + below(26)), window.colour};
    p_printstr(window.number, at.top, at.left, std::string(at.width, cell.character).c_str());
    const int row = at.top + window.inset - 1;
    const int column = at.left + window.inset - 1;
    std::fill_n(&window.cells[row][column], at.width, cell);
    window.dirty[row] = true;
    if (!live_ || top() != window.number) return;
    std::fill_n(&screen_[window.at.top + row][window.at.left + column], at.width, cell);
    ++refreshes_;
  }
  // Blanks a region, or scrolls it up or down.
  void change_region(Painting& window) {
    const int step = below(3) - 1;
    const bool all = below(4) == 0;
    const auto [top, left, height, width] = some_region(window, all);
    const int first = top + window.inset - 1;
    const int end = first + height;
    const int column = left + window.inset - 1;
    // Any part beyond the window is cut.
    const int rows = height + (end == window.at.height ? below(30) : 0);
    const int before = first == 0 && column == 0 ? below(30) : 0;
    if (all && step == 0)
      p_clear_w(window.number);
    else if (all)
      p_scroll_w(window.number, step > 0);
    else if (step == 0)
      rangecl_w(window.number, top, left, rows, width);
    else
      p_scr_pos_w(window.number, top - before, left - before, rows + before, width + before,
                  step > 0);
    const Picture old = window.cells;
    for (int row = first; row < end; ++row) {
      const int from = row - step;
      const bool blank = step == 0 || from < first || from == end;
      std::copy_n(blank ? kBlanks.data() : &old[from][column], width, &window.cells[row][column]);
      window.dirty[row] = true;
    }
    if (live_ && wi_active() == window.number) paint_active();
  }
  void activate(Painting& window) {
    p_active_w(window.number);
    if (top() == window.number) return;
    std::erase(stack_, window.number);
    stack_.push_back(window.number);
    window.dirty.assign(window.at.height, true);
    paint_active();
  }
  void hide(Painting& window) {
    p_de_active_w(window.number);
    if (std::erase(stack_, window.number) > 0) paint_composed(window.at);
  }
  void destroy(Painting& window) {
    p_destroy_w(window.number);
    if (std::erase(stack_, window.number) > 0) paint_composed(window.at);
    if (flushing_) ++refreshes_;
    all_.erase(all_.begin() + (&window - all_.data()));
  }
  void move(Painting& window) {
    const int rows = below(9) - 4;
    const int columns = below(31) - 15;
    p_move_w(window.number, rows, columns);
    const Rectangle old = window.at;
    window.at.top = std::clamp(old.top + rows, 0, 24 - old.height);
    window.at.left = std::clamp(old.left + columns, 0, 80 - old.width);
    if (window.at.top == old.top && window.at.left == old.left) return;
    paint_composed(old);
    paint_composed(window.at);
  }
  void change_manner(Painting& window) {
    const auto& [attribute, colour] = kManners[below(std::size(kManners))];
    p_set_atr(window.number, attribute);
    window.colour = colour;
    wi_set_live(live_ = below(2) == 0);
    wi_set_flushing(flushing_ = below(2) == 0);
  }
  void refresh(Painting& window) {
    p_refreshany_w(window.number);
    paint_composed(window.at);
  }
  void refresh_active(Painting& /*window*/) {
    wi_refresh_active();
    paint_active();
  }
  // Writes like another program: cells stay that the next operations do not write.
  void smear(Painting& window) {
    ScreenRow line;
    row_fill(line, '#', 0);
    terminal_write_row(line, window.at.top + 1, 1, kScreenColumns);
    screen_[window.at.top].assign(kScreenColumns, {'#', kColourPlain});
  }

  std::mt19937 random_;
  std::vector<Painting> all_;
  std::vector<int> stack_;
  Picture screen_ = Picture(kScreenRows, kBlanks);
  bool live_ = false;
  bool flushing_ = false;
  int refreshes_ = 0;
};

TEST_F(WindowModelTest, TheTerminalShowsWhatThePainterPaints) {
  using M = WindowModelTest;
  static constexpr void (M::*kSteps[])(Painting&) = {
      &M::print,         &M::print,    &M::print,          &M::change_region,
      &M::change_region, &M::activate, &M::activate,       &M::activate,
      &M::hide,          &M::destroy,  &M::move,           &M::move,
      &M::change_manner, &M::refresh,  &M::refresh_active, &M::smear};
  const unsigned seed = std::random_device{}();
  std::printf("seed %u\n", seed);
  random_.seed(seed);
  for (int count = 0; count < 5000; ++count) {
    if (all_.empty() || below(14) == 0) create();
    const int step = below(std::size(kSteps));
    refreshes_ = recording().writes;
    (this->*kSteps[step])(some_window());
    EXPECT_EQ(recording().writes, refreshes_) << "operation " << step;
    terminal_refresh();
    for (int row = 0; row < kScreenRows; ++row)
      ASSERT_TRUE(std::ranges::equal(screen_[row], std::span(&recording().cell(row + 1, 1), 80)))
          << "row " << row << ", step " << count << ", operation " << step;
    ASSERT_EQ(wi_active(), top());
  }
  EXPECT_EQ(said, "");
}

}  // namespace
}  // namespace marigold::inner::test
