// SPDX-License-Identifier: GPL-3.0-or-later
#include "shop.h"

#include <cstdlib>

namespace shop {

bool find_customer(int number) {
  data_put_long(customers(), "NUMBER", number);
  return data_read(customers(), kPrimary, false, LockWait::kWait) == kDataDone;
}

bool find_article(const std::string& code) {
  data_put_text(articles(), "CODE", code);
  return data_read(articles(), kPrimary, false, LockWait::kWait) == kDataDone;
}

bool find_order(int number) {
  data_put_long(orders(), "NUMBER", number);
  return data_read(orders(), kPrimary, false, LockWait::kWait) == kDataDone;
}

std::string customer_name(int number) {
  return find_customer(number) ? data_get_text(customers(), "NAME") : "";
}

std::string money_text(double amount) {
  const std::string edited = edit_number("-###.###.##0,00", amount);
  return edited.substr(edited.find_first_not_of(' '));
}

std::string operator_name() {
  for (const char* name : {"SHOP_OPERATOR", "LOGNAME", "USER", "USERNAME"}) {
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') return value;
  }
  return "?";
}

void show_status(int& window, const char* task, const DataFile& counted) {
  const std::string name = operator_name();
  status_line_show(window, {.operator_name = name.c_str(), .file = task, .counted = &counted});
}

RecordListLayout full_list(DataFile& file, std::span<const RecordOrder> orders,
                           std::span<const RecordColumn> columns, const char* help_key,
                           const char* keys) {
  return {.file = &file,
          .orders = orders,
          .row = 3,
          .rows = 15,
          .columns = columns,
          .help_key = help_key,
          .keys = keys};
}

Form mask(const char* title, WindowPlace place, std::span<const FormField> fields,
          const char* help_key, DataFile* file) {
  return {.title = title,
          .row = place.row,
          .column = place.column,
          .height = place.height,
          .width = place.width,
          .fields = fields,
          .file = file,
          .status = "FORM_KEYS",
          .help_key = help_key};
}

}  // namespace shop
