// SPDX-License-Identifier: GPL-3.0-or-later
// Operators of the sample shop for tests: a folder with sample data, the shop at a terminal of 80 by
// 24, and the books as the data files have them.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>

#include "marigold/data.h"
#include "runtime/core/settings.h"
#include "tests/support/support.h"
#include "tests/support/terminal_session.h"

namespace marigold::inner::test {

// What the keys of the terminal send.
inline const std::string kPressEscape = "\x1b";
inline const std::string kPressEnter = "\r";
inline const std::string kPressTab = "\t";
inline const std::string kPressTabs3 = "\t\t\t";
inline const std::string kPressBackspace = "\x7f";
inline const std::string kPressDown = "\x1b[B";
inline const std::string kPressEnd = "\x1b[F";
inline const std::string kPressPageDown = "\x1b[6~";
inline std::string press_f(int number) {
  static constexpr const char* kKeys[] = {"\x1bOP",   "\x1bOQ",   "\x1bOR",   "\x1bOS",  "\x1b[15~",
                                          "\x1b[17~", "\x1b[18~", "\x1b[19~", "\x1b[20~"};
  return kKeys[number - 1];
}

// Runs a command of the tool in the folder of the shop.
inline void marigold(const std::string& words) {
  const Finished run = run_shell(MARIGOLD_DIRECTORY "/marigold " + words);
  EXPECT_EQ(run.status, 0) << words << "\n" << run.err;
}

// In the program of a cluster: gives a new place for data there, and waits until the server has
// noticed the end of killed operators.
inline std::string (*new_shop_place)() = nullptr;
inline void (*forget_the_dead)() = [] {};

// Makes a folder with the sample data the current one, for as long as it lives. Commands of the
// shell may change it before the data is moved into a cluster.
class ShopFolder {
 public:
  explicit ShopFolder(const std::string& changes = "true") {
    const std::string built = std::filesystem::path(SHOP).parent_path().string();
    const Finished made =
        run_shell("PATH=" MARIGOLD_DIRECTORY ":$PATH " MAKE_SHOP " '" + built + "' ./shop");
    EXPECT_EQ(made.status, 0) << made.err;
    std::filesystem::current_path("shop");
    EXPECT_EQ(run_shell(changes).status, 0) << changes;
    if (new_shop_place == nullptr) return;
    const std::string place = new_shop_place();
    marigold("data copy --class 1 data/%p '" + place + "'");
    setenv("DATA_DIRECTORY", place.c_str(), 1);
    run_shell("rm -r data");
  }

 private:
  WorkDirectory directory_;
};

// The shop at a terminal, from its start. Each wait lasts up to 20 seconds; a test that fails shows
// the screen.
class ShopOperator {
 public:
  // `before` is called in the shop's process before the shop begins.
  explicit ShopOperator(const std::string& name, const std::string& language = "english_us",
                        void (*before)() = nullptr)
      : session_(begin(name, language, before), 80, 24) {}

  void type(std::string_view keys) { session_.type(keys); }
  // Types and waits for what follows.
  testing::AssertionResult type_and_see(std::string_view keys, const std::string& text) {
    type(keys);
    return sees(text);
  }

  testing::AssertionResult sees(const std::string& text) {
    return seen([&] { return whole_text().find(text) != std::string::npos; }, text);
  }
  testing::AssertionResult sees_in_row(int row_number, const std::string& text) {
    return seen([&] { return row(row_number).find(text) != std::string::npos; }, text);
  }
  testing::AssertionResult no_longer_sees(const std::string& text) {
    return seen([&] { return screen().find(text) == std::string::npos; }, "no " + text);
  }

  // Prints the order of the list's current row into a text file, from the list.
  void print_as_text(const std::string& order) {
    ASSERT_TRUE(type_and_see(press_f(5), "Print where?"));
    ASSERT_TRUE(type_and_see(kPressDown + kPressDown + kPressEnter, "invoice-" + order + ".pdf"));
    type(kPressEnd + kPressBackspace + kPressBackspace + kPressBackspace + "txt");
    ASSERT_TRUE(type_and_see(kPressEnter, "invoice-" + order + ".txt is written."));
  }

  // A row of the screen, from 1, in ISO 8859-1 without blanks at its end; lines of frames are "|",
  // "-" and "+".
  std::string row(int number) const {
    std::string text;
    for (int column = 1; column <= 80; ++column)
      text += as_latin1(session_.emulator.cell(number, column).chars[0]);
    return text.substr(0, text.find_last_not_of(' ') + 1);
  }
  std::string screen() const {
    std::string rows;
    for (int number = 1; number <= 24; ++number)
      rows += row(number) + '\n';
    return rows;
  }
  // The rows without their ends: a sentence goes on in the next row.
  std::string whole_text() const {
    std::string rows;
    for (int number = 1; number <= 24; ++number)
      rows.append(row(number)).resize(static_cast<std::size_t>(80 * number), ' ');
    return rows;
  }

  // Waits for the end and returns the wait status: 0 for a normal end.
  int outcome() { return session_.outcome(); }
  TerminalSession& session() { return session_; }

 private:
  static char as_latin1(std::uint32_t character) {
    if (character == 0) return ' ';
    if (character < 0x100) return static_cast<char>(character);
    if (character == 0x2500) return '-';
    return character == 0x2502 ? '|' : '+';
  }

  static inline std::string name_;
  static inline std::string language_;
  static inline void (*before_)() = nullptr;

  using Program = void (*)();
  // The session starts a program without arguments: they go by way of these names to the fork.
  static Program begin(const std::string& name, const std::string& language, void (*before)()) {
    name_ = name;
    language_ = language;
    before_ = before;
    return [] {
      setenv("SHOP_OPERATOR", name_.c_str(), 1);
      setenv("LANGUAGE_IDENTIFIER", language_.c_str(), 1);
      setenv("IS_MULTIUSER", "TRUE", 1);
      if (before_ != nullptr) before_();
      execl(SHOP, SHOP, nullptr);
    };
  }

  testing::AssertionResult seen(const auto& holds, const std::string& text) {
    if (session_.wait_until(holds)) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "expected: " << text << "\n" << screen();
  }

  TerminalSession session_;
};

// The data files of the shop in the current folder.
class ShopBooks {
  using Sums = std::map<int, double>;

  static double open_amount(const DataFile& file) {
    if (data_get_text(file, "STATE") == "C") return 0;
    return data_get_double(file, "TOTAL") - data_get_double(file, "PAID");
  }
  static auto by(const char* field) {
    return [field](const DataFile& file) { return data_get_double(file, field); };
  }
  static Sums sums(const char* name, const char* group, const auto& amount) {
    DataFile& file = data_file(name);
    Sums result;
    for (int read = data_read_first(file, 1); read == kDataDone; read = data_read_next(file, 1))
      result[data_get_long(file, group)] += amount(file);
    return result;
  }
  static void expect_equal(Sums expected, Sums is, const char* what) {
    for (const auto& [group, amount] : expected)
      EXPECT_NEAR(is[group], amount, 0.001) << what << ", " << group;
    for (const auto& [group, amount] : is)
      EXPECT_NEAR(expected[group], amount, 0.001) << what << ", " << group;
  }

 public:
  ShopBooks() {
    settings_read();
    static const bool kLoaded = [] {
      definition_set_load("SHOP");
      return true;
    }();
    EXPECT_TRUE(kLoaded);
    for (const char* name : {"CUSTOMER", "ARTICLE", "ORDERS", "ORDLINE", "PAYMENT", "NUMBERS"})
      data_open(name, LockWait::kWait);
  }
  ShopBooks(const ShopBooks&) = delete;
  ShopBooks& operator=(const ShopBooks&) = delete;
  ~ShopBooks() { data_close_all(); }

  static double stock(const std::string& code) {
    data_put_text(data_file("ARTICLE"), "CODE", code);
    return data_get_double(record("ARTICLE"), "STOCK");
  }
  static DataFile& customer(int number) {
    data_put_long(data_file("CUSTOMER"), "NUMBER", number);
    return record("CUSTOMER");
  }
  // The number that the next order gets.
  static int next_order() {
    data_put_text(data_file("NUMBERS"), "RANGE", "ORDER");
    return data_get_long(record("NUMBERS"), "NEXT");
  }
  // Reads the record with the key in the buffer, which must be there.
  static DataFile& record(const char* name) {
    DataFile& file = data_file(name);
    EXPECT_EQ(data_read(file, 1, false, LockWait::kWait), kDataDone) << name;
    return file;
  }

  // Expects that every order is whole: its total is that of its lines, what is paid that of its
  // payments, every line and payment has an order, and the balance of a customer is what the
  // customer's orders leave open.
  static void expect_whole() {
    const Sums lines = sums("ORDLINE", "NUMBER", [](const DataFile& file) {
      return data_get_double(file, "PIECES") * data_get_double(file, "PRICE");
    });
    const Sums paid = sums("PAYMENT", "ORDERNO",
                           [](const DataFile& file) { return data_get_double(file, "AMOUNT"); });
    expect_equal(lines, sums("ORDERS", "NUMBER", by("TOTAL")), "totals of orders");
    Sums noted = sums("ORDERS", "NUMBER", by("PAID"));
    for (const auto& [order, amount] : paid) {
      EXPECT_TRUE(noted.contains(order)) << "payment of order " << order;
      EXPECT_NEAR(noted[order], amount, 0.001) << "paid of order " << order;
    }
    expect_equal(sums("ORDERS", "CUSTOMER", open_amount), sums("CUSTOMER", "NUMBER", by("BALANCE")),
                 "balances");
  }

  // Expects that no other process that lives has locked a record of the files that operators change.
  // In multi-user operation.
  static void expect_unlocked() {
    forget_the_dead();
    for (const char* name : {"ARTICLE", "ORDERS", "CUSTOMER", "NUMBERS"}) {
      DataFile& file = data_file(name);
      for (int read = data_read_first(file, 1); read == kDataDone; read = data_read_next(file, 1))
        EXPECT_EQ(data_read(file, 1, true, LockWait::kTell), kDataDone) << name;
      data_release(file);
    }
  }
};

inline void expect_unlocked_and_whole() {
  setenv("IS_MULTIUSER", "TRUE", 1);
  const ShopBooks books;
  ShopBooks::expect_unlocked();
  ShopBooks::expect_whole();
}

}  // namespace marigold::inner::test
