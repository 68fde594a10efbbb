// SPDX-License-Identifier: GPL-3.0-or-later
// What the shop books: orders with their stock, cancellations, payments, counted stock. Each is a
// set of changes (changes.h) and knows nothing of the screen.
#pragma once

#include <string>
#include <vector>

#include "changes.h"

namespace shop {

struct OrderLine {
  std::string code;  // empty: no line
  double pieces = 0;
  // Those of the article when the order is booked; from book_order.
  std::string text;
  double price = 0;
};

struct Order {
  int number = 0;  // from book_order
  int customer = 0;
  int placed = 0;  // DDMMYY
  std::string remark;
  std::vector<OrderLine> lines;

  [[nodiscard]] double total() const;
};

// Rounds to cents, so that sums are those of the printed amounts.
double money(double amount);
double amount_of(const OrderLine& line);

// Writes the order and its lines under a new number, takes the stock and adds the total to the
// customer's balance. Refused if an article lacks stock or is not sold any more, and beyond the
// customer's credit.
Outcome book_order(Order& order);

// Gives the stock back and takes the total off the balance. Refused for an order with payments.
Outcome cancel_order(int number);

struct Payment {
  int number = 0;  // from book_payment
  int order = 0;
  int paid_on = 0;  // DDMMYY
  double amount = 0;
  std::string kind = "T";  // C cash, T transfer, D card
};

// Refused if more is paid than is open.
Outcome book_payment(Payment& payment);

}  // namespace shop
