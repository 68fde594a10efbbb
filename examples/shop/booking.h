// SPDX-License-Identifier: GPL-3.0-or-later
// What the shop books: orders with their stock, cancellations, payments. Each is a set of changes,
// done whole or not at all; the operator learns why if nothing is booked.
//
// Records are locked in one order, so that no two operators wait for each other: articles in the
// order of their codes, then the order, the customer, and the number range.
#pragma once

#include <string>
#include <vector>

namespace shop {

struct OrderLine {
  std::string code;  // empty: no line
  double pieces = 0;
  // Of the article, as the operator has seen them.
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
bool book_order(Order& order);

// Gives the stock back and takes the total off the balance. Refused for an order with payments.
bool cancel_order(int number);

struct Payment {
  int number = 0;  // from book_payment
  int order = 0;
  int paid_on = 0;  // DDMMYY
  double amount = 0;
  std::string kind = "T";  // C cash, T transfer, D card
};

// Refused if more is paid than is open.
bool book_payment(Payment& payment);

// Takes the next number of a range ("ORDER") as a part of the set of changes that is being prepared,
// so that no number is used twice and none is lost. Returns "", or why there is none.
std::string take_number(const char* range, int& number);

}  // namespace shop
