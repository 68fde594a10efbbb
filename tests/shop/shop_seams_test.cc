// SPDX-License-Identifier: GPL-3.0-or-later
// The sample shop where it meets its terminal, its disk, its files and other settings.
#include <sys/prctl.h>
#include <sys/resource.h>

#include <linux/capability.h>

#include <functional>

#include "tests/print/size_limit.h"
#include "tests/shop/shop_operator.h"
#include "tests/support/process.h"

namespace marigold::inner::test {
namespace {

const std::string kMenuTitle = "What would you like to do?";

// ---- The terminal

// Brings an operator at the menu to a place of the shop, and what is seen there.
struct Place {
  const char* name;
  std::vector<std::pair<std::string, std::string>> steps;  // keys, and what follows
};

const Place kMenuPlace = {"menu", {{"", kMenuTitle}}};
const Place kListPlace = {"list", {{press_f(3), "Articles by code"}, {"ku", "Search: KU"}}};
const Place kMaskPlace = {
    "mask",
    {{press_f(2), "Customers by name"}, {press_f(2), "New customer"}, {"Zauner", "Zauner"}}};
const Place kOrderPlace = {
    "order", {{press_f(5), "New order"}, {"103" + kPressTabs3 + "bk-0815\t20\t", "17,00"}}};

void go_to(ShopOperator& shop, const Place& place) {
  ASSERT_TRUE(shop.sees(kMenuTitle));
  for (const auto& [keys, text] : place.steps)
    ASSERT_TRUE(shop.type_and_see(keys, text)) << place.name;
}

// With its signal, as a shell passes it on, the shop is killed by it; without it the shop finds that
// its keyboard has come to an end.
void expect_end_after_hang_up(ShopOperator& shop, bool with_signal) {
  if (with_signal) shop.session().send(SIGHUP);
  shop.session().hang_up();
  EXPECT_EQ(shop.outcome(), with_signal ? SIGHUP : W_EXITCODE(1, 0));
  // A program that ends so is no normal end to those who watch it.
  const std::string status = read_file("pstatus.tmp");
  EXPECT_NE(status.find("PROGRAMM =shop"), std::string::npos);
  EXPECT_EQ(status.find("EXIT     =OK"), std::string::npos) << status;
}

TEST(ShopSeamsTest, AClosedTerminalLeavesNoLocksAndNoHalfOrder) {
  const ShopFolder folder;
  const Place places[] = {
      kMenuPlace,
      kListPlace,
      kMaskPlace,
      kOrderPlace,
      {"counting", {{press_f(3), "Articles by code"}, {press_f(6), "Count the stock"}}}};
  for (const bool with_signal : {false, true}) {
    for (const Place& place : places) {
      SCOPED_TRACE(std::string(place.name) + (with_signal ? ", signal" : ""));
      ShopOperator anna("anna");
      go_to(anna, place);
      expect_end_after_hang_up(anna, with_signal);
      expect_unlocked_and_whole();
    }
  }
  const ShopBooks books;
  EXPECT_EQ(ShopBooks::stock("BK-0815"), 1200);
}

TEST(ShopSeamsTest, AClosedTerminalEndsTheQuestionAboutALock) {
  const ShopFolder folder;
  ShopOperator josef("josef");
  go_to(josef, {"counting", {{press_f(3), "Articles by code"}, {press_f(6), "Count the stock"}}});
  for (const bool with_signal : {false, true}) {
    ShopOperator anna("anna");
    go_to(anna, kOrderPlace);
    anna.type(press_f(2));
    ASSERT_TRUE(anna.sees_in_row(24, "try again"));
    expect_end_after_hang_up(anna, with_signal);
  }
  ASSERT_TRUE(josef.type_and_see("1300" + kPressPageDown, "Enter change"));
  // The mask goes before the count is stored.
  ASSERT_TRUE(josef.type_and_see(kPressEscape, "What would you like"));
  expect_unlocked_and_whole();
  const ShopBooks books;
  EXPECT_EQ(ShopBooks::stock("BK-0815"), 1300);
}

TEST(ShopSeamsTest, ATerminalThatIsClosedWhileTheShopBooks) {
  const ShopFolder folder;
  const int times = is_long_run() ? 50 : 8;  // the stock is enough for 60 orders
  for (int i = 0; i < times; ++i) {
    ShopOperator anna("anna");
    go_to(anna, kOrderPlace);
    anna.type(press_f(2));
    sleep_us(i * 12'000L / times);
    if (i % 2 == 0) anna.session().send(SIGHUP);
    anna.session().hang_up();
    EXPECT_EQ(anna.outcome(), i % 2 == 0 ? SIGHUP : W_EXITCODE(1, 0));
    expect_unlocked_and_whole();
  }
  // As many pieces are gone as stand in orders.
  const ShopBooks books;
  EXPECT_EQ(ShopBooks::stock("BK-0815"), 1200 - 20 * (ShopBooks::next_order() - 1021));
}

TEST(ShopSeamsTest, AnotherSizeOfTheTerminalKeepsTheScreen) {
  const ShopFolder folder;
  for (const Place& place : {kMenuPlace, kListPlace, kMaskPlace, kOrderPlace}) {
    SCOPED_TRACE(place.name);
    ShopOperator anna("anna");
    go_to(anna, place);
    const std::string before = anna.screen();
    const auto same = [&] { return anna.screen() == before; };
    for (const auto& [columns, rows] : {std::pair{120, 40}, {80, 24}, {200, 25}, {81, 60}}) {
      anna.session().emulator.feed("\x1b[2J");
      anna.session().resize(static_cast<unsigned short>(columns),
                            static_cast<unsigned short>(rows));
      ASSERT_TRUE(anna.session().wait_until(same)) << columns << " x " << rows << anna.screen();
      for (int row = 25; row <= rows; ++row)
        EXPECT_EQ(anna.session().emulator.row_text(row), "") << row;
    }
    anna.session().resize(60, 20);
    ASSERT_TRUE(anna.session().shows_only("The terminal has 60 x 20, needed: 80 x 24"));
    anna.session().resize(80, 23);
    ASSERT_TRUE(anna.session().shows_only("The terminal has 80 x 23, needed: 80 x 24"));
    anna.session().resize(80, 24);
    ASSERT_TRUE(anna.session().wait_until(same)) << anna.screen();
    // The next key is for the shop again.
    anna.type(kPressEscape);
    ASSERT_TRUE(anna.session().wait_until([&] { return !same(); })) << anna.screen();
  }
}

// ---- The disk

// Lets files of the shop be no longer than this, as a disk without room.
void limit_files(const ShopOperator& shop, rlim_t bytes) {
  rlimit limit{};
  const pid_t program = const_cast<ShopOperator&>(shop).session().process();
  ASSERT_EQ(prlimit(program, RLIMIT_FSIZE, nullptr, &limit), 0);
  limit.rlim_cur = bytes;
  ASSERT_EQ(prlimit(program, RLIMIT_FSIZE, &limit, nullptr), 0);
}

// Stores while the disk is full, up to the mask that comes back.
void store_in_vain(ShopOperator& shop, const std::string& key, const std::string& title) {
  ASSERT_TRUE(shop.type_and_see(key, "File too large"));
  ASSERT_TRUE(shop.type_and_see(kPressEnter, "Nothing is changed, and nothing is lost."));
  ASSERT_TRUE(shop.type_and_see(kPressEnter, title));
}

TEST(ShopSeamsTest, AFullDiskLeavesTheOrderInItsMask) {
  const ShopFolder folder;
  ShopOperator anna("anna");
  go_to(anna, kOrderPlace);
  limit_files(anna, 0);
  for (int attempt = 0; attempt < 2; ++attempt) {
    ASSERT_NO_FATAL_FAILURE(store_in_vain(anna, press_f(2), "New order, page 1"));
    // The order is not dropped without a word.
    ASSERT_TRUE(anna.type_and_see(kPressEscape, "Drop the whole order?"));
    ASSERT_TRUE(anna.type_and_see("n" + kPressEnter, "New order, page 1"));
    EXPECT_EQ(anna.row(10),
              "| BK-0815   Bleistift HB                              20      0,85      17,00  |");
    const ShopBooks books;
    EXPECT_EQ(ShopBooks::stock("BK-0815"), 1200);
    ShopBooks::expect_whole();
    ShopBooks::expect_unlocked();
  }
  limit_files(anna, RLIM_INFINITY);
  ASSERT_TRUE(anna.type_and_see(press_f(2), "Order 1021 over EUR 17,00 is booked."));
  expect_unlocked_and_whole();
  const ShopBooks books;
  EXPECT_EQ(ShopBooks::stock("BK-0815"), 1180);
}

// Adds lines of orders, which cost nothing, until a file would be longer than this.
void fill_lines(rlim_t bytes) {
  std::signal(SIGXFSZ, SIG_IGN);
  const SizeLimit limit(bytes);
  const ShopBooks books;
  DataFile& lines = data_file("ORDLINE");
  int position = 0;
  testing::internal::CaptureStderr();
  do {
    changes_begin();
    data_clear_record(lines);
    data_put_long(lines, "NUMBER", 900);
    data_put_long(lines, "POSITION", ++position);
    changes_write(lines);
  } while (changes_commit(LockWait::kWait) == kDataDone);
  changes_drop();
  EXPECT_NE(testing::internal::GetCapturedStderr().find("File too large"), std::string::npos);
  EXPECT_GT(position, 1);
}

TEST(ShopSeamsTest, AnOrderThatFitsNoLongerIntoItsFileIsBookedLater) {
  const ShopFolder folder;
  const auto size = std::filesystem::file_size("data/1/ORDLINE.dat");
  fill_lines(size);
  EXPECT_EQ(std::filesystem::file_size("data/1/ORDLINE.dat"), size);
  ShopOperator anna("anna");
  go_to(anna, kOrderPlace);
  limit_files(anna, size);
  ASSERT_NO_FATAL_FAILURE(store_in_vain(anna, press_f(2), "New order, page 1"));
  {
    const ShopBooks books;
    EXPECT_EQ(ShopBooks::stock("BK-0815"), 1200);
    ShopBooks::expect_whole();
  }
  expect_unlocked_and_whole();
  limit_files(anna, RLIM_INFINITY);
  ASSERT_TRUE(anna.type_and_see(press_f(2), "Order 1021 over EUR 17,00 is booked."));
  expect_unlocked_and_whole();
}

TEST(ShopSeamsTest, AFullDiskLeavesANewCustomerInTheMask) {
  const ShopFolder folder;
  ShopOperator anna("anna");
  go_to(anna, kMaskPlace);
  anna.type("\tAm Hof 3\t1010\tWien");
  limit_files(anna, 0);
  ASSERT_NO_FATAL_FAILURE(store_in_vain(anna, kPressPageDown, "New customer"));
  ASSERT_TRUE(anna.type_and_see(kPressEscape, "Your changes would be lost."));
  ASSERT_TRUE(anna.type_and_see("n" + kPressEnter, "New customer"));
  EXPECT_TRUE(anna.sees("Am Hof 3"));
  limit_files(anna, RLIM_INFINITY);
  ASSERT_TRUE(anna.type_and_see(kPressPageDown, "The customer has the number 131."));
}

// The count was right when it was made, and is wrong after a sale.
// Nobody sells what is being counted, also while the disk refuses the count.
TEST(ShopSeamsTest, ACountThatTheDiskRefusedOverwritesNoSale) {
  const ShopFolder folder;
  ShopOperator josef("josef");
  go_to(josef, kOrderPlace);
  ShopOperator anna("anna");
  go_to(anna, {"counting", {{press_f(3), "Articles by code"}, {press_f(6), "Count the stock"}}});
  limit_files(anna, 0);
  ASSERT_NO_FATAL_FAILURE(store_in_vain(anna, "1201" + kPressPageDown, "Count the stock"));
  ASSERT_TRUE(josef.type_and_see(press_f(2), "ARTICLE record lock active"));
  limit_files(anna, RLIM_INFINITY);
  ASSERT_TRUE(anna.type_and_see(kPressPageDown, "Enter change"));
  ASSERT_TRUE(josef.type_and_see(kPressEnter, "is booked."));
  const ShopBooks books;
  EXPECT_EQ(ShopBooks::stock("BK-0815"), 1181);
}

// ---- What lies beside the shop

// Root may do everything that the permissions of files forbid. Without the capability for that the
// shop is an ordinary user.
void obey_permissions() {
  if (geteuid() == 0 && prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0) != 0) std::abort();
}

TEST(ShopSeamsTest, SaysWhatToDoAboutFilesAndDefinitions) {
  const ShopFolder folder;
  struct Row {
    const char* before;  // commands of the shell
    const char* sentence;
    bool warned = false;  // a box comes first, and names the file
    bool aborts = true;
  };
  constexpr const char* kConvert = "End all shops, make a backup, and run";
  const Row rows[] = {
      {"rm data/1/ARTICLE.dat", "Are all files there"},
      {"rm data/1/ARTICLE.idx", "Are all files there"},
      {"truncate -s 100 data/1/ARTICLE.dat", "Damage is found by"},
      {"truncate -s 0 data/1/ORDERS.idx", "Damage is found by"},
      {"head -c 70000 /dev/urandom >data/1/NUMBERS.dat", "Damage is found by"},
      {"sed -i 's/LEN 96/LEN 100/' definitions/FILESHOP.DES", "do the definitions fit them?", true},
      {"sed -i 's/VERSION 2/VERSION 3/' definitions/FILESHOP.DES", kConvert, false, false},
      {"sed -i 's/TYPE ISAM/TIPE ISAM/' definitions/FILESHOP.DES", "data scan SHOP"},
      {"sed -i 's/KEY 3 SEGMENT 2 IS NAME/KEY 3 SEGMENT 2 IS PHONE/' definitions/FILESHOP.DES",
       "do the definitions fit them?", true},
      {"echo 3 >data/1/PATHCONV.ver", kConvert, false, false},
      {"echo 1 >data/1/PATHCONV.ver", kConvert, false, false},
      {"rm data/1/PATHCONV.ver", "has no version yet", false, false},
      {"chmod -R a-w data", "may you write them"},
      {"chmod a-r data/1/CUSTOMER.dat", "may you write them"},
      {"rm -r locale", "set LANGUAGE_SEARCHPATH", false, false},
      {"rm definitions/FILESHOP.DES", "has no FILESHOP.DES", false, false},
      {"cp ../other/textdb.* locale/default", "set LANGUAGE_SEARCHPATH", false, false},
      {"rm print/BLOECKE.dat", "lists are missing", false, false},
      {"rm print/LISTEN.dat", "lists are missing", false, false},
  };
  write_textdb("../other/textdb", {{"OTHER.TITLE", "another application"}});
  const std::string shop = std::filesystem::current_path().string();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.before);
    std::filesystem::copy(shop, shop + ".broken", std::filesystem::copy_options::recursive);
    std::filesystem::current_path(shop + ".broken");
    EXPECT_EQ(run_shell(row.before).status, 0);
    ShopOperator anna("anna", "english_us", obey_permissions);
    if (row.warned) {
      EXPECT_TRUE(anna.sees("WARNING!"));
      anna.type(kPressEnter);
    }
    const int outcome = anna.outcome();
    EXPECT_EQ(outcome, row.aborts ? SIGABRT : W_EXITCODE(1, 0)) << anna.screen();
    EXPECT_TRUE(anna.session().restored());
    const std::string screen = anna.whole_text();
    EXPECT_NE(screen.find(row.sentence), std::string::npos) << anna.screen();
    EXPECT_NE(screen.find("shop: "), std::string::npos) << anna.screen();
    std::filesystem::current_path(shop);
    run_shell("chmod -R u+rwX ../shop.broken && rm -r ../shop.broken");
  }
}

TEST(ShopSeamsTest, SaysWhatToDoAboutDamagedLists) {
  const ShopFolder folder;
  struct Row {
    const char* before;
    const char* sentence;
    bool goes_on;
  };
  const std::string to_file = kPressDown + kPressDown + kPressEnter;
  for (const Row& row : {Row{"truncate -s 1000 print/DRUCK.BIN", "missing or damaged", true},
                         Row{"truncate -s 10 print/LISTEN.dat", "a list cannot be used", false}}) {
    SCOPED_TRACE(row.before);
    EXPECT_EQ(run_shell(row.before).status, 0);
    ShopOperator anna("anna");
    go_to(anna, {"orders", {{press_f(4), "Orders by number"}, {press_f(5), "Print where?"}}});
    ASSERT_TRUE(anna.type_and_see(to_file, "invoice-"));
    anna.type(kPressEnter);
    if (row.goes_on) {
      ASSERT_TRUE(anna.sees("DRUCK.BIN: a damaged block store"));
      anna.type(kPressEnter);
    }
    EXPECT_TRUE(anna.sees(row.sentence));
    if (!row.goes_on) {
      EXPECT_EQ(anna.outcome(), SIGABRT);
    }
    EXPECT_FALSE(std::filesystem::exists("invoice-1001.pdf"));
  }
}

// ---- Other terminals and characters

// A VT100 gets bytes of code page 437, also for frames, where other terminals get Unicode.
TEST(ShopSeamsTest, AVt100ShowsTheSameCells) {
  const ShopFolder folder;
  ShopOperator console("anna");
  ShopOperator vt100("anna", "english_us", [] {
    setenv("COMFAXUSEVT100", "1", 1);
    setenv("LC_ALL", "C", 1);
  });
  vt100.session().emulator.take_code_page_437();
  struct Row {
    int function_key;  // 0: the keys
    std::string keys;
    const char* mark;
  };
  const Row rows[] = {{0, "", kMenuTitle.c_str()},
                      {2, "", "Customers by name"},
                      {3, "", "Customers by number"},
                      {0, kPressEnter, "Catalogue"},
                      {0, "x" + kPressEscape, "would be lost"},
                      {0, "q" + kPressEnter, "Enter change"},
                      {0, kPressEscape, kMenuTitle.c_str()},
                      {5, "", "New order, page 1"},
                      {0, "103" + kPressTabs3 + "bk-0815\t20\t", "17,00"}};
  for (const Row& row : rows) {
    console.type(row.function_key == 0 ? row.keys : press_f(row.function_key));
    vt100.type(row.function_key == 0 ? row.keys : "\x06" + std::to_string(row.function_key));
    ASSERT_TRUE(console.sees(row.mark));
    ASSERT_TRUE(vt100.sees(row.mark));
    // The last cells of either may still be on their way.
    const auto same = [&] { return vt100.screen() == console.screen(); };
    console.session().wait_until([&] { return vt100.session().wait_until(same, 50); }, 2000);
    ASSERT_EQ(vt100.screen(), console.screen());
  }
  ASSERT_TRUE(vt100.type_and_see("\x06"s + "2", "Order 1021 over EUR 17,00 is booked."));
  ASSERT_TRUE(vt100.type_and_see(" ", kMenuTitle));
  vt100.type("\x06"s + "9");
  EXPECT_EQ(vt100.outcome(), 0);
  const ShopBooks books;
  EXPECT_EQ(ShopBooks::stock("BK-0815"), 1180);
}

TEST(ShopSeamsTest, UmlautsAreTypedShownAndStored) {
  const ShopFolder folder;
  ShopOperator josef("josef", "german_at");
  const std::string bakery = "B\xE4"s + "ckerei \xD6llinger";
  ASSERT_TRUE(josef.sees("Was m\xF6"s + "chten Sie tun?"));
  ASSERT_TRUE(josef.type_and_see(press_f(2), "Kunden nach Namen"));
  ASSERT_TRUE(josef.sees(bakery));
  ASSERT_TRUE(josef.type_and_see("b\xC3\xA4", "Suche: B\xE4"));
  ASSERT_TRUE(josef.type_and_see(kPressEnter, "Katalog"));
  ASSERT_TRUE(josef.sees(bakery));
  josef.type(kPressEscape);
  ASSERT_TRUE(josef.no_longer_sees("Katalog"));
  ASSERT_TRUE(josef.type_and_see(press_f(2), "Neuer Kunde"));
  josef.type(
      "\xC3\x84\xC3\xA4\xC3\x96\xC3\xB6\xC3\x9C\xC3\xBC\xC3\x9F\tStra\xC3\x9F"
      "e 1\t1010\tWien");
  const std::string name = "\xC4\xE4\xD6\xF6\xDC\xFC\xDF";
  const std::string street = "Stra\xDF"s + "e 1";
  ASSERT_TRUE(josef.sees(name));
  ASSERT_TRUE(josef.sees(street));
  ASSERT_TRUE(josef.type_and_see(kPressPageDown, "131"));
  josef.type(" ");
  ASSERT_TRUE(josef.sees_in_row(24, "Kunden"));
  EXPECT_TRUE(josef.sees(name));
  const ShopBooks books;
  EXPECT_EQ(data_get_text(ShopBooks::customer(131), "NAME"), name);
  EXPECT_EQ(data_get_text(ShopBooks::customer(131), "STREET"), street);
}

}  // namespace
}  // namespace marigold::inner::test
