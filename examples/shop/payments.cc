// SPDX-License-Identifier: GPL-3.0-or-later

#include <string>

#include "booking.h"
#include "shop.h"

namespace shop {
namespace {

const char* check_order(Form& form, const FormField& field) {
  if (!find_order(static_cast<int>(form_number(form, field.name)))) return "CHECK_ORDER";
  return data_get_text(orders(), "STATE") == "C" ? "CHECK_CANCELLED" : nullptr;
}

// What is still to pay; nothing for a cancelled order.
double open_amount(int order) {
  if (!find_order(order) || data_get_text(orders(), "STATE") == "C") return 0;
  return money(data_get_double(orders(), "TOTAL") - data_get_double(orders(), "PAID"));
}

double open_amount(Form& form) {
  return open_amount(static_cast<int>(form_number(form, "ORDER")));
}

// Most payments are of the whole amount.
void order_changed(Form& form, const FormField& /*field*/) {
  form_put_number(form, "AMOUNT", open_amount(form));
}

void ask_order(Form& form, const FormField& field) {
  if (!RecordList(order_list(kChooseKeys)).choose()) return;
  form_put_number(form, field.name, data_get_long(orders(), "NUMBER"));
  order_changed(form, field);
}

void compute_name(Form& form, const FormField& field) {
  const bool found = find_order(static_cast<int>(form_number(form, "ORDER")));
  form_put_text(form, field.name, found ? customer_name(data_get_long(orders(), "CUSTOMER")) : "");
}

void compute_open(Form& form, const FormField& field) {
  form_put_number(form, field.name, open_amount(form));
}

const char* check_amount(Form& form, const FormField& field) {
  return form_number(form, field.name) > open_amount(form) ? "CHECK_TOO_MUCH" : nullptr;
}

constexpr FormChoice kKinds[] = {{"PAID_TRANSFER", "T"}, {"PAID_CASH", "C"}, {"PAID_CARD", "D"}};

}  // namespace

void enter_payment(int order) {
  Payment payment{.order = order, .paid_on = date_today()};
  if (order != 0) {
    payment.amount = open_amount(order);
    if (payment.amount == 0) return textdb_tell("ORDER_PAID", {std::to_string(order)});
  }
  // clang-format off
  const FormField fields[] = {
      {.label = "ORDER", .row = 2, .column = 19, .kind = kNumber, .variable = &payment.order,
       .name = "ORDER",
       .mask = "#####0", .required = true, .read_only = order != 0, .check = check_order,
       .changed = order_changed, .choose = ask_order},
      {.label = "NAME", .row = 3, .column = 19, .width = 30, .name = "NAME",
       .compute = compute_name},
      {.label = "OPEN_AMOUNT", .row = 4, .column = 19, .kind = kNumber, .name = "OPEN",
       .mask = "######0,00", .compute = compute_open},
      {.label = "PAID_AMOUNT", .row = 6, .column = 19, .kind = kNumber,
       .variable = &payment.amount, .name = "AMOUNT",
       .mask = "######0,00", .least = 0.01, .check = check_amount},
      {.label = "PAID_ON", .row = 7, .column = 19, .kind = kDate, .variable = &payment.paid_on,
       .name = "PAIDON", .required = true},
      {.label = "PAID_KIND", .row = 8, .column = 19, .kind = kChoice, .variable = &payment.kind,
       .name = "KIND", .required = true, .choices = kKinds}};
  // clang-format on
  Form form = mask("PAYMENT", {7, 10, 11, 60, false}, fields, "_PAYMENT_");
  for (; form_run(form) == kKeyEnter; form.start = form.left_at) {
    if (book_payment(payment))
      return textdb_tell("PAYMENT_BOOKED",
                         {std::to_string(payment.number), money_text(payment.amount)});
  }
}

}  // namespace shop
