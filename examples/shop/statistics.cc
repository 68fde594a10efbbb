// SPDX-License-Identifier: GPL-3.0-or-later

#include <marigold/lists.h>
#include <marigold/progress.h>

#include <array>
#include <string>

#include "booking.h"
#include "shop.h"

namespace shop {
namespace {

struct Month {
  int orders = 0;
  double turnover = 0;
  double paid = 0;
};

using Year = std::array<Month, 12>;

// The month of a date in this year, or null.
Month* month_of(Year& year, int wanted_year, int date) {
  const DateParts parts = date_split(date);
  if (parts.year != wanted_year || parts.month < 1 || parts.month > 12) return nullptr;
  return &year[static_cast<std::size_t>(parts.month - 1)];
}

void add_order(Year& year, int wanted_year) {
  Month* month = month_of(year, wanted_year, data_get_long(orders(), "PLACED"));
  if (month == nullptr || data_get_text(orders(), "STATE") == "C") return;
  ++month->orders;
  month->turnover = money(month->turnover + data_get_double(orders(), "TOTAL"));
}

void add_payment(Year& year, int wanted_year) {
  Month* month = month_of(year, wanted_year, data_get_long(payments(), "PAIDON"));
  if (month != nullptr) month->paid = money(month->paid + data_get_double(payments(), "AMOUNT"));
}

// Returns false if the operator has interrupted it.
bool add_up(Year& year, int wanted_year) {
  Progress progress("PROGRESS_TURNOVER");
  int done = 0;
  for (int read = data_read_first(orders(), kPrimary); read == kDataDone && progress.go_on(++done);
       read = data_read_next(orders(), kPrimary))
    add_order(year, wanted_year);
  for (int read = data_read_first(payments(), kPrimary);
       read == kDataDone && progress.go_on(++done); read = data_read_next(payments(), kPrimary))
    add_payment(year, wanted_year);
  return !progress.was_interrupted();
}

void print_month(const std::string& name, const Month& month, const char* block) {
  list_set("MONTH", name);
  list_set("ORDERS", month.orders);
  list_set("TURNOVER", month.turnover);
  list_set("PAID", month.paid);
  list_print(block);
}

bool print_year(const Year& year, int number) {
  list_set("YEAR", edit_number("00", number));
  list_print("HEAD");
  Month sum;
  for (std::size_t i = 0; i < year.size(); ++i) {
    const std::string id = "MONTH_" + std::to_string(i + 1);
    print_month(text(id.c_str()), year[i], "MONTH");
    sum.orders += year[i].orders;
    sum.turnover = money(sum.turnover + year[i].turnover);
    sum.paid = money(sum.paid + year[i].paid);
  }
  print_month("", sum, "SUM");
  return !list_check_abort();
}

// The year of the last order, which is the one that operators ask for most.
double year_of_last_order() {
  const bool found = data_read_last(orders(), kPrimary) == kDataDone;
  return date_split(found ? data_get_long(orders(), "PLACED") : date_today()).year;
}

bool ask_year(double& year) {
  const FormField fields[] = {// clang-format off
      {.label = "YEAR", .row = 2, .column = 24, .kind = kNumber, .variable = &year,
       .name = "YEAR", .mask = "00", .least = 0, .most = 99}};
  // clang-format on
  Form form = mask("TURNOVER", {10, 20, 5, 40, false}, fields, "_TURNOVER_");
  return form_run(form) == kKeyEnter;
}

}  // namespace

void print_turnover() {
  double wanted = year_of_last_order();
  if (!ask_year(wanted)) return;
  const int number = static_cast<int>(wanted);
  Year year{};
  if (!add_up(year, number)) return textdb_tell("INTERRUPTED");
  print("LIST_TURNOVER", text("FILE_TURNOVER", {edit_number("00", wanted)}),
        [&year, number] { return print_year(year, number); });
}

}  // namespace shop
