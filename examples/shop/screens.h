// SPDX-License-Identifier: GPL-3.0-or-later
// What the menu leads to. Each function returns when the operator goes back.
#pragma once

#include <marigold/record_lists.h>

#include <functional>
#include <string>

namespace shop {

using marigold::RecordListLayout;

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

enum class OrderPaper { kInvoice, kDeliveryNote };
void print_order(int number, OrderPaper paper);

// What customers have still to pay; orders and payments of a year by months.
void print_open_amounts();
void print_turnover();

// Asks the operator where to print and prints a list there. The list's name is a text, so that each
// language has lists of its own (lists/*.list). `blocks` prints the blocks and returns false if the
// list is not to be kept, for example because the operator has interrupted it. The operator learns
// how it ended.
void print(const char* list_id, const std::string& file_name, const std::function<bool()>& blocks);

}  // namespace shop
