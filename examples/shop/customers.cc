// SPDX-License-Identifier: GPL-3.0-or-later

#include <marigold/forms.h>

#include <string>

#include "browser.h"
#include "edit.h"
#include "files.h"
#include "screens.h"
#include "texts.h"

namespace shop {

using namespace marigold;
using enum FormFieldKind;

namespace {

const char* check_postcode(Form& form, const FormField& field) {
  const std::string code = form_text(form, field.field);
  return code.find_first_not_of("0123456789 -ABCDEFGHIJKLMNOPQRSTUVWXYZ") == std::string::npos
             ? nullptr
             : "CHECK_POSTCODE";
}

const char* check_email(Form& form, const FormField& field) {
  const std::string address = form_text(form, field.field);
  if (address.empty()) return nullptr;
  const std::size_t at = address.find('@');
  const bool good = at != std::string::npos && at > 0 &&
                    address.find('.', at) != std::string::npos &&
                    address.find(' ') == std::string::npos;
  return good ? nullptr : "CHECK_EMAIL";
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

Form customer_form(const char* title) {
  Form form = mask(title, {3, 8, 19, 64, false}, kFields, "_CUSTOMER_");
  form.file = &customers();
  return form;
}

bool add_customer() {
  data_clear_record(customers());
  data_put_long(customers(), "SINCE", date_today());
  Form form = customer_form("CUSTOMER_NEW");
  return add_record(form, [] {
    int number = 0;
    Outcome outcome = take_number("CUSTOMER", number);
    data_put_long(customers(), "NUMBER", number);
    return outcome;
  });
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
  if (number == 0) return;
  if (!confirm("ASK_DELETE", {data_get_text(customers(), "NAME")})) return;
  const Outcome outcome = carry_out([number]() -> Outcome {
    data_put_long(customers(), "NUMBER", number);
    if (Outcome locked = lock_record(customers()); !locked.done()) return locked;
    if (has_orders(number)) return {.refused = "REFUSED_HAS_ORDERS"};
    changes_delete(customers());
    return {};
  });
  if (!outcome.done()) tell_refused(outcome);
}

constexpr BrowserOrder kOrders[] = {{kCustomerByName, "CUSTOMERS_BY_NAME"},
                                    {kPrimary, "CUSTOMERS_BY_NUMBER"},
                                    {kCustomerByTown, "CUSTOMERS_BY_TOWN"}};
constexpr RecordColumn kColumns[] = {{.title = "NUMBER", .field = "NUMBER"},
                                     {.title = "NAME", .field = "NAME"},
                                     {.title = "TOWN", .field = "TOWN", .width = 20},
                                     {.title = "BALANCE", .field = "BALANCE"}};

BrowserLayout customer_list(const char* keys) {
  return {.file = &customers(),
          .orders = kOrders,
          .columns = kColumns,
          .keys = keys,
          .help_key = "_CUSTOMERS_"};
}

}  // namespace

void maintain_customers() {
  StatusRow status("CUSTOMERS", &customers());
  Browser browser(customer_list("CUSTOMERS_KEYS"));
  for (int code = browser.run(); !leaves(code); code = browser.run()) {
    Form form = customer_form("CUSTOMER");
    if (code == kKeyEnter && edit_record(form)) browser.go_to_record();
    if (code == kKeyF2 && add_customer()) {
      tell("CUSTOMER_ADDED", {std::to_string(data_get_long(customers(), "NUMBER"))});
      browser.go_to_record();
    }
    if (code == kKeyDelete) delete_customer();
    status.show();
  }
}

bool choose_customer(int& number) {
  Browser browser(customer_list("CHOOSE_KEYS"));
  if (!browser.choose()) return false;
  number = data_get_long(customers(), "NUMBER");
  return true;
}

}  // namespace shop
