// SPDX-License-Identifier: GPL-3.0-or-later
// The operators of the sample shop with its data in a database cluster.
#include "bench/database/database_server.h"
#include "tests/shop/shop_operator.h"
#include "tests/support/posix/cluster.h"

namespace marigold::inner::test {
namespace {

// Leaves out the cases about files of a directory and about the terminal alone. Runs before
// GoogleTest reads the variable.
[[gnu::constructor(101)]] void choose_cases() {
  setenv("GTEST_FILTER",
         "-*FullDisk*:*FitsNoLonger*:*TheDiskRefused*:*SaysWhatToDo*:*AnotherSize*:*AVt100*", 0);
}

[[maybe_unused]] const bool placed = [] {
  new_shop_place = new_schemas;
  forget_the_dead = forget_sessions_of_the_dead;
  return true;
}();

// The operator waits for a server that comes back, and reads its words when it does not.
TEST(ShopClusterTest, AnOrderIsBookedWhenTheServerIsBack) {
  const ShopFolder folder;
  for (const bool comes_back : {true, false}) {
    if (!comes_back)
      setenv("DATA_DIRECTORY", (std::getenv("DATA_DIRECTORY") + "?reconnect=1"s).c_str(), 1);
    ShopOperator anna("anna");
    ASSERT_TRUE(anna.sees("What would you like"));
    ASSERT_TRUE(anna.type_and_see(press_f(5), "New order"));
    ASSERT_TRUE(anna.type_and_see("103" + kPressTabs3 + "bk-0815\t20\t", "17,00"));
    shared_server().kill();
    anna.type(press_f(2));
    if (comes_back) shared_server().start();
    EXPECT_TRUE(anna.sees(comes_back ? "Order 1021 over EUR 17,00 is booked." : "for 1 s; "));
    if (!comes_back) {
      EXPECT_EQ(anna.outcome(), SIGABRT);
      EXPECT_TRUE(anna.session().restored());
      shared_server().start();
    }
    expect_unlocked_and_whole();
    const ShopBooks books;
    EXPECT_EQ(ShopBooks::stock("BK-0815"), 1180);
  }
}

}  // namespace
}  // namespace marigold::inner::test
