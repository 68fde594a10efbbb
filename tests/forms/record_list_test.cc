// SPDX-License-Identifier: GPL-3.0-or-later
// Record lists: tests type keys and look at the rows on the screen at each wait for a key, while
// records come and go.

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "marigold/record_lists.h"
#include "tests/data/support.h"
#include "tests/support/watched_session.h"

namespace marigold::inner::test {
namespace {

constexpr int kRows = 6;  // of the lists here
constexpr int kTop = 4;   // screen row of the first record: frame, title and heading above it
constexpr RecordColumn kColumns[] = {{.title = "Number", .field = "SNR", .mask = "####0"},
                                     {.title = "Name", .field = "NAME"}};

// Runs when all typed keys are taken, with the screen as the user sees it.
std::function<void()> before_key;

const Console& console_with_turns() {
  static const Console kConsole = [] {
    Console console = recording_console();
    console.read_key = [] {
      if (before_key && recording().keys.empty()) before_key();
      return recording_console().read_key();
    };
    return console;
  }();
  return kConsole;
}

struct RecordListTest : DataTest {
  RecordListTest() {
    before_key = nullptr;
    data_open(file, LockWait::kTell);
  }
  ~RecordListTest() override { data_close_all(); }

  void add(int number, const std::string& name) {
    data_clear_record(file);
    data_put_long(file, "SNR", number);
    data_put_text(file, "NAME", name);
    ASSERT_EQ(data_write(file), 0);
  }
  void remove(int number) {
    data_put_long(file, "SNR", number);
    ASSERT_EQ(data_delete(file), 0);
  }
  [[nodiscard]] RecordListLayout layout(int key) const {
    return {.file = &file, .key = key, .title = "Customers", .rows = kRows, .columns = kColumns};
  }
  // Numbers of the records on the screen.
  static std::vector<int> shown() {
    std::vector<int> numbers;
    for (int row = kTop; row < kTop + kRows; ++row) {
      const std::string digits = recording().text(row, 3, 6);
      if (digits.find_first_not_of(' ') != std::string::npos) numbers.push_back(std::stoi(digits));
    }
    return numbers;
  }
  // The row in reverse, from 0; -1 if it is not exactly one.
  static int current_row() {
    int found = -1;
    for (int row = 0; row < kRows; ++row) {
      const auto colour = recording().cell(kTop + row, 4).colour;
      if (colour == kColourPlain || colour == kColourBright) continue;
      if (found >= 0) return -1;
      found = row;
    }
    return found;
  }
  // Types keys and returns the number in the buffer when the list returns; 0 without a record.
  int after(RecordList& list, const std::string& keys) const {
    recording().type(keys);
    list.run();
    EXPECT_TRUE(recording().keys.empty()) << keys;
    return data_get_long(file, "SNR");
  }

  DataFile& file = data_file("CUSTOMER");
  const WatchedSession session{console_with_turns()};
};

// The records in the order of a key, as a list must show them, and its current one.
struct Model {
  struct Record {
    std::string name;
    int order = 0;  // of equal names, that of writing
    int number = 0;
    auto operator<=>(const Record&) const = default;
  };
  std::vector<Record> records;
  std::size_t at = 0;

  void insert(const Record& record) {
    const auto place = std::ranges::lower_bound(records, record);
    const bool before = static_cast<std::size_t>(place - records.begin()) <= at;
    if (before && !records.empty()) ++at;
    records.insert(place, record);
  }
  int erase(std::size_t index) {
    const int number = records[index].number;
    records.erase(records.begin() + static_cast<std::ptrdiff_t>(index));
    if (index < at || (at > 0 && at == records.size())) --at;
    return number;
  }
  void move(int by) {
    const auto last = static_cast<int>(records.size()) - 1;
    at = static_cast<std::size_t>(std::clamp(static_cast<int>(at) + by, 0, std::max(0, last)));
  }
};

TEST_F(RecordListTest, ShowsTheFileAsItIsWhileOthersChangeIt) {
  const std::map<std::string, int> moves = {
      {kUp, -1},      {kDown, 1},  {kPageUp, 1 - kRows}, {kPageDown, kRows - 1},
      {kHome, -1000}, {kEnd, 1000}};
  for (unsigned seed = 1; seed <= 6; ++seed) {
    std::mt19937 random(seed);
    const auto draw = [&](std::size_t below) { return static_cast<int>(random() % below); };
    Model model;
    int order = 0;
    const auto add_one = [&] {
      const Model::Record record{std::string(1, static_cast<char>('a' + draw(4))), ++order, order};
      add(record.number, record.name);
      model.insert(record);
    };
    for (int i = 0; i < draw(3) * 9; ++i)
      add_one();
    model.at = 0;
    RecordList list(layout(2));
    int waits = 0;
    before_key = [&] {
      const std::vector<int> rows = shown();
      const std::size_t size = model.records.size();
      ASSERT_EQ(rows.size(), std::min<std::size_t>(size, kRows)) << seed << ' ' << waits;
      const int row = current_row();
      ASSERT_EQ(row < 0, size == 0);
      for (std::size_t i = 0; i < rows.size(); ++i)
        ASSERT_EQ(rows[i], model.records[model.at + i - static_cast<std::size_t>(row)].number);
      if (++waits > 300) return recording().type(kEscape);
      // Somebody else's turn, and the user's.
      for (int i = draw(3); i > 0; --i) {
        const int act = draw(9);
        if (act < 2) add_one();
        if (act == 2 && !model.records.empty())
          remove(model.erase(static_cast<std::size_t>(draw(model.records.size()))));
      }
      const auto& [key, by] = *std::next(moves.begin(), draw(moves.size()));
      recording().type(key);
      model.move(by);
    };
    EXPECT_EQ(list.run(), kKeyEscape);
    before_key = nullptr;
    ASSERT_FALSE(HasFatalFailure());
    const int current = model.records.empty() ? 0 : model.records[model.at].number;
    EXPECT_EQ(data_get_long(file, "SNR"), current);
    while (!model.records.empty())
      remove(model.erase(0));
  }
}

TEST_F(RecordListTest, TitlesStandOverTheirColumns) {
  const RecordColumn columns[] = {{.title = "No", .field = "SNR", .mask = "#####0"},
                                  {.title = "Name", .field = "NAME", .width = 8}};
  add(7, "Anna");
  RecordListLayout described = layout(1);
  described.columns = columns;
  RecordList list(described);
  after(list, kEscape);
  EXPECT_EQ(recording().text(kTop - 1, 3, 16), "    No Name     ");
  EXPECT_EQ(recording().text(kTop, 3, 16), "     7 Anna     ");
}

TEST_F(RecordListTest, TypingFindsTheFirstRecordThatBeginsSo) {
  const char* const names[] = {"Auer", "Bauer", "Baum", "Bz", "bauer", "\xD6st"};
  for (int i = 0; i < 6; ++i)
    add(i * 10 + 10, names[i]);
  struct Case {
    int key;
    std::string typed;
    int current;
  } cases[] = {{2, "Baum", 30},
               {2, "B", 20},
               {2, "bAu", 50},
               {2, "a", 10},
               {2, "Bax", 20},
               {2, "Baum" + kBack + kBack, 20},
               {2, "x", 10},
               {1, "25", 30},
               {1, "60", 60},
               {1, "99", 10},
               {1, "12x", 20},
               {1, "-5", 10},
               {1, "30" + kDown + "12", 20}};
  for (const auto& [key, typed, current] : cases) {
    RecordList list(layout(key));
    EXPECT_EQ(after(list, typed + kEscape), current) << typed;
  }
}

TEST_F(RecordListTest, HasOnlyRecordsOfTheFixedPartsThatAreAccepted) {
  for (int i = 1; i <= 30; ++i)
    add(i, i % 3 == 0 ? "x" : i % 3 == 1 ? "y" : "z");
  data_put_text(file, "NAME", "y");
  RecordListLayout some = layout(2);
  some.fixed_parts = 1;
  {
    RecordList list(some);
    EXPECT_EQ(after(list, kHome + kEscape), 1);
    EXPECT_EQ(after(list, kUp + kEscape), 1);
    EXPECT_EQ(after(list, kEnd + kEscape), 28);
    EXPECT_EQ(after(list, kDown + kPageUp + kEscape), 13);
    data_put_long(file, "SNR", 7);
    EXPECT_TRUE(list.go_to_record());
    EXPECT_EQ(after(list, kDown + kEscape), 10);
    data_put_long(file, "SNR", 8);
    EXPECT_FALSE(list.go_to_record());
  }
  some = layout(1);
  some.accepts = [](const DataFile& record, void*) {
    return data_get_long(record, "SNR") % 10 == 0;
  };
  RecordList list(some);
  EXPECT_EQ(after(list, kEscape), 10);
  EXPECT_EQ(after(list, kDown + kDown + kDown + kEscape), 30);
  EXPECT_EQ(after(list, "11" + kEscape), 20);
  before_key = [] {
    EXPECT_EQ(shown(), (std::vector{10, 20, 30}));
    recording().type(kEscape);
  };
  EXPECT_EQ(after(list, kUp), 10);
}

TEST_F(RecordListTest, MarksStayWithTheirRecords) {
  for (int i = 1; i <= 9; ++i)
    add(i, "n" + std::to_string(9 - i));
  RecordList list(layout(2));
  after(list, kInsert + kInsert + kDown + kInsert + kHome + kInsert + kEscape);  // 9 and then not
  ASSERT_EQ(list.marked(), 2);
  remove(6);
  EXPECT_EQ(list.read_marked(0), kDataNotFound);
  EXPECT_EQ(list.read_marked(1), kDataDone);
  EXPECT_EQ(data_get_long(file, "SNR"), 8);
  EXPECT_EQ(list.read_marked(2), kDataNotFound);
  before_key = [] {
    EXPECT_EQ(recording().text(kTop + 1, 2, 1), "*");
    recording().type(kEscape);
  };
  after(list, "");
  list.unmark_all();
  EXPECT_EQ(list.marked(), 0);
}

TEST_F(RecordListTest, AnotherOrderKeepsTheRecordAndTheMarks) {
  for (int i = 1; i <= 4; ++i)
    add(i, "n" + std::to_string(9 - i));
  constexpr RecordOrder kOrders[] = {{2, "By name"}, {1, "By number"}};
  RecordListLayout described = layout(1);
  described.orders = kOrders;
  described.keys = "Enter chooses";
  {
    RecordList list(described);
    EXPECT_EQ(after(list, kEscape), 4);
    EXPECT_EQ(shown(), (std::vector{4, 3, 2, 1}));
    EXPECT_EQ(recording().text(2, 2, 7), "By name");
    EXPECT_EQ(recording().text(kScreenRows - 1, 1, 15), " Enter chooses ");
    EXPECT_EQ(after(list, kInsert + function_key(3) + kEscape), 3);
    EXPECT_EQ(shown(), (std::vector{1, 2, 3, 4}));
    EXPECT_EQ(recording().text(2, 2, 9), "By number");
    EXPECT_EQ(recording().text(kTop + 3, 2, 1), "*");
    EXPECT_EQ(current_row(), 2);
    recording().type(function_key(2) + kDown + kEnter);
    EXPECT_TRUE(list.choose());
    EXPECT_EQ(data_get_long(file, "SNR"), 4);
    recording().type(function_key(3) + kEscape);
    EXPECT_FALSE(list.choose());
    EXPECT_EQ(shown(), (std::vector{4, 3, 2, 1}));
  }
  EXPECT_EQ(recording().text(kScreenRows - 1, 1, 15), std::string(15, ' '));
}

// Enter means the record that the user sees.
TEST_F(RecordListTest, ARecordThatIsGoneIsNotChosen) {
  for (int i = 1; i <= 3; ++i)
    add(i, "n");
  RecordList list(layout(1));
  int waits = 0;
  before_key = [&] {
    if (++waits == 1) remove(1);
    recording().type(kEnter);
  };
  EXPECT_EQ(list.run(), kKeyEnter);
  EXPECT_EQ(waits, 2);
  EXPECT_EQ(data_get_long(file, "SNR"), 2);
  before_key = nullptr;
  remove(2);
  remove(3);
  EXPECT_EQ(after(list, kEnter + kInsert + kPageDown + "n" + kEscape), 0);
}

TEST_F(RecordListTest, ALongSearchCanBeInterrupted) {
  for (int i = 1; i <= 400; ++i)
    add(i, "n");
  RecordListLayout none = layout(1);
  none.accepts = [](const DataFile& record, void*) {
    if (data_get_long(record, "SNR") == 1) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return false;
  };
  RecordList list(none);
  // A key brings the question; the second answer ends the search.
  before_key = [] {
    EXPECT_NE(recording().text(kScreenRows).find("Searching"), std::string::npos);
    recording().type(kDown + kEnter + kEscape);
  };
  recording().type(kDown + "x");
  EXPECT_EQ(list.run(), kKeyEscape);
}

}  // namespace
}  // namespace marigold::inner::test
