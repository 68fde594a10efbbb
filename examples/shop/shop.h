// SPDX-License-Identifier: GPL-3.0-or-later
// What all parts of the shop use: its data files (definitions/FILESHOP.DES), texts by their ids, the
// screen, and each other.
#pragma once

#include <marigold/forms.h>
#include <marigold/menus.h>
#include <marigold/record_lists.h>
#include <marigold/texts.h>

#include <functional>
#include <span>
#include <string>

namespace shop {

using namespace marigold;  // the runtime; this header is the application's own
using enum FormFieldKind;

// ---- Data files

inline DataFile& customers() {
  return data_file("CUSTOMER");
}
inline DataFile& articles() {
  return data_file("ARTICLE");
}
inline DataFile& orders() {
  return data_file("ORDERS");
}
inline DataFile& lines() {
  return data_file("ORDLINE");
}
inline DataFile& payments() {
  return data_file("PAYMENT");
}
inline DataFile& numbers() {
  return data_file("NUMBERS");
}

// Keys. Those of orders and payments have the first name that comes with the file.
inline constexpr int kPrimary = 1;
inline constexpr int kCustomerByName = 2;
inline constexpr int kCustomerByTown = 3;
inline constexpr int kArticleByText = 2;
inline constexpr int kOrderByCustomer = 2;

// Read a record without a lock. False if there is none; the buffer is clear then.
bool find_customer(int number);
bool find_article(const std::string& code);
bool find_order(int number);

// The name of a customer, or an empty text.
std::string customer_name(int number);

// ---- Texts

inline std::string text(const char* id, TextValues values = {}) {
  return textdb_filled(id, values);
}

// An amount of money as "1.234,50".
std::string money_text(double amount);

// ---- The screen

// Who works here, for the status line and for the orders.
std::string operator_name();

// Shows in the last row of the screen who works with which file. The caller removes the window.
void show_status(int& window, const char* task, const DataFile& counted);

// A list below the header of the screen. The row above the status line names its keys.
RecordListLayout full_list(DataFile& file, std::span<const RecordOrder> orders,
                           std::span<const RecordColumn> columns, const char* help_key,
                           const char* keys);

// A form with the keys of the shop in its last row: "Page Down stores" and so on.
Form mask(const char* title, WindowPlace place, std::span<const FormField> fields,
          const char* help_key, DataFile* file = nullptr);

// ---- What the menu leads to. Each function returns when the operator goes back.

// Lists in which operators look for records, change them and add new ones: customers.cc,
// articles.cc, orders.cc.
void maintain_customers();
void maintain_articles();
void maintain_orders();

// The lists, also for choosing a record in a mask: the row above the status line names their keys.
inline constexpr const char* kChooseKeys = "CHOOSE_KEYS";
RecordListLayout customer_list(const char* keys);
RecordListLayout article_list(const char* keys);
RecordListLayout order_list(const char* keys);

// Codes of articles are written in capitals.
std::string in_capitals(std::string code);

// The mask of a new order, until the order is booked or dropped (order_entry.cc).
void enter_order();

// The mask of a payment, for this order or, with 0, for one that the operator names (payments.cc).
void enter_payment(int order);

// ---- Everything that is printed on the screen, on the printer or into a file (printing.cc,
// statistics.cc)

// A paper of an order: the invoice or the delivery note.
void print_order(int number, const char* list_id, const char* file_id);

// What customers have still to pay; orders and payments of a year by months.
void print_open_amounts();
void print_turnover();

// Asks the operator where to print and prints a list there. The list's name is a text, so that each
// language has lists of its own (lists/*.list). `blocks` prints the blocks and returns false if the
// list is not to be kept, for example because the operator has interrupted it. The operator learns
// how it ended.
void print(const char* list_id, const std::string& file_name, const std::function<bool()>& blocks);

}  // namespace shop
