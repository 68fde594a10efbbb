// SPDX-License-Identifier: GPL-3.0-or-later

#include <marigold/lists.h>
#include <marigold/pdf.h>
#include <marigold/progress.h>

#include <array>
#include <cstdlib>

#include "booking.h"
#include "screens.h"
#include "shop.h"

namespace shop {
namespace {

enum class Destination { kNone, kScreen, kPrinter, kFile };

// The printer's name becomes a part of a command line, so it comes from those who install the shop
// and not from the operator.
std::string printer_name() {
  const char* name = std::getenv("SHOP_PRINTER");
  return name != nullptr && *name != '\0' ? name : "#laser";
}

Destination ask_destination() {
  const std::array<std::string, 3> names{text("TO_SCREEN"), text("TO_PRINTER"), text("TO_FILE")};
  const std::string title = text("PRINT_WHERE");
  const SelectionEntry entries[] = {{names[0]}, {names[1]}, {names[2]}};
  return static_cast<Destination>(selection_field(
      {.row = 9, .column = 30, .title = title, .entries = entries, .help_key = "_PRINT_"}));
}

bool ask_file_name(std::string& name) {
  const FormField fields[] = {// clang-format off
      {.label = "FILE_NAME", .row = 2, .column = 14, .width = 40, .variable = &name,
       .name = "FILE", .most = 200, .required = true}};
  // clang-format on
  Form form = mask("PRINT_FILE", {10, 10, 5, 60, false}, fields, "_PRINT_");
  return form_run(form) == kKeyEnter;
}

void warn_of_width(const BeyondPage& place) {
  tell("PRINT_TOO_WIDE", {std::to_string(place.page), std::to_string(place.line)});
}

// Where a list goes, from the question to the operator to the words about its end.
class Output {
 public:
  explicit Output(const std::string& file_name) : name_(file_name) {}
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  ~Output() {
    list_to_screen(false);
    list_to_viewer_printer("");
    list_to_device(nullptr);
  }

  // False if nothing is to be printed.
  bool open() {
    destination_ = ask_destination();
    if (destination_ == Destination::kScreen) {
      list_to_screen(true);
      list_to_viewer_printer(printer_name());
      return true;
    }
    if (destination_ == Destination::kPrinter) {
      if (open_printer(printer_name()) == 0) return true;
      warn("NO_PRINTER", {printer_name()});
      return false;
    }
    return destination_ == Destination::kFile && open_file();
  }

  // After list_close.
  void tell_end(bool complete) {
    const int status = destination_ == Destination::kPrinter ? close_printer() : 0;
    if (destination_ == Destination::kFile)
      complete ? tell("PRINTED_FILE", {name_}) : warn("NOT_PRINTED", {print_file_problem()});
    if (destination_ != Destination::kPrinter) return;
    if (complete && status == 0)
      tell("PRINTED", {printer_name()});
    else
      warn("NOT_PRINTED", {text("PRINTER_FAILED", {printer_name(), std::to_string(status)})});
  }

 private:
  bool open_file() {
    if (!ask_file_name(name_)) return false;
    std::string reason;
    const OutputDevice* device = name_.ends_with(".pdf")
                                     ? pdf_sink_open(name_, warn_of_width, reason)
                                     : text_sink_open(name_, reason);
    if (device == nullptr) {
      warn("NOT_PRINTED", {reason});
      return false;
    }
    list_to_device(device);
    return true;
  }

  std::string name_;
  Destination destination_ = Destination::kNone;
};

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
  Output output(file_name);
  if (!output.open()) return;
  const bool open = list_open(text(list_id)) == kListDone;
  if (!open) print_file_fail(text("NO_LIST", {text(list_id)}));
  if (open && !blocks()) print_file_fail(text("PRINT_STOPPED"));
  bool complete = false;
  list_close(&complete);
  if (open) return output.tell_end(complete);
  close_printer();
  warn("NO_LIST", {text(list_id)});
}

void print_order(int number, OrderPaper paper) {
  if (!find_order(number)) return;
  const bool invoice = paper == OrderPaper::kInvoice;
  print(invoice ? "LIST_INVOICE" : "LIST_DELIVERY",
        text(invoice ? "FILE_INVOICE" : "FILE_DELIVERY", {std::to_string(number)}),
        [number] { return print_papers(number); });
}

void print_open_amounts() {
  print("LIST_OPEN", text("FILE_OPEN"), print_customers);
}

}  // namespace shop
