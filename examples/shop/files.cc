// SPDX-License-Identifier: GPL-3.0-or-later
#include "files.h"

#include <array>
#include <cstdlib>

namespace shop {

using namespace marigold;

namespace {

std::array<DataFile*, 6> all_files() {
  return {&customers(), &articles(), &orders(), &lines(), &payments(), &numbers()};
}

}  // namespace

bool open_files() {
  for (DataFile* file : all_files()) {
    if (data_open(*file, LockWait::kAsk) == kDataLocked) return false;
  }
  return true;
}

void release_files() {
  for (DataFile* file : all_files())
    data_release(*file);
}

bool find_customer(int number) {
  data_put_long(customers(), "NUMBER", number);
  return data_read(customers(), kPrimary, false, LockWait::kWait) == kDataDone;
}

bool find_article(const std::string& code) {
  data_clear_record(articles());
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

std::string operator_name() {
  for (const char* name : {"SHOP_OPERATOR", "LOGNAME", "USER", "USERNAME"}) {
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') return value;
  }
  return "?";
}

}  // namespace shop
