// Windows at random against a painter's model: the screen is a picture, a window a smaller one. The
// model knows what stays behind: only the active window is painted, by its dirty rows or, when
// live, by what has changed; hiding, moving and refreshing paint a rectangle from all windows;
// anything else leaves the picture alone.

#include <cstdio>
#include <random>

#include "tests/wi/window_support.h"

namespace marigold::test {
namespace {

using Cells = std::vector<ConsoleCell>;
using Picture = std::vector<Cells>;

const Cells kBlanks(kScreenColumns);

struct Painting {
  int number, top, left, height, width, inset;
  std::uint16_t colour = kColourPlain;
  Picture cells = Picture(kScreenRows, kBlanks);  // at the columns of the screen
  std::vector<bool> dirty = std::vector<bool>(kScreenRows, true);

  [[nodiscard]] bool covers(int row, int column) const {
    return row >= top && row < top + height && column >= left && column < left + width;
  }
};

struct WindowModelTest : WindowTest {
  int below(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound)); }
  Painting& with(int number) { return *std::ranges::find(all_, number, &Painting::number); }
  // As often as not the active one, which shows most.
  Painting& some_window() {
    if (!stack_.empty() && below(2) == 0) return with(stack_.back());
    return all_[below(static_cast<int>(all_.size()))];
  }
  [[nodiscard]] bool on_top(const Painting& window) const { return wi_top() == window.number; }
  [[nodiscard]] int wi_top() const { return stack_.empty() ? kNoWindow : stack_.back(); }

  void paint_composed(const Painting& place, int without) {
    for (int row = place.top; row < place.top + place.height; ++row) {
      for (int column = place.left; column < place.left + place.width; ++column) {
        screen_[row][column] = {};
        for (const int number : stack_) {
          const Painting& shown = with(number);
          if (number != without && shown.covers(row, column))
            screen_[row][column] = shown.cells[row - shown.top][column];
        }
      }
    }
  }
  void paint_active() {
    if (live_ || flushing_) ++refreshes_;
    if (stack_.empty()) return;
    Painting& window = with(stack_.back());
    for (int row = 0; row < window.height; ++row) {
      if (window.dirty[row]) {
        std::copy_n(&window.cells[row][window.left], window.width,
                    &screen_[window.top + row][window.left]);
      }
      window.dirty[row] = false;
    }
  }
  // Some rows and columns inside a window, as the operations count them.
  Rectangle some_region(const Painting& window) {
    const int rows = window.height - 2 * window.inset;
    const int columns = window.width - 2 * window.inset;
    const int top = below(rows);
    const int left = below(columns);
    return {top + 1, left + 1, 1 + below(rows - top), 1 + below(columns - left)};
  }
  static ConsoleCell* cells_at(Painting& window, int row, const Rectangle& region) {
    window.dirty[row + window.inset - 1] = true;
    return &window.cells[row + window.inset - 1][window.left + window.inset + region.left - 1];
  }
  void region_changed(const Painting& window) {
    if (live_ && on_top(window)) paint_active();
  }

  void create() {
    if (all_.size() == kWindows) return;
    const int height = 1 + below(12);
    const int width = 1 + below(40);
    const int top = below(25 - height);
    const int left = below(81 - width);
    const int inset = height > 2 && width > 2 ? below(2) : 0;
    Painting window{
        make(top + 1, left + 1, height, width, inset == 0), top, left, height, width, inset};
    for (int row = 0; inset == 1 && row < height; ++row) {
      const bool first = row == 0;
      const bool last = row == height - 1;
      if (first || last) std::fill_n(&window.cells[row][left], width, ConsoleCell{196});
      window.cells[row][left].character = first ? 218 : last ? 192 : 179;
      window.cells[row][left + width - 1].character = first ? 191 : last ? 217 : 179;
    }
    all_.push_back(window);
  }
  void print(Painting& window) {
    const Rectangle at = some_region(window);
    const auto letter = static_cast<std::uint8_t>('a' + below(26));
    p_printstr(window.number, at.top, at.left,
               std::string(at.width, static_cast<char>(letter)).c_str());
    ConsoleCell* cells = cells_at(window, at.top, at);
    std::fill_n(cells, at.width, ConsoleCell{letter, window.colour});
    if (!live_ || !on_top(window)) return;
    std::copy_n(
        cells, at.width,
        &screen_[window.top + window.inset + at.top - 1][window.left + window.inset + at.left - 1]);
    ++refreshes_;
  }
  void scroll(Painting& window) {
    const Rectangle at = some_region(window);
    const int step = 2 * below(2) - 1;
    p_scr_pos_w(window.number, at.top, at.left, at.height, at.width, step > 0);
    const int first = step > 0 ? at.top + at.height - 1 : at.top;  // the first that is overwritten
    for (int count = 0; count < at.height; ++count) {
      const int row = first - step * count;
      const ConsoleCell* from = kBlanks.data();
      if (count + 1 < at.height) from = cells_at(window, row - step, at);
      std::copy_n(from, at.width, cells_at(window, row, at));
    }
    region_changed(window);
  }
  void blank(Painting& window) {
    const Rectangle at = some_region(window);
    rangecl_w(window.number, at.top, at.left, at.height, at.width);
    for (int row = at.top; row < at.top + at.height; ++row)
      std::copy_n(kBlanks.data(), at.width, cells_at(window, row, at));
    region_changed(window);
  }
  void activate(Painting& window) {
    p_active_w(window.number);
    if (on_top(window)) return;
    std::erase(stack_, window.number);
    stack_.push_back(window.number);
    window.dirty.assign(kScreenRows, true);
    paint_active();
  }
  void hide(Painting& window) {
    p_de_active_w(window.number);
    if (std::erase(stack_, window.number) > 0) paint_composed(window, 0);
  }
  void destroy(Painting& window) {
    const int number = window.number;
    p_destroy_w(number);
    if (std::erase(stack_, number) > 0) paint_composed(window, 0);
    std::erase_if(all_, [number](const Painting& one) { return one.number == number; });
    if (flushing_) ++refreshes_;
  }
  void move(Painting& window) {
    const int rows = below(9) - 4;
    const int columns = below(31) - 15;
    p_move_w(window.number, rows, columns);
    const Painting old = window;
    window.top = std::clamp(old.top + rows, 0, 24 - old.height);
    window.left = std::clamp(old.left + columns, 0, 80 - old.width);
    if (window.top == old.top && window.left == old.left) return;
    for (int row = 0; row < old.height; ++row)
      std::copy_n(&old.cells[row][old.left], old.width, &window.cells[row][window.left]);
    paint_composed(old, 0);
    paint_composed(window, 0);
  }
  void adjust(Painting& window) {
    const int top = below(25 - window.height);
    const int left = below(81 - window.width);
    p_adjust_w(window.number, top, left, -1, -1);
    if (on_top(window)) return;
    window.top = top;
    window.left = left;
  }
  void change_manner(Painting& window) {
    const int index = below(4);
    p_Mset_atr(window.number, 2 * index);
    window.colour =
        std::array{kColourPlain, kColourReverse, kColourBright, kColourReverseBright}[index];
    wi_set_live(live_ = below(2) == 0);
    wi_set_flushing(flushing_ = below(2) == 0);
  }
  void refresh(Painting& window) {
    p_refreshany_w(window.number);
    paint_composed(window, 0);
  }
  void refresh_active(Painting& /*window*/) {
    wi_refresh_active();
    paint_active();
  }
  // Somebody else's output: what is not written by the next operations stays.
  void smear(Painting& window) {
    ScreenRow line;
    row_fill(line, '#', 0);
    terminal_write_row(line, window.top + 1, 1, kScreenColumns);
    screen_[window.top].assign(kScreenColumns, {'#', kColourPlain});
  }

  // Where the terminal differs from the picture: row and column from 1.
  std::string difference() {
    terminal_refresh();
    for (int row = 1; row <= kScreenRows; ++row)
      for (int column = 1; column <= kScreenColumns; ++column)
        if (recording().cell(row, column) != screen_[row - 1][column - 1])
          return std::to_string(row) + "," + std::to_string(column);
    return "";
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
      &M::print,    &M::print,         &M::print,   &M::scroll,         &M::blank, &M::activate,
      &M::activate, &M::activate,      &M::hide,    &M::destroy,        &M::move,  &M::move,
      &M::adjust,   &M::change_manner, &M::refresh, &M::refresh_active, &M::smear};
  const unsigned seed = std::random_device{}();
  std::printf("seed %u\n", seed);
  random_.seed(seed);
  for (int count = 0; count < 5000; ++count) {
    if (all_.empty() || below(14) == 0) create();
    const int step = below(std::size(kSteps));
    refreshes_ = recording().writes;
    (this->*kSteps[step])(some_window());
    EXPECT_EQ(recording().writes, refreshes_) << "operation " << step;
    ASSERT_EQ(difference(), "") << "step " << count << ", operation " << step;
    ASSERT_EQ(wi_active(), wi_top());
  }
  EXPECT_EQ(said, "");
}

}  // namespace
}  // namespace marigold::test
