// SPDX-License-Identifier: GPL-3.0-or-later
// The sample shop as its operators use it.
#include "tests/shop/shop_operator.h"

#include <sstream>
#include <vector>

namespace marigold::inner::test {
namespace {

TEST(ShopTest, AnOperatorEntersACustomerAndAnOrderAndPrintsTheInvoice) {
  const ShopFolder folder;
  ShopOperator anna("anna");
  ASSERT_TRUE(anna.sees("What would you like to do?"));
  EXPECT_EQ(anna.row(1), "                           Marigold Office Supplies");
  EXPECT_EQ(anna.row(2), std::string(80, '-'));
  EXPECT_EQ(anna.row(7), "                 | Customers                     F2 |");
  EXPECT_EQ(anna.row(24),
            " anna                      Main menu - orders:                       20 records");

  // A customer: a field that lacks its value is named; the number comes with the storing.
  ASSERT_TRUE(anna.type_and_see(press_f(2), "Customers by name"));
  ASSERT_TRUE(anna.type_and_see(press_f(2), "New customer"));
  anna.type("Zauner Anna\tAm Hof 3\t\tWien");
  ASSERT_TRUE(anna.type_and_see(kPressPageDown, "Postcode: please fill this in"));
  anna.type(" ");
  ASSERT_TRUE(anna.type_and_see("1010" + kPressPageDown, "The customer has the number 131."));
  anna.type(" ");
  ASSERT_TRUE(anna.no_longer_sees("has the number"));
  // Found by its name, and changed.
  ASSERT_TRUE(anna.type_and_see("zau", "Search: Zau"));
  ASSERT_TRUE(anna.type_and_see(kPressEnter, "Catalogue"));
  EXPECT_NE(anna.row(7).find("Name             Zauner Anna "), std::string::npos);
  anna.type(kPressTabs3 + kPressTab + "01 4000" + kPressPageDown);
  ASSERT_TRUE(anna.no_longer_sees("Catalogue"));
  ASSERT_TRUE(anna.type_and_see(kPressEscape, "What would you like"));

  // An order with two lines.
  ASSERT_TRUE(anna.type_and_see(press_f(5), "New order, page 1"));
  ASSERT_TRUE(anna.type_and_see("131" + kPressTabs3, "Zauner Anna"));
  ASSERT_TRUE(anna.type_and_see("bk-0815\t10\t", "8,50"));
  ASSERT_TRUE(anna.type_and_see("pa-0080\t3\t", "20,70"));
  EXPECT_EQ(anna.row(10),
            "| BK-0815   Bleistift HB                              10      0,85       8,50  |");
  EXPECT_EQ(anna.row(11),
            "| PA-0080   Kopierpapier A4, 80 g                      3      6,90      20,70  |");
  EXPECT_EQ(anna.row(12), "|" + std::string(78, ' ') + "|");
  ASSERT_TRUE(anna.type_and_see(press_f(2), "Order 1021 over EUR 29,20 is booked."));
  anna.type(" ");

  // Its invoice, in a file.
  ASSERT_TRUE(anna.type_and_see(press_f(4), "Orders by number"));
  ASSERT_TRUE(anna.type_and_see(kPressEnd, "1021"));
  ASSERT_NO_FATAL_FAILURE(anna.print_as_text("1021"));
  anna.type(" ");
  ASSERT_TRUE(anna.no_longer_sees("is written"));
  ASSERT_TRUE(anna.type_and_see(kPressEscape, "What would you like"));
  anna.type(press_f(9));
  EXPECT_EQ(anna.outcome(), 0);
  EXPECT_TRUE(anna.session().restored());

  const std::string invoice = read_file("invoice-1021.txt");
  for (const char* part : {"INVOICE   1021", "Zauner Anna", "1010 Wien",
                           "  1  BK-0815   Bleistift HB                            10      0,85"
                           "         8,50\n",
                           "total (EUR)                 29,20\n"})
    EXPECT_NE(invoice.find(part), std::string::npos) << part << "\n" << invoice;
  const ShopBooks books;
  EXPECT_EQ(data_get_text(ShopBooks::customer(131), "PHONE"), "01 4000");
  EXPECT_EQ(data_get_double(ShopBooks::customer(131), "BALANCE"), 29.2);
  EXPECT_EQ(ShopBooks::stock("BK-0815"), 1190);
  EXPECT_EQ(ShopBooks::stock("PA-0080"), 537);
  ShopBooks::expect_whole();
}

TEST(ShopTest, TwoOperatorsMeetAtAnArticle) {
  const ShopFolder folder;
  ShopOperator anna("anna");
  ShopOperator josef("josef", "german_at");
  ASSERT_TRUE(anna.sees("What would you like"));
  ASSERT_TRUE(
      josef.sees("Was m\xF6"
                 "chten Sie tun?"));
  ASSERT_TRUE(anna.type_and_see(press_f(3), "Articles by code"));
  ASSERT_TRUE(anna.type_and_see(press_f(6), "Count the stock"));
  // What is being counted cannot be sold. The question keeps no lock.
  ASSERT_TRUE(josef.type_and_see(press_f(5), "Neuer Auftrag"));
  ASSERT_TRUE(josef.type_and_see("102" + kPressTabs3 + "bk-0815\t20\t", "17,00"));
  josef.type(press_f(2));
  ASSERT_TRUE(josef.sees_in_row(24, "ARTICLE Datensatz gesperrt"));
  EXPECT_TRUE(josef.sees_in_row(24, "nochmals versuchen"));
  ASSERT_TRUE(anna.type_and_see("100" + kPressPageDown, "Enter change"));
  ASSERT_TRUE(anna.no_longer_sees("Count the stock"));
  ASSERT_TRUE(josef.type_and_see(kPressEnter, "Auftrag 1021 "));
  josef.type(" ");
  ASSERT_TRUE(josef.sees("Was m"));

  // Both order the same article: nothing is lost, and no number comes twice.
  ASSERT_TRUE(anna.type_and_see(kPressEscape, "What would you like"));
  ASSERT_TRUE(anna.type_and_see(press_f(5), "New order"));
  ASSERT_TRUE(josef.type_and_see(press_f(5), "Neuer Auftrag"));
  ASSERT_TRUE(anna.type_and_see("103" + kPressTabs3 + "bk-0815\t30\t", "25,50"));
  ASSERT_TRUE(josef.type_and_see("102" + kPressTabs3 + "bk-0815\t50\t", "42,50"));
  anna.type(press_f(2));
  josef.type(press_f(2));
  ASSERT_TRUE(anna.sees("is booked."));
  ASSERT_TRUE(josef.sees("ist gebucht."));
  anna.type(" ");
  // A third order finds too little.
  ASSERT_TRUE(anna.sees("What would you like"));
  ASSERT_TRUE(anna.type_and_see(press_f(5), "New order"));
  ASSERT_TRUE(anna.type_and_see("103" + kPressTabs3 + "ku-0100\t1\tbk-0815\t1\t", "2,05"));
  ASSERT_TRUE(anna.type_and_see(press_f(2), "Of article BK-0815 only 0 are in stock."));
  const ShopBooks books;
  EXPECT_EQ(ShopBooks::stock("BK-0815"), 0);
  EXPECT_EQ(ShopBooks::stock("KU-0100"), 950);
  ShopBooks::expect_whole();
}

TEST(ShopTest, ThePriceThatWasSeenIsThePriceThatIsBooked) {
  const ShopFolder folder;
  ShopOperator anna("anna");
  ShopOperator josef("josef");
  ASSERT_TRUE(anna.sees("What would you like"));
  ASSERT_TRUE(josef.sees("What would you like"));
  ASSERT_TRUE(anna.type_and_see(press_f(5), "New order"));
  ASSERT_TRUE(anna.type_and_see("102" + kPressTabs3 + "bk-0815\t10\t", "8,50"));
  ASSERT_TRUE(josef.type_and_see(press_f(3), "Articles by code"));
  ASSERT_TRUE(josef.type_and_see(kPressEnter, "PgDn store"));
  ASSERT_TRUE(josef.type_and_see(kPressTabs3 + "9,99" + kPressPageDown, "Enter change"));
  ASSERT_TRUE(josef.sees_in_row(6, "9,99"));
  // The same article once more, on the next page and back.
  ASSERT_TRUE(anna.type_and_see("bk-0815\t2" + press_f(8), "New order, page 2"));
  ASSERT_TRUE(anna.type_and_see("fu-0200\t1\t" + press_f(7), "New order, page 1"));
  EXPECT_EQ(anna.row(11),
            "| BK-0815   Bleistift HB                               2      0,85       1,70  |");
  ASSERT_TRUE(anna.type_and_see(press_f(2), "Order 1021 over EUR"));
  const ShopBooks books;
  for (const auto& [position, code, price] :
       {std::tuple{1, "BK-0815", 0.85}, {2, "BK-0815", 0.85}, {3, "FU-0200", 39.5}}) {
    data_put_long(data_file("ORDLINE"), "NUMBER", 1021);
    data_put_long(data_file("ORDLINE"), "POSITION", position);
    const DataFile& line = ShopBooks::record("ORDLINE");
    EXPECT_EQ(data_get_text(line, "CODE"), code);
    EXPECT_EQ(data_get_double(line, "PRICE"), price);
  }
  ShopBooks::expect_whole();
}

TEST(ShopTest, PaymentsAndCancellationsKeepTheBooks) {
  const ShopFolder folder;
  ShopOperator anna("anna");
  ASSERT_TRUE(anna.sees("What would you like"));
  // A part of what is open; the mask offers all of it.
  ASSERT_TRUE(anna.type_and_see(press_f(6), "Amount paid"));
  ASSERT_TRUE(anna.type_and_see("1012\t", "327,00"));
  ASSERT_TRUE(anna.type_and_see("400" + kPressPageDown, "more than is still to pay"));
  anna.type(" ");
  ASSERT_TRUE(anna.type_and_see("27,50" + kPressPageDown, "Payment 513 over EUR 27,50 is booked."));
  anna.type(" ");
  ASSERT_TRUE(anna.sees("What would you like"));
  // An order with a payment stays; one without gives its goods back.
  ASSERT_TRUE(anna.type_and_see(press_f(4), "Orders by number"));
  ASSERT_TRUE(anna.type_and_see("1012", "Search: 1012"));
  ASSERT_TRUE(anna.type_and_see(press_f(8), "Cancel order 1012?"));
  ASSERT_TRUE(anna.type_and_see("y" + kPressEnter, "has payments and cannot be cancelled"));
  ASSERT_TRUE(anna.type_and_see(kPressEnter, "Enter lines"));
  ASSERT_TRUE(anna.type_and_see(kPressEnd, "1020"));
  ASSERT_TRUE(anna.type_and_see(press_f(8), "Cancel order 1020?"));
  ASSERT_TRUE(anna.type_and_see("y" + kPressEnter, "Order 1020 is cancelled"));
  anna.type(" ");
  ASSERT_TRUE(anna.type_and_see(press_f(7), "Nothing is left to pay for order 1020."));
  const ShopBooks books;
  EXPECT_EQ(ShopBooks::stock("BK-0815"), 1210);
  EXPECT_EQ(ShopBooks::stock("BL-0100"), 116);
  ShopBooks::expect_whole();
}

TEST(ShopTest, ANewFieldComesWithTheConversion) {
  // The files of the shop before customers had an address of the last column.
  const ShopFolder folder(
      "mkdir old && cp definitions/FILECUSTOMER_1.DES old/FILEOLD.DES && rm data/1/CUSTOMER.* && "
      "echo 1 >data/1/PATHCONV.ver && cut -d, -f1-11 " SHOP_DATA "/customers.csv >customers.csv");
  setenv("DEFINITION_DIRECTORY", "old", 1);
  marigold("data load CUSTOMER customers.csv");
  unsetenv("DEFINITION_DIRECTORY");
  {
    ShopOperator anna("anna");
    EXPECT_TRUE(anna.sees("run \"marigold data convert SHOP\""));
    EXPECT_EQ(WEXITSTATUS(anna.outcome()), 1);
  }
  marigold("data convert SHOP");
  ShopOperator anna("anna");
  ASSERT_TRUE(anna.sees("What would you like"));
  anna.type(press_f(2));
  ASSERT_TRUE(anna.type_and_see("wein", "Search: Wein"));
  ASSERT_TRUE(anna.type_and_see(kPressEnter, "E-mail"));
  EXPECT_NE(anna.row(7).find("Weingut Nussbaumer"), std::string::npos) << anna.screen();
  const ShopBooks books;
  ShopBooks::expect_whole();
}

TEST(ShopTest, AnInvoiceCarriesItsAmountsToTheNextPage) {
  const ShopFolder folder;
  std::string items = "NUMBER,POSITION,CODE,TEXT,PIECES,PRICE\n";
  for (int position = 1; position <= 60; ++position)
    items += "2000," + std::to_string(position) + ",BK-0815,Bleistift HB,2,0.85\n";
  write_file("lines.csv", items);
  write_file("order.csv", "NUMBER,CUSTOMER,PLACED,TOTAL\n2000,101,231126,102\n");
  marigold("data load ORDLINE lines.csv");
  marigold("data load ORDERS order.csv");
  ShopOperator anna("anna");
  ASSERT_TRUE(anna.sees("What would you like"));
  ASSERT_TRUE(anna.type_and_see(press_f(4), "Orders by number"));
  ASSERT_TRUE(anna.type_and_see(kPressEnd, " 2000 "));
  ASSERT_NO_FATAL_FAILURE(anna.print_as_text("2000"));

  std::istringstream invoice(read_file("invoice-2000.txt"));
  int printed = 0;
  std::vector<std::string> sums;
  for (std::string line; std::getline(invoice, line);) {
    printed += line.ends_with(" 1,70") ? 1 : 0;
    const bool is_sum = line.find("carried over") != std::string::npos ||
                        line.find("total (EUR)") != std::string::npos;
    if (is_sum) sums.push_back(line.substr(line.find_last_of(' ') + 1));
    // The amount carried over is that of the lines so far: cents, at 1,70 each.
    if (line.find("carried over") == std::string::npos) continue;
    const std::string so_far = std::to_string(170 * printed);
    EXPECT_EQ(sums.back(),
              so_far.substr(0, so_far.size() - 2) + "," + so_far.substr(so_far.size() - 2));
  }
  EXPECT_EQ(printed, 60);
  ASSERT_EQ(sums.size(), 2U);
  EXPECT_EQ(sums.back(), "102,00");
}

}  // namespace
}  // namespace marigold::inner::test
