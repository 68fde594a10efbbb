// SPDX-License-Identifier: GPL-3.0-or-later
#include "booking.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>

#include "texts.h"

namespace shop {

using namespace marigold;

namespace {

// Pieces by codes, in the order in which articles are locked.
using Pieces = std::map<std::string, double>;

void add_to(DataFile& file, const char* field, double amount) {
  data_put_double(file, field, money(data_get_double(file, field) + amount));
}

Outcome lock_article(const std::string& code) {
  data_put_text(articles(), "CODE", code);
  Outcome outcome = lock_record(articles());
  if (outcome.done() || outcome.may_try_again) return outcome;
  return {.refused = "REFUSED_ARTICLE", .values = {code}};
}

void note_article(Order& order, const std::string& code) {
  for (OrderLine& line : order.lines) {
    if (line.code != code) continue;
    line.text = data_get_text(articles(), "TEXT");
    line.price = data_get_double(articles(), "PRICE");
  }
}

Outcome take_stock(const Pieces& pieces, Order& order) {
  for (const auto& [code, wanted] : pieces) {
    if (Outcome outcome = lock_article(code); !outcome.done()) return outcome;
    if (data_get_text(articles(), "SOLD") != "Y")
      return {.refused = "REFUSED_NOT_SOLD", .values = {code}};
    const double stock = data_get_double(articles(), "STOCK");
    if (stock < wanted)
      return {.refused = "REFUSED_STOCK", .values = {code, std::to_string(std::lround(stock))}};
    note_article(order, code);
    add_to(articles(), "STOCK", -wanted);
    changes_write(articles());
  }
  return {};
}

Outcome give_stock_back(const Pieces& pieces) {
  for (const auto& [code, ordered] : pieces) {
    if (Outcome outcome = lock_article(code); !outcome.done()) return outcome;
    add_to(articles(), "STOCK", ordered);
    changes_write(articles());
  }
  return {};
}

Outcome lock_customer(int number) {
  data_put_long(customers(), "NUMBER", number);
  Outcome outcome = lock_record(customers());
  if (outcome.done() || outcome.may_try_again) return outcome;
  return {.refused = "REFUSED_CUSTOMER", .values = {std::to_string(number)}};
}

Outcome charge_customer(int number, double amount) {
  if (Outcome outcome = lock_customer(number); !outcome.done()) return outcome;
  add_to(customers(), "BALANCE", amount);
  const double credit = data_get_double(customers(), "CREDIT");
  const double balance = data_get_double(customers(), "BALANCE");
  if (amount > 0 && balance > credit)
    return {.refused = "REFUSED_CREDIT", .values = {money_text(balance), money_text(credit)}};
  changes_write(customers());
  return {};
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
Outcome lock_order(int number) {
  data_put_long(orders(), "NUMBER", number);
  if (Outcome outcome = lock_record(orders()); !outcome.done()) return outcome;
  if (data_get_text(orders(), "STATE") == "C")
    return {.refused = "REFUSED_CANCELLED", .values = {std::to_string(number)}};
  return {};
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

Outcome book_order(Order& order) {
  Pieces pieces;
  for (const OrderLine& line : order.lines) {
    if (!line.code.empty()) pieces[line.code] += line.pieces;
  }
  return carry_out([&]() -> Outcome {
    if (Outcome outcome = take_stock(pieces, order); !outcome.done()) return outcome;
    if (Outcome outcome = charge_customer(order.customer, order.total()); !outcome.done())
      return outcome;
    if (Outcome outcome = take_number("ORDER", order.number); !outcome.done()) return outcome;
    write_head(order);
    write_lines(order);
    return {};
  });
}

Outcome cancel_order(int number) {
  return carry_out([number]() -> Outcome {
    if (Outcome outcome = give_stock_back(pieces_of_order(number)); !outcome.done()) return outcome;
    if (Outcome outcome = lock_order(number); !outcome.done()) return outcome;
    if (data_get_double(orders(), "PAID") != 0) return {.refused = "REFUSED_PAID"};
    data_put_text(orders(), "STATE", "C");
    changes_write(orders());
    return charge_customer(data_get_long(orders(), "CUSTOMER"),
                           -data_get_double(orders(), "TOTAL"));
  });
}

Outcome book_payment(Payment& payment) {
  return carry_out([&payment]() -> Outcome {
    if (Outcome outcome = lock_order(payment.order); !outcome.done()) return outcome;
    const double open =
        money(data_get_double(orders(), "TOTAL") - data_get_double(orders(), "PAID"));
    if (money(payment.amount) > open)
      return {.refused = "REFUSED_TOO_MUCH", .values = {money_text(open)}};
    add_to(orders(), "PAID", payment.amount);
    changes_write(orders());
    if (Outcome outcome =
            charge_customer(data_get_long(orders(), "CUSTOMER"), -money(payment.amount));
        !outcome.done())
      return outcome;
    if (Outcome outcome = take_number("PAYMENT", payment.number); !outcome.done()) return outcome;
    write_payment(payment);
    return {};
  });
}

}  // namespace shop
