// SPDX-License-Identifier: GPL-3.0-or-later

#include <marigold/lists.h>
#include <marigold/pdf.h>
#include <marigold/progress.h>

#include <cstdlib>

#include "booking.h"
#include "shop.h"

namespace shop {
namespace {

std::string printer_name() {
  const char* name = std::getenv("SHOP_PRINTER");
  return name != nullptr && *name != '\0' ? name : "#laser";
}

void warn_of_width(const BeyondPage& place) {
  textdb_tell("PRINT_TOO_WIDE", {std::to_string(place.page), std::to_string(place.line)});
}

const OutputDevice* open_file(const std::string& name, std::string& reason) {
  return name.ends_with(".pdf") ? pdf_sink_open(name, warn_of_width, reason)
                                : text_sink_open(name, reason);
}

// ---- The papers of an order

void print_line(int position) {
  const double pieces = data_get_double(lines(), "PIECES");
  list_set("POSITION", position);
  list_set("AMOUNT", money(pieces * data_get_double(lines(), "PRICE")));
  list_print("ITEM");
}

bool print_lines(int number) {
  int position = 0;
  data_clear_record(lines());
  data_put_long(lines(), "NUMBER", number);
  for (int read = data_read_from(lines(), kPrimary);
       read == kDataDone && data_get_long(lines(), "NUMBER") == number && !list_check_abort();
       read = data_read_next(lines(), kPrimary)) {
    print_line(++position);
  }
  return !list_check_abort();
}

bool print_papers(int number) {
  const double total = data_get_double(orders(), "TOTAL");
  const double paid = data_get_double(orders(), "PAID");
  find_customer(data_get_long(orders(), "CUSTOMER"));
  const DataRecord customer(customers());
  const DataRecord line(lines());
  list_set("NUMBER", number);
  list_set("PLACED", date_text(data_get_long(orders(), "PLACED")).view());
  const std::string remark = data_get_text(orders(), "REMARK");
  if (!remark.empty()) list_set("REMARK", remark);
  if (data_get_text(orders(), "STATE") == "C") list_set("CANCELLED", 1);
  list_set_header("LETTER");
  list_set_footer("CARRIED");
  list_set_record(&customer);
  list_print("HEAD");
  list_set_record(&line);
  const bool printed = print_lines(number);
  list_set_record(nullptr);
  list_set("TOTAL", total);
  if (paid != 0) list_set("PAID", paid);
  list_set("OPEN", money(total - paid));
  list_set_footer("LAST");  // nothing is carried over from the last page
  list_print("SUM");
  return printed;
}

// ---- What is still to be paid

bool print_customers() {
  const DataRecord record(customers());
  list_set_header("TOP");
  list_set_footer("FOOT");
  list_set_record(&record);
  Progress progress("PROGRESS_OPEN");
  double sum = 0;
  int count = 0;
  int done = 0;
  for (int read = data_read_first(customers(), kCustomerByName);
       read == kDataDone && !list_check_abort() && progress.go_on(++done);
       read = data_read_next(customers(), kCustomerByName)) {
    const double balance = data_get_double(customers(), "BALANCE");
    if (balance == 0) continue;
    list_print("CUSTOMER");
    sum += balance;
    ++count;
  }
  list_set_record(nullptr);
  list_set("COUNT", count);
  list_set("SUM", money(sum));
  list_print("TOTALS");
  return !progress.was_interrupted() && !list_check_abort();
}

}  // namespace

void print(const char* list_id, const std::string& file_name, const std::function<bool()>& blocks) {
  list_to_choice(text(list_id),
                 {.printer = printer_name(),
                  .file_name = file_name,
                  .open_file = open_file,
                  .help_key = "_PRINT_"},
                 blocks);
}

void print_order(int number, const char* list_id, const char* file_id) {
  if (!find_order(number)) return;
  print(list_id, text(file_id, {std::to_string(number)}),
        [number] { return print_papers(number); });
}

void print_open_amounts() {
  print("LIST_OPEN", text("FILE_OPEN"), print_customers);
}

}  // namespace shop
