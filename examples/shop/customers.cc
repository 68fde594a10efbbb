// SPDX-License-Identifier: GPL-3.0-or-later

#include <string>

#include "booking.h"
#include "shop.h"

namespace shop {
namespace {

const char* check_postcode(Form& form, const FormField& field) {
  const std::string code = form_text(form, field.field);
  return code.find_first_not_of("0123456789 -ABCDEFGHIJKLMNOPQRSTUVWXYZ") == std::string::npos
             ? nullptr
             : "CHECK_POSTCODE";
}

const char* check_email(Form& form, const FormField& field) {
  const std::string address = form_text(form, field.field);
  const std::size_t at = address.find('@', 1);
  const bool good =
      address.find('.', at) != std::string::npos && address.find(' ') == std::string::npos;
  return address.empty() || good ? nullptr : "CHECK_EMAIL";
}

// Years from 70 on are those of the last century.
int order_of_day(int date) {
  const int sorted = date_to_sort_layout(date);
  return sorted < 700000 ? sorted + 1000000 : sorted;
}

const char* check_since(Form& form, const FormField& field) {
  const auto day = static_cast<int>(form_number(form, field.field));
  return order_of_day(day) > order_of_day(date_today()) ? "CHECK_FUTURE" : nullptr;
}

void compute_left(Form& form, const FormField& field) {
  form_put_number(form, field.name, form_number(form, "CREDIT") - form_number(form, "BALANCE"));
}

constexpr FormChoice kKinds[] = {
    {"KIND_PRIVATE", "P"}, {"KIND_BUSINESS", "B"}, {"KIND_PUBLIC", "O"}};

// The comma of the credit stands below that of the balance.
// clang-format off
const FormField kFields[] = {
    {.label = "NUMBER", .row = 2, .column = 19, .kind = kNumber, .field = "NUMBER",
     .read_only = true},
    {.label = "NAME", .row = 4, .column = 19, .field = "NAME", .required = true},
    {.label = "STREET", .row = 5, .column = 19, .field = "STREET", .required = true},
    {.label = "POSTCODE", .row = 6, .column = 19, .field = "POSTCODE", .required = true,
     .check = check_postcode},
    {.label = "TOWN", .row = 7, .column = 19, .field = "TOWN", .required = true},
    {.label = "PHONE", .row = 8, .column = 19, .field = "PHONE"},
    {.label = "EMAIL", .row = 9, .column = 19, .field = "EMAIL", .check = check_email},
    {.label = "KIND", .row = 11, .column = 19, .kind = kChoice, .field = "KIND", .required = true,
     .choices = kKinds},
    {.label = "MAILING", .row = 12, .column = 19, .kind = kYesNo, .field = "MAILING"},
    {.label = "SINCE", .row = 13, .column = 19, .kind = kDate, .field = "SINCE", .required = true,
     .check = check_since},
    {.label = "CREDIT", .row = 15, .column = 20, .kind = kNumber, .field = "CREDIT", .least = 0,
     .most = 50000, .help_key = "_CREDIT_"},
    {.label = "BALANCE", .row = 16, .column = 19, .kind = kNumber, .field = "BALANCE",
     .read_only = true},
    {.label = "CREDIT_LEFT", .row = 17, .column = 19, .kind = kNumber, .name = "LEFT",
     .mask = "-#####0,00", .compute = compute_left}};
// clang-format on

constexpr WindowPlace kPlace = {3, 8, 19, 64, false};

bool add_customer() {
  data_clear_record(customers());
  data_put_long(customers(), "SINCE", date_today());
  Form form = mask("CUSTOMER_NEW", kPlace, kFields, "_CUSTOMER_", &customers());
  int number = 0;
  const bool added = form_add_record(form, [&number] {
    std::string refused = take_number("CUSTOMER", number);
    data_put_long(customers(), "NUMBER", number);
    return refused;
  });
  if (added) textdb_tell("CUSTOMER_ADDED", {std::to_string(number)});
  return added;
}

bool has_orders(int number) {
  data_clear_record(orders());
  data_put_long(orders(), "CUSTOMER", number);
  return data_read_from(orders(), kOrderByCustomer) == kDataDone &&
         data_get_long(orders(), "CUSTOMER") == number;
}

// An order locks its customer, so none can be booked between the look for orders and the deletion.
void delete_customer() {
  const int number = data_get_long(customers(), "NUMBER");
  if (number == 0 || !textdb_confirm("ASK_DELETE", {data_get_text(customers(), "NAME")})) return;
  form_change_records([number] {
    data_put_long(customers(), "NUMBER", number);
    if (data_read(customers(), kPrimary, true, LockWait::kAsk) != kDataDone)
      return text("FORM.GONE");
    if (has_orders(number)) return text("REFUSED_HAS_ORDERS");
    changes_delete(customers());
    return std::string();
  });
}

constexpr RecordOrder kOrders[] = {{kCustomerByName, "CUSTOMERS_BY_NAME"},
                                   {kPrimary, "CUSTOMERS_BY_NUMBER"},
                                   {kCustomerByTown, "CUSTOMERS_BY_TOWN"}};
constexpr RecordColumn kColumns[] = {{.title = "NUMBER", .field = "NUMBER"},
                                     {.title = "NAME", .field = "NAME"},
                                     {.title = "TOWN", .field = "TOWN", .width = 20},
                                     {.title = "BALANCE", .field = "BALANCE"}};

}  // namespace

RecordListLayout customer_list(const char* keys) {
  return full_list(customers(), kOrders, kColumns, "_CUSTOMERS_", keys);
}

void maintain_customers() {
  int status = 0;
  show_status(status, "CUSTOMERS", customers());
  RecordList list(customer_list("CUSTOMERS_KEYS"));
  for (int code = list.run(); code != kKeyEscape; code = list.run()) {
    Form form = mask("CUSTOMER", kPlace, kFields, "_CUSTOMER_", &customers());
    if (code == kKeyEnter && form_edit_record(form)) list.go_to_record();
    if (code == kKeyF2 && add_customer()) list.go_to_record();
    if (code == kKeyDelete) delete_customer();
    show_status(status, "CUSTOMERS", customers());
  }
  p_destroy_w(status);
}

}  // namespace shop
