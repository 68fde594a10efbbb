// SPDX-License-Identifier: GPL-3.0-or-later
// Several operators of the sample shop at once, each a process with a terminal that does at random
// what operators do; with --long for minutes.
#include <algorithm>
#include <array>
#include <atomic>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "tests/shop/shop_operator.h"
#include "tests/support/process.h"

namespace marigold::inner::test {
namespace {

constexpr int kFirstOrder = 1021;  // the first one that is not in the sample data
constexpr int kMostOrders = 20000;
constexpr const char* kCodes[] = {"BK-0820", "FU-0200", "KL-0040", "KU-0100"};
constexpr int kArticles = std::size(kCodes);
constexpr const char* kCustomers[] = {"101", "103", "104", "119"};

// What the operators were told by the shop. An order's pieces are noted before its number is passed
// on by `orders`.
struct Crowd {
  std::array<std::atomic<long>, kArticles> taken;  // booked, less what came back or was counted
  std::array<std::atomic<long>, kArticles> counted;
  std::array<std::array<std::atomic<int>, kArticles>, kMostOrders> pieces;
  std::atomic<int> newest;  // number of the newest order
  std::atomic<int> orders;
  std::atomic<int> cancellations;
  std::atomic<int> payments;
  std::atomic<int> counts;
  std::atomic<int> refused;
  std::atomic<int> questions;
  std::atomic<int> killed;
  // A pause, to look at books that nobody changes: operators wait at their menus.
  std::atomic<bool> pause;
  std::atomic<int> waiting;
  std::atomic<bool> ended;
};

// A text that the screen shows in a row (0: in any), while it does not show another one.
struct Mark {
  int row;
  std::string text;
  std::string without = "";
};

const Mark kAtMenu{6, "What would you like"};
const Mark kWarned{0, "WARNING!"};
const Mark kAsked{24, "try again"};
const Mark kAtList{24, " records", "WARNING!"};
const Mark kWouldBeLost{24, "would be lost"};
const Mark kDropsOrder{24, "Drop the whole order?"};

class Clerk {
 public:
  Clerk(const std::string& name, unsigned seed, Crowd& crowd)
      : random_(seed), crowd_(crowd), operator_(name) {
    step("", {kAtMenu});
  }

  // Whether the clerk is at the menu, and can go on.
  [[nodiscard]] bool is_well() const { return !lost_; }
  [[nodiscard]] bool is_dead() const { return dead_; }

  // One piece of work, from the menu back to the menu.
  void work(bool may_count = true) {
    const int kind = below(may_count ? 11 : 9);
    if (kind < 5 || crowd_.newest < kFirstOrder)
      order();
    else if (kind < 7)
      cancel(some_order());
    else if (kind < 9)
      pay(some_order());
    else
      count();
  }

  // Works until the shop is killed in the midst of it: often while it books.
  void work_until_killed() {
    steps_to_live_ = below(3) == 0 ? 1 + below(12) : 0;
    dies_at_booking_ = steps_to_live_ == 0;
    while (is_well() && !is_dead())
      work(false);
  }

  void go_home() {
    operator_.type(press_f(9));
    EXPECT_EQ(operator_.outcome(), 0);
    EXPECT_TRUE(operator_.session().restored());
  }

  int below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(random_); }

 private:
  bool shows(const Mark& mark) const {
    const std::string seen = mark.row == 0 ? operator_.screen() : operator_.row(mark.row);
    return seen.find(mark.text) != std::string::npos &&
           (mark.without.empty() || operator_.screen().find(mark.without) == std::string::npos);
  }

  // Types the keys and returns which of the marks is seen, or -1 when the clerk's work has ended.
  int step(const std::string& keys, const std::vector<Mark>& marks, bool books = false) {
    if (lost_ || dead_) return -1;
    operator_.type(keys);
    if ((steps_to_live_ > 0 && --steps_to_live_ == 0) ||
        (dies_at_booking_ && books && below(3) != 0))
      return die();
    int seen = -1;
    operator_.session().wait_until([&] {
      for (std::size_t i = 0; i < marks.size() && seen < 0; ++i)
        seen = shows(marks[i]) ? static_cast<int>(i) : -1;
      return seen >= 0;
    });
    if (seen >= 0) return seen;
    lost_ = true;
    std::string texts;
    for (const Mark& mark : marks)
      texts += mark.text + "; ";
    ADD_FAILURE() << "expected: " << texts << "\n" << operator_.screen();
    return -1;
  }

  // A booking takes a few milliseconds. Its most delicate ones begin when the set of changes stands
  // in the journal, the first bytes of which are not zero then; the set may be another operator's. A
  // cluster has no journal, and its sets take longer.
  int die() {
    const bool in_cluster = new_shop_place != nullptr;
    if (dies_at_booking_) {
      for (int waits = 0; waits < 500 && !in_cluster && !journal_is_in_use(); ++waits)
        sleep_us(10);
    }
    sleep_us(below(!dies_at_booking_ ? 40'000 : in_cluster ? 8'000 : 800));
    operator_.session().send(SIGKILL);
    EXPECT_EQ(operator_.outcome(), SIGKILL);
    dead_ = true;
    return -1;
  }

  static bool journal_is_in_use() {
    std::ifstream journal("data/1/CHANGES.journal", std::ios::binary);
    const int first = journal.get();
    return first != 0 && first != EOF;
  }

  // Types the key that stores, answers questions about locks, and returns which of the marks is
  // seen.
  int store(const std::string& keys, std::vector<Mark> marks) {
    marks.push_back(kAsked);
    const int question = static_cast<int>(marks.size()) - 1;
    int seen = step(keys, marks, true);
    while (seen == question) {
      ++crowd_.questions;
      operator_.type(below(4) == 0 ? "b" + kPressEnter : kPressEnter);
      if (!operator_.session().wait_until([&] { return !shows(kAsked); })) ADD_FAILURE();
      seen = step("", marks, true);
    }
    if (seen >= 0 && marks[static_cast<std::size_t>(seen)].text == kWarned.text) ++crowd_.refused;
    return seen;
  }

  // Leaves a mask in which something was typed.
  void give_up_mask() {
    int seen = step(kPressEscape, {kAtMenu, kDropsOrder, kWouldBeLost});
    if (seen == 2) seen = step("q" + kPressEnter, {kAtMenu, kDropsOrder});
    if (seen == 1) step("y" + kPressEnter, {kAtMenu});
  }

  // A warning may follow when the list is seen already, and takes the first Escape.
  void leave_list() {
    if (lost_ || dead_) return;
    for (int attempt = 0; attempt < 2; ++attempt) {
      operator_.type(kPressEscape);
      if (operator_.session().wait_until([&] { return shows(kAtMenu); }, 5000)) return;
    }
    step("", {kAtMenu});
  }

  int some_order() {
    const int newest = crowd_.newest;
    return newest - below(std::min(8, newest - kFirstOrder + 1));
  }

  // The number that stands after these words.
  int number_after(int row, const std::string& words) const {
    const std::string text = operator_.row(row);
    const std::size_t at = text.find(words);
    return at == std::string::npos ? -1 : std::atoi(text.c_str() + at + words.size());
  }

  void order() {
    step(press_f(5), {{4, "New order, page 1"}});
    std::array<int, kArticles> wanted{};
    std::string keys = kCustomers[below(std::size(kCustomers))] + kPressTab + kPressTab + kPressTab;
    const int lines = 1 + below(3);
    for (int i = 0; i < lines; ++i) {
      const int article = below(kArticles);
      const int pieces = 1 + below(5);
      wanted[static_cast<std::size_t>(article)] += pieces;
      keys.append(kCodes[article]).append(kPressTab);
      keys.append(std::to_string(pieces)).append(kPressTab);
    }
    step(keys, {{9 + lines, ","}});  // the last line has a price
    const int seen = store(press_f(2), {{24, "is booked."}, kWarned});
    if (seen == 0) {
      note_order(number_after(24, "Order "), wanted);
      step(" ", {kAtMenu});
    } else if (seen == 1) {
      step(kPressEnter, {{4, "New order, page 1"}});
      give_up_mask();
    }
  }

  void note_order(int number, const std::array<int, kArticles>& wanted) {
    ++crowd_.orders;
    ASSERT_GE(number, kFirstOrder);
    ASSERT_LT(number, kFirstOrder + kMostOrders);
    for (std::size_t i = 0; i < kArticles; ++i) {
      EXPECT_EQ(
          crowd_.pieces[static_cast<std::size_t>(number - kFirstOrder)][i].exchange(wanted[i]), 0)
          << "order " << number << " comes twice";
      crowd_.taken[i] += wanted[i];
    }
    int newest = crowd_.newest;
    while (newest < number && !crowd_.newest.compare_exchange_weak(newest, number)) {
    }
  }

  void cancel(int number) {
    const std::string order = std::to_string(number);
    step(press_f(4), {{4, "Orders by number"}});
    step(order, {{21, "Search: " + order}});
    step(press_f(8), {{24, "Cancel order " + order + "?"}});
    const int seen = store("y" + kPressEnter, {{24, "is cancelled;"}, kWarned});
    if (seen == 0) {
      ++crowd_.cancellations;
      for (std::size_t i = 0; i < kArticles; ++i)
        crowd_.taken[i] -= crowd_.pieces[static_cast<std::size_t>(number - kFirstOrder)][i];
    }
    step(kPressEnter, {kAtList});
    step(kPressEscape, {kAtMenu});
  }

  void pay(int number) {
    step(press_f(6), {{0, "Still to pay"}});
    const std::string amount = std::to_string(1 + below(40));
    const int seen = store(std::to_string(number) + kPressTab + amount + kPressPageDown,
                           {{24, "is booked."}, kWarned, {24, "Order: "}, {24, "Amount paid: "}});
    crowd_.payments += seen == 0 ? 1 : 0;
    if (seen == 0) {
      step(kPressEnter, {kAtMenu});
    } else if (seen > 0) {
      step(kPressEnter, {{24, "PgDn store"}});
      give_up_mask();
    }
  }

  // Nobody sells what is being counted, for up to a second and a half.
  void count() {
    const auto article = static_cast<std::size_t>(below(kArticles));
    step(press_f(3), {{4, "Articles by code"}});
    step(kCodes[article], {{21, std::string("Search: ") + kCodes[article]}});
    const int begun = step(press_f(6), {{9, "Count the stock"}, kAsked});
    if (begun == 1) {
      ++crowd_.questions;
      step("b" + kPressEnter, {kAtList});
    } else if (begun == 0) {
      const int stock = number_after(12, "Stock");
      const int more = below(30);
      if (below(3) == 0) sleep_us(below(1'500'000));
      const std::string counted = std::to_string(stock + more);
      if (store(counted + kPressPageDown, {kAtList, kWarned}) == 0) {
        crowd_.taken[article] -= more;
        crowd_.counted[article] += more;
        ++crowd_.counts;
      }
    }
    leave_list();
  }

  std::mt19937 random_;
  Crowd& crowd_;
  ShopOperator operator_;
  int steps_to_live_ = 0;
  bool dies_at_booking_ = false;
  bool lost_ = false;
  bool dead_ = false;
};

void wait_while(const std::atomic<bool>& flag) {
  while (flag)
    sleep_us(1000);
}

// Pieces of the new orders that are not cancelled, as the files have them.
std::map<std::string, double> pieces_in_files() {
  DataFile& orders = data_file("ORDERS");
  DataFile& lines = data_file("ORDLINE");
  std::map<int, bool> counts;
  for (int read = data_read_first(orders, 1); read == kDataDone; read = data_read_next(orders, 1))
    counts[data_get_long(orders, "NUMBER")] = data_get_text(orders, "STATE") != "C";
  std::map<std::string, double> pieces;
  for (int read = data_read_first(lines, 1); read == kDataDone; read = data_read_next(lines, 1)) {
    const int number = data_get_long(lines, "NUMBER");
    if (number >= kFirstOrder && counts[number])
      pieces[data_get_text(lines, "CODE")] += data_get_double(lines, "PIECES");
  }
  return pieces;
}

std::array<double, kArticles> stocks() {
  std::array<double, kArticles> all{};
  for (std::size_t i = 0; i < kArticles; ++i)
    all[i] = ShopBooks::stock(kCodes[i]);
  return all;
}

// Expects books that are whole while nobody works, and no locks.
void expect_good_books(const Crowd& crowd, const std::array<double, kArticles>& at_first) {
  setenv("IS_MULTIUSER", "TRUE", 1);
  const ShopBooks books;
  ShopBooks::expect_unlocked();
  ShopBooks::expect_whole();
  const std::map<std::string, double> pieces = pieces_in_files();
  for (std::size_t i = 0; i < kArticles; ++i) {
    const auto sold = pieces.find(kCodes[i]);
    const double booked = sold == pieces.end() ? 0 : sold->second;
    EXPECT_EQ(ShopBooks::stock(kCodes[i]),
              at_first[i] + static_cast<double>(crowd.counted[i]) - booked)
        << kCodes[i];
  }
}

std::array<double, kArticles> stocks_at_first() {
  const ShopBooks books;
  return stocks();
}

void report(const char* what, const Crowd& crowd) {
  std::printf(
      "[ %s ] %d orders, %d cancellations, %d payments, %d counts, %d refused, "
      "%d questions, %d kills\n",
      what, crowd.orders.load(), crowd.cancellations.load(), crowd.payments.load(),
      crowd.counts.load(), crowd.refused.load(), crowd.questions.load(), crowd.killed.load());
}

// Works at the menu of the shop until the crowd ends, or for some seconds; 0: no limit.
const auto kWorker = [](const std::string& name, unsigned seed, int seconds) {
  const Shared<Crowd> crowd("crowd");
  Clerk clerk(name, seed, *crowd);
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (clerk.is_well() && !crowd->ended &&
         (seconds == 0 || std::chrono::steady_clock::now() < end)) {
    clerk.work();
    if (!crowd->pause) continue;
    ++crowd->waiting;
    wait_while(crowd->pause);
  }
  crowd->ended = crowd->ended || !clerk.is_well();
  if (clerk.is_well()) clerk.go_home();
};

TEST(ShopCrowdTest, StockIsWhatWasThereAndBookedAndGivenBack) {
  const unsigned seed = is_long_run() ? std::random_device()() : 7;
  for (const int operators : {2, 3}) {
    SCOPED_TRACE("seed " + std::to_string(seed) + ", operators: " + std::to_string(operators));
    const ShopFolder folder;
    const std::array<double, kArticles> at_first = stocks_at_first();
    const Shared<Crowd> crowd("crowd");
    crowd->newest = kFirstOrder - 1;
    std::vector<Process> processes;
    processes.reserve(static_cast<std::size_t>(operators));
    for (int i = 0; i < operators; ++i)
      processes.push_back(start_child(kWorker, "clerk" + std::to_string(i),
                                      seed + static_cast<unsigned>(i), is_long_run() ? 60 : 5));
    for (Process& process : processes)
      EXPECT_EQ(process.wait(), 0);
    report("crowd ", *crowd);
    EXPECT_GT(crowd->orders, 0);
    expect_good_books(*crowd, at_first);
    const ShopBooks books;
    const std::array<double, kArticles> now = stocks();
    for (std::size_t i = 0; i < kArticles; ++i)
      EXPECT_EQ(now[i], at_first[i] - static_cast<double>(crowd->taken[i])) << kCodes[i];
    EXPECT_EQ(ShopBooks::next_order(), kFirstOrder + crowd->orders);
  }
}

TEST(ShopCrowdTest, TheOthersGoOnWhenOneIsKilled) {
  const unsigned seed = is_long_run() ? std::random_device()() : 11;
  SCOPED_TRACE("seed " + std::to_string(seed));
  const ShopFolder folder;
  const std::array<double, kArticles> at_first = stocks_at_first();
  const Shared<Crowd> crowd("crowd");
  crowd->newest = kFirstOrder - 1;
  std::vector<Process> others;
  for (const unsigned i : {1U, 2U})
    others.push_back(start_child(kWorker, "clerk" + std::to_string(i), seed + i, 0));
  const int kills = is_long_run() ? 200 : 20;
  for (int kill = 0; kill < kills && !crowd->ended && !testing::Test::HasFailure(); ++kill) {
    Clerk victim("victim", seed + 100 + static_cast<unsigned>(kill), *crowd);
    victim.work_until_killed();
    ASSERT_TRUE(victim.is_dead());
    ++crowd->killed;
    // Each of the others ends its work first.
    crowd->pause = true;
    const auto too_late = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (crowd->waiting < 2 && !crowd->ended) {
      sleep_us(1000);
      ASSERT_LT(std::chrono::steady_clock::now(), too_late);
    }
    expect_good_books(*crowd, at_first);
    crowd->waiting = 0;
    crowd->pause = false;
  }
  crowd->ended = true;
  for (Process& process : others)
    EXPECT_EQ(process.wait(), 0);
  report("killed", *crowd);
  expect_good_books(*crowd, at_first);
}

}  // namespace
}  // namespace marigold::inner::test
