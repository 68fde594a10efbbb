// Windows at random against a painter's model: the screen is a picture, a window a smaller one. The
// model knows when something is painted and when it stays behind: only the active window is
// written, by its dirty rows or, when live, by what has changed; hiding, moving and refreshing
// paint a rectangle from all windows; anything else leaves the picture alone.

#include <cstdio>
#include <random>

#include "tests/wi/window_support.h"

namespace marigold::test {
namespace {

using Picture = std::vector<std::vector<ConsoleCell>>;

struct Painting {
  int number, top, left, height, width, inset;
  std::uint16_t colour = kColourPlain;
  Picture cells = Picture(kScreenRows, std::vector<ConsoleCell>(kScreenColumns));  // as on screen
  std::vector<bool> dirty = std::vector<bool>(kScreenRows, true);

  [[nodiscard]] bool covers(int row, int column) const {
    return row >= top && row < top + height && column >= left && column < left + width;
  }
  ConsoleCell& at(int row, int column) { return cells[row][left + column]; }
};

class WindowModelTest : public WindowTest {
 protected:
  int below(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound)); }
  Painting& any() { return all_[below(static_cast<int>(all_.size()))]; }
  Painting& with(int number) { return *std::ranges::find(all_, number, &Painting::number); }
  [[nodiscard]] bool active(const Painting& window) const {
    return !stack_.empty() && stack_.back() == window.number;
  }

  void paint_composed(const Painting& place, int without) {
    for (int row = place.top; row < place.top + place.height; ++row) {
      for (int column = place.left; column < place.left + place.width; ++column) {
        screen_[row][column] = {};
        for (const int number : stack_) {
          Painting& shown = with(number);
          if (number != without && shown.covers(row, column))
            screen_[row][column] = shown.cells[row - shown.top][column];
        }
      }
    }
  }
  void paint_dirty(Painting& window) {
    for (int row = 0; row < window.height; ++row) {
      for (int column = window.left; window.dirty[row] && column < window.left + window.width;
           ++column)
        screen_[window.top + row][column] = window.cells[row][column];
      window.dirty[row] = false;
    }
  }
  // Sets cells of a row of the window; "at once" paints just them.
  void set(Painting& window, int row, int column, const std::vector<ConsoleCell>& cells,
           bool at_once) {
    for (const ConsoleCell& cell : cells) {
      window.at(row, column) = cell;
      if (at_once) screen_[window.top + row][window.left + column] = cell;
      ++column;
    }
    window.dirty[row] = true;
  }

  void create() {
    if (all_.size() == 30) return;
    const int height = 1 + below(12);
    const int width = 1 + below(40);
    const int top = below(25 - height);
    const int left = below(81 - width);
    const bool frame = height > 2 && width > 2 && below(3) > 0;
    Painting window{
        make(top + 1, left + 1, height, width, !frame), top, left, height, width, frame ? 1 : 0};
    for (int row = 0; frame && row < height; ++row) {
      const bool first = row == 0;
      const bool last = row == height - 1;
      for (int column = 0; column < width && (first || last); ++column)
        window.at(row, column).character = 196;
      window.at(row, 0).character = first ? 218 : last ? 192 : 179;
      window.at(row, width - 1).character = first ? 191 : last ? 217 : 179;
    }
    all_.push_back(window);
  }
  void print(Painting& window) {
    const int row = below(window.height - window.inset);
    const int column = below(window.width - window.inset);
    const int count = 1 + below(window.width - window.inset - column);
    const char letter = static_cast<char>('a' + below(26));
    p_printstr(window.number, row + 1, column + 1, std::string(count, letter).c_str());
    set(window, row + window.inset, column + window.inset,
        std::vector<ConsoleCell>(count, {static_cast<std::uint8_t>(letter), window.colour}),
        live_ && active(window));
  }
  void scroll(Painting& window, bool down) {
    p_scroll_w(window.number, down);
    const int last = window.height - window.inset - 1;
    for (int step = window.inset; step <= last; ++step) {
      const int row = down ? last + window.inset - step : step;
      const int from = down ? row - 1 : row + 1;
      for (int column = window.inset; column < window.width - window.inset; ++column) {
        const bool blank = from < window.inset || from > last;
        window.at(row, column) = blank ? ConsoleCell{} : window.at(from, column);
      }
      window.dirty[row] = true;
    }
    if (live_ && active(window)) paint_dirty(window);
  }
  void clear(Painting& window) {
    p_clear_w(window.number);
    for (int row = window.inset; row < window.height - window.inset; ++row)
      set(window, row, window.inset, std::vector<ConsoleCell>(window.width - 2 * window.inset),
          false);
    if (live_ && active(window)) paint_dirty(window);
  }
  void activate(Painting& window) {
    p_active_w(window.number);
    if (active(window)) return;
    std::erase(stack_, window.number);
    stack_.push_back(window.number);
    window.dirty.assign(kScreenRows, true);
    paint_dirty(window);
  }
  void hide(Painting& window, bool destroy) {
    destroy ? p_destroy_w(window.number) : p_de_active_w(window.number);
    const int number = window.number;
    if (std::ranges::count(stack_, number) > 0) {
      paint_composed(window, number);
      window.dirty.assign(kScreenRows, true);
    }
    std::erase(stack_, number);
    if (destroy)
      std::erase_if(all_, [number](const Painting& one) { return one.number == number; });
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
      std::copy_n(old.cells[row].begin() + old.left, old.width,
                  window.cells[row].begin() + window.left);
    paint_composed(old, 0);
    paint_composed(window, 0);
  }
  void adjust(Painting& window) {
    const int top = below(25 - window.height);
    const int left = below(81 - window.width);
    p_adjust_w(window.number, top, left, -1, -1);
    if (active(window)) return;
    window.top = top;
    window.left = left;
  }
  void change_manner(Painting& window) {
    static constexpr std::uint16_t kColours[] = {kColourPlain, kColourReverse, kColourBright,
                                                 kColourReverseBright};
    const int index = below(4);
    p_Mset_atr(window.number, 2 * index);
    window.colour = kColours[index];
    live_ = below(2) == 0;
    wi_set_live(live_);
    wi_set_flushing(below(2) == 0);
  }
  void refresh(Painting& window) {
    if (below(2) == 0) {
      p_refreshany_w(window.number);
      paint_composed(window, 0);
    } else {
      wi_refresh_active();
      if (!stack_.empty()) paint_dirty(with(stack_.back()));
    }
  }
  int step() {
    const int choice = all_.empty() ? 0 : below(16);
    switch (choice) {
      case 0:
      case 1:
        create();
        break;
      case 2:
      case 3:
      case 4:
        activate(any());
        break;
      case 5:
        hide(any(), false);
        break;
      case 6:
        hide(any(), true);
        break;
      case 7:
      case 8:
        move(any());
        break;
      case 9:
        adjust(any());
        break;
      case 10:
        change_manner(any());
        break;
      case 11:
        refresh(any());
        break;
      case 12:
        scroll(any(), below(2) == 0);
        break;
      case 13:
        clear(any());
        break;
      default:
        print(any());
        break;
    }
    return choice;
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
  Picture screen_ = Picture(kScreenRows, std::vector<ConsoleCell>(kScreenColumns));
  bool live_ = false;
};

TEST_F(WindowModelTest, TheTerminalShowsWhatThePainterPaints) {
  const unsigned seed = std::random_device{}();
  std::printf("seed %u\n", seed);
  random_.seed(seed);
  for (int count = 0; count < 5000; ++count) {
    const int choice = step();
    ASSERT_EQ(difference(), "") << "step " << count << ", operation " << choice;
    ASSERT_EQ(wi_active(), stack_.empty() ? kNoWindow : stack_.back());
  }
  EXPECT_EQ(said, "");
}

}  // namespace
}  // namespace marigold::test
