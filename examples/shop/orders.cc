// SPDX-License-Identifier: GPL-3.0-or-later

#include <string>

#include "booking.h"
#include "browser.h"
#include "files.h"
#include "screens.h"
#include "texts.h"

namespace shop {

using namespace marigold;

namespace {

std::string name_column(const DataFile& file, void* /*context*/) {
  return customer_name(data_get_long(file, "CUSTOMER"));
}

std::string state_column(const DataFile& file, void* /*context*/) {
  if (data_get_text(file, "STATE") == "C") return text("STATE_CANCELLED");
  const double paid = data_get_double(file, "PAID");
  if (paid >= data_get_double(file, "TOTAL")) return text("STATE_PAID");
  return text(paid > 0 ? "STATE_PART_PAID" : "STATE_OPEN");
}

std::string amount_column(const DataFile& file, void* /*context*/) {
  const double amount = data_get_double(file, "PIECES") * data_get_double(file, "PRICE");
  return edit_number("######0,00", money(amount));
}

constexpr BrowserOrder kOrders[] = {{kPrimary, "ORDERS_BY_NUMBER"},
                                    {kOrderByCustomer, "ORDERS_BY_CUSTOMER"}};
constexpr RecordColumn kColumns[] = {{.title = "NUMBER", .field = "NUMBER"},
                                     {.title = "PLACED", .field = "PLACED"},
                                     {.title = "CUST_NO", .field = "CUSTOMER"},
                                     {.title = "NAME", .width = 27, .text = name_column},
                                     {.title = "TOTAL", .field = "TOTAL"},
                                     {.title = "STATE", .width = 11, .text = state_column}};

constexpr RecordColumn kLineColumns[] = {
    {.title = "POSITION", .field = "POSITION"},
    {.title = "CODE", .field = "CODE"},
    {.title = "ARTICLE_TEXT", .field = "TEXT"},
    {.title = "PIECES", .field = "PIECES"},
    {.title = "PRICE", .field = "PRICE"},
    {.title = "AMOUNT_COLUMN", .width = 10, .text = amount_column}};

// Shows the lines of the order in the buffer until the operator leaves them.
void look_at_lines() {
  const int number = data_get_long(orders(), "NUMBER");
  const std::string title = text(
      "ORDER_LINES", {std::to_string(number), customer_name(data_get_long(orders(), "CUSTOMER")),
                      data_get_text(orders(), "REMARK")});
  data_clear_record(lines());
  data_put_long(lines(), "NUMBER", number);
  const BrowserOrder by_position[] = {{kPrimary, title.c_str()}};
  Browser browser({.file = &lines(),
                   .orders = by_position,
                   .columns = kLineColumns,
                   .keys = "LINES_KEYS",
                   .help_key = "_LINES_",
                   .fixed_parts = 1,
                   .row = 6,
                   .rows = 12});
  while (!leaves(browser.run())) {
  }
}

void cancel() {
  const int number = data_get_long(orders(), "NUMBER");
  if (!confirm("ASK_CANCEL", {std::to_string(number)})) return;
  const Outcome outcome = cancel_order(number);
  if (!outcome.done())
    tell_refused(outcome);
  else
    tell("ORDER_CANCELLED", {std::to_string(number)});
}

void serve(int code) {
  const int number = data_get_long(orders(), "NUMBER");
  switch (code) {
    case kKeyEnter:
      return look_at_lines();
    case kKeyF5:
      return print_order(number, OrderPaper::kInvoice);
    case kKeyF6:
      return print_order(number, OrderPaper::kDeliveryNote);
    case kKeyF7:
      return enter_payment(number);
    case kKeyF8:
      return cancel();
    default:
      return;
  }
}

}  // namespace

void maintain_orders() {
  StatusRow status("ORDERS", &orders());
  Browser browser({.file = &orders(),
                   .orders = kOrders,
                   .columns = kColumns,
                   .keys = "ORDERS_KEYS",
                   .help_key = "_ORDERS_"});
  for (int code = browser.run(); !leaves(code); code = browser.run()) {
    const bool is_order = data_get_long(orders(), "NUMBER") != 0;
    if (code == kKeyF2)
      enter_order();
    else if (is_order)
      serve(code);
    status.show();
  }
}

bool choose_order(int& number) {
  Browser browser({.file = &orders(),
                   .orders = kOrders,
                   .columns = kColumns,
                   .keys = "CHOOSE_KEYS",
                   .help_key = "_ORDERS_"});
  if (!browser.choose()) return false;
  number = data_get_long(orders(), "NUMBER");
  return true;
}

}  // namespace shop
