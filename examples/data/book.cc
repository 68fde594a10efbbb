// SPDX-License-Identifier: GPL-3.0-or-later
// book NUMBER AMOUNT [TIMES]   adds an amount to the balance of a customer of the sample shop.
//
// Other programs may work on the same file: the record is locked from its reading to its writing,
// so no amount is ever lost.

#include <marigold/data.h>
#include <marigold/texts.h>

#include <cstdio>
#include <cstdlib>

namespace {

using namespace marigold;

constexpr int kByNumber = 1;

bool book(DataFile& customers, std::int32_t number, double amount) {
  data_put_long(customers, "NUMBER", number);
  const bool found = data_read(customers, kByNumber, true, LockWait::kWait) == kDataDone;
  if (found) {
    data_put_double(customers, "BALANCE", data_get_double(customers, "BALANCE") + amount);
    data_write(customers);
  } else {
    std::fprintf(stderr, "There is no customer %d\n", static_cast<int>(number));
  }
  data_release(customers);
  return found;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fputs("book NUMBER AMOUNT [TIMES]\n", stderr);
    return 2;
  }
  texte_start(nullptr);  // the program has no texts of its own
  definition_set_load("SHOP");
  DataFile& customers = data_file("CUSTOMER");
  data_open(customers, LockWait::kTellAndWait);
  bool booked = true;
  for (int times = argc > 3 ? std::atoi(argv[3]) : 1; booked && times > 0; --times)
    booked = book(customers, std::atoi(argv[1]), std::atof(argv[2]));
  data_close_all();
  return booked ? 0 : 1;
}
