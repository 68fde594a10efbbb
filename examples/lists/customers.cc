// SPDX-License-Identifier: GPL-3.0-or-later
// customers [FILE]   prints the customers of the sample shop, ordered by name: as PDF into FILE.pdf,
//                    as text into any other file or, without one, to standard output.
//
// Needs data and lists: marigold data load CUSTOMER customers.csv
//                       marigold lists compile lists/customers.list -o print

#include <marigold/lists.h>
#include <marigold/pdf.h>
#include <marigold/texts.h>

#include <cstdio>
#include <string>

namespace {

using namespace marigold;

constexpr int kByName = 2;

void warn_of_width(const BeyondPage& place) {
  std::fprintf(stderr, "page %d, line %d is too wide\n", place.page, place.line);
}

const OutputDevice* open_device(const std::string& path, std::string& reason) {
  return path.ends_with(".pdf") ? pdf_sink_open(path, warn_of_width, reason)
                                : text_sink_open(path, reason);
}

void print_customers() {
  DataFile& customers = data_file("CUSTOMER");
  data_open(customers, LockWait::kTellAndWait);
  const DataRecord record(customers);
  list_set_record(&record);
  list_set_header("TOP");
  list_set_footer("FOOT");
  int count = 0;
  double sum = 0;
  for (int read = data_read_first(customers, kByName); read == kDataDone && !list_check_abort();
       read = data_read_next(customers, kByName)) {
    list_print("CUSTOMER");
    ++count;
    sum += data_get_double(customers, "BALANCE");
  }
  list_set("COUNT", count);
  list_set("SUM", sum);
  list_print("TOTALS");
  list_set_record(nullptr);
  if (list_check_abort()) print_file_fail("the list was aborted: nothing is written");
}

}  // namespace

int main(int argc, char** argv) {
  texte_start(nullptr);  // it shows no texts of its own
  definition_set_load("SHOP");
  std::string reason;
  const OutputDevice* device = open_device(argc > 1 ? argv[1] : "", reason);
  if (device == nullptr) {
    std::fprintf(stderr, "%s\n", reason.c_str());
    return 1;
  }
  list_to_device(device);
  if (list_open("CUSTOMERS") == kListDone)
    print_customers();
  else
    print_file_fail("nothing is printed");
  bool complete = false;
  list_close(&complete);
  data_close_all();
  if (!complete) std::fprintf(stderr, "%s\n", print_file_problem().c_str());
  return complete ? 0 : 1;
}
