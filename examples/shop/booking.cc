// SPDX-License-Identifier: GPL-3.0-or-later
#include "booking.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>

#include "shop.h"

namespace shop {
namespace {

// Why nothing is booked, in the language of the operator; empty: it can be booked.
using Refusal = std::string;

// Pieces by codes, in the order in which articles are locked.
using Pieces = std::map<std::string, double>;

void add_to(DataFile& file, const char* field, double amount) {
  data_put_double(file, field, money(data_get_double(file, field) + amount));
}

// Reads the record of the primary key in the buffer with a lock. When somebody else has the record,
// the runtime asks the operator, and the set is prepared again.
bool lock_record(DataFile& file) {
  return data_read(file, kPrimary, true, LockWait::kAsk) == kDataDone;
}

// Takes pieces from the stock, or gives them back.
Refusal change_stock(const Pieces& pieces, bool takes) {
  for (const auto& [code, count] : pieces) {
    data_put_text(articles(), "CODE", code);
    if (!lock_record(articles())) return text("REFUSED_ARTICLE", {code});
    const double stock = data_get_double(articles(), "STOCK");
    if (takes && data_get_text(articles(), "SOLD") != "Y") return text("REFUSED_NOT_SOLD", {code});
    if (takes && stock < count)
      return text("REFUSED_STOCK", {code, std::to_string(std::lround(stock))});
    add_to(articles(), "STOCK", takes ? -count : count);
    changes_write(articles());
  }
  return "";
}

Refusal charge_customer(int number, double amount) {
  data_put_long(customers(), "NUMBER", number);
  if (!lock_record(customers())) return text("REFUSED_CUSTOMER", {std::to_string(number)});
  add_to(customers(), "BALANCE", amount);
  const double credit = data_get_double(customers(), "CREDIT");
  const double balance = data_get_double(customers(), "BALANCE");
  if (amount > 0 && balance > credit)
    return text("REFUSED_CREDIT", {money_text(balance), money_text(credit)});
  changes_write(customers());
  return "";
}

void write_head(const Order& order) {
  data_clear_record(orders());
  data_put_long(orders(), "NUMBER", order.number);
  data_put_long(orders(), "CUSTOMER", order.customer);
  data_put_long(orders(), "PLACED", order.placed);
  data_put_text(orders(), "REMARK", order.remark);
  data_put_double(orders(), "TOTAL", order.total());
  data_put_text(orders(), "OPERATOR", operator_name().substr(0, 12));
  changes_write(orders());
}

void write_lines(const Order& order) {
  int position = 0;
  for (const OrderLine& line : order.lines) {
    if (line.code.empty()) continue;
    data_clear_record(lines());
    data_put_long(lines(), "NUMBER", order.number);
    data_put_long(lines(), "POSITION", ++position);
    data_put_text(lines(), "CODE", line.code);
    data_put_text(lines(), "TEXT", line.text);
    data_put_double(lines(), "PIECES", line.pieces);
    data_put_double(lines(), "PRICE", line.price);
    changes_write(lines());
  }
}

// The lines of an order do not change once they are written, so they need no locks.
Pieces pieces_of_order(int number) {
  Pieces pieces;
  data_clear_record(lines());
  data_put_long(lines(), "NUMBER", number);
  for (int read = data_read_from(lines(), kPrimary);
       read == kDataDone && data_get_long(lines(), "NUMBER") == number;
       read = data_read_next(lines(), kPrimary)) {
    pieces[data_get_text(lines(), "CODE")] += data_get_double(lines(), "PIECES");
  }
  return pieces;
}

// Locks an order that is not cancelled.
Refusal lock_order(int number) {
  data_put_long(orders(), "NUMBER", number);
  if (!lock_record(orders())) return text("FORM.GONE");
  if (data_get_text(orders(), "STATE") == "C")
    return text("REFUSED_CANCELLED", {std::to_string(number)});
  return "";
}

void write_payment(const Payment& payment) {
  data_clear_record(payments());
  data_put_long(payments(), "NUMBER", payment.number);
  data_put_long(payments(), "ORDERNO", payment.order);
  data_put_long(payments(), "PAIDON", payment.paid_on);
  data_put_double(payments(), "AMOUNT", money(payment.amount));
  data_put_text(payments(), "KIND", payment.kind);
  changes_write(payments());
}

}  // namespace

double money(double amount) {
  return std::round(amount * 100) / 100;
}

double amount_of(const OrderLine& line) {
  return line.code.empty() ? 0 : money(line.pieces * line.price);
}

double Order::total() const {
  double sum = 0;
  for (const OrderLine& line : lines)
    sum += amount_of(line);
  return money(sum);
}

std::string take_number(const char* range, int& number) {
  data_put_text(numbers(), "RANGE", range);
  if (!lock_record(numbers())) return text("REFUSED_NUMBERS", {range});
  number = data_get_long(numbers(), "NEXT");
  data_put_long(numbers(), "NEXT", number + 1);
  changes_write(numbers());
  return "";
}

bool book_order(Order& order) {
  Pieces pieces;
  for (const OrderLine& line : order.lines) {
    if (!line.code.empty()) pieces[line.code] += line.pieces;
  }
  return form_change_records([&]() -> Refusal {
    if (Refusal refusal = change_stock(pieces, true); !refusal.empty()) return refusal;
    if (Refusal refusal = charge_customer(order.customer, order.total()); !refusal.empty())
      return refusal;
    if (Refusal refusal = take_number("ORDER", order.number); !refusal.empty()) return refusal;
    write_head(order);
    write_lines(order);
    return "";
  });
}

bool cancel_order(int number) {
  return form_change_records([number]() -> Refusal {
    if (Refusal refusal = change_stock(pieces_of_order(number), false); !refusal.empty())
      return refusal;
    if (Refusal refusal = lock_order(number); !refusal.empty()) return refusal;
    if (data_get_double(orders(), "PAID") != 0) return text("REFUSED_PAID");
    data_put_text(orders(), "STATE", "C");
    changes_write(orders());
    return charge_customer(data_get_long(orders(), "CUSTOMER"),
                           -data_get_double(orders(), "TOTAL"));
  });
}

bool book_payment(Payment& payment) {
  return form_change_records([&payment]() -> Refusal {
    if (Refusal refusal = lock_order(payment.order); !refusal.empty()) return refusal;
    const double open =
        money(data_get_double(orders(), "TOTAL") - data_get_double(orders(), "PAID"));
    if (money(payment.amount) > open) return text("REFUSED_TOO_MUCH", {money_text(open)});
    add_to(orders(), "PAID", payment.amount);
    changes_write(orders());
    if (Refusal refusal =
            charge_customer(data_get_long(orders(), "CUSTOMER"), -money(payment.amount));
        !refusal.empty())
      return refusal;
    if (Refusal refusal = take_number("PAYMENT", payment.number); !refusal.empty()) return refusal;
    write_payment(payment);
    return "";
  });
}

}  // namespace shop
