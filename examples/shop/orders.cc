// SPDX-License-Identifier: GPL-3.0-or-later

#include <string>

#include "booking.h"
#include "shop.h"

namespace shop {
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

constexpr RecordOrder kOrders[] = {{kPrimary, "ORDERS_BY_NUMBER"},
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
  RecordList list({.file = &lines(),
                   .fixed_parts = 1,
                   .title = title.c_str(),
                   .row = 6,
                   .rows = 12,
                   .columns = kLineColumns,
                   .help_key = "_LINES_",
                   .keys = "LINES_KEYS"});
  while (list.run() != kKeyEscape) {
  }
}

void cancel(int number) {
  if (!textdb_confirm("ASK_CANCEL", {std::to_string(number)})) return;
  if (cancel_order(number)) textdb_tell("ORDER_CANCELLED", {std::to_string(number)});
}

void serve(int code, int number) {
  if (code == kKeyEnter) look_at_lines();
  if (code == kKeyF5) print_order(number, "LIST_INVOICE", "FILE_INVOICE");
  if (code == kKeyF6) print_order(number, "LIST_DELIVERY", "FILE_DELIVERY");
  if (code == kKeyF7) enter_payment(number);
  if (code == kKeyF8) cancel(number);
}

}  // namespace

RecordListLayout order_list(const char* keys) {
  return full_list(orders(), kOrders, kColumns, "_ORDERS_", keys);
}

void maintain_orders() {
  int status = 0;
  show_status(status, "ORDERS", orders());
  RecordList list(order_list("ORDERS_KEYS"));
  for (int code = list.run(); code != kKeyEscape; code = list.run()) {
    const int number = data_get_long(orders(), "NUMBER");
    if (code == kKeyF2) enter_order();
    if (number != 0) serve(code, number);
    show_status(status, "ORDERS", orders());
  }
  p_destroy_w(status);
}

}  // namespace shop
