// SPDX-License-Identifier: GPL-3.0-or-later
// The shop: customers, articles, orders and payments, for several operators at once.
//
//   shop       in the folder of the shop: with definitions, print and data, and with locale, or
//              with LANGUAGE_SEARCHPATH
//
// Exit status 0; 1 with a sentence on standard error if the shop cannot begin or its keyboard has
// gone; a system error of the runtime ends it by abort.
#include <marigold/application.h>
#include <marigold/menus.h>

#include <string>

#include "browser.h"
#include "files.h"
#include "screens.h"
#include "start.h"
#include "texts.h"

namespace {

using namespace marigold;
using namespace shop;

enum Choice : int {
  kCustomers = 1,
  kArticles,
  kOrders,
  kNewOrder,
  kPayment,
  kTurnover,
  kOpenAmounts,
  kEnd
};

constexpr MenuEntry kListEntries[] = {
    {.text = "MENU_TURNOVER", .number = kTurnover, .help_key = "_TURNOVER_"},
    {.text = "MENU_OPEN_AMOUNTS", .number = kOpenAmounts, .help_key = "_OPEN_"}};
constexpr Menu kLists{.entries = kListEntries};

constexpr MenuEntry kEntries[] = {
    {.text = "MENU_CUSTOMERS", .number = kCustomers, .key = kKeyF2, .help_key = "_CUSTOMERS_"},
    {.text = "MENU_ARTICLES", .number = kArticles, .key = kKeyF3, .help_key = "_ARTICLES_"},
    {.text = "MENU_ORDERS", .number = kOrders, .key = kKeyF1 + 3, .help_key = "_ORDERS_"},
    {},
    {.text = "MENU_NEW_ORDER", .number = kNewOrder, .key = kKeyF5, .help_key = "_ORDER_"},
    {.text = "MENU_PAYMENT", .number = kPayment, .key = kKeyF6, .help_key = "_PAYMENT_"},
    {},
    {.text = "MENU_LISTS", .submenu = &kLists},
    {},
    {.text = "MENU_END", .number = kEnd, .key = kKeyF9}};
constexpr Menu kMenu{
    .title = "MENU", .row = 5, .column = 18, .entries = kEntries, .help_key = "_MENU_"};

void serve(int choice) {
  switch (choice) {
    case kCustomers:
      return maintain_customers();
    case kArticles:
      return maintain_articles();
    case kOrders:
      return maintain_orders();
    case kNewOrder:
      return enter_order();
    case kPayment:
      return enter_payment(0);
    case kTurnover:
      return print_turnover();
    case kOpenAmounts:
      return print_open_amounts();
    default:
      return;
  }
}

void run_menu() {
  int header = 0;
  create_header_w(header, text("TITLE").c_str(), 1);
  const StatusRow status("MENU_STATUS", &orders());
  for (int choice = menu_run(kMenu); choice != kEnd; choice = menu_run(kMenu, choice)) {
    if (choice == 0 && (key_is_lost() || confirm("ASK_END"))) break;
    serve(choice);
  }
  p_destroy_kopfzeile(header);
}

// Returns why the shop cannot go on, or "" after a normal end.
std::string run_shop() {
  if (std::string fault = wrong_version(); !fault.empty()) return fault;
  if (!open_files()) return text("START_FILE_IN_USE");
  run_menu();
  return key_is_lost() ? text("INPUT_ENDED") : "";
}

}  // namespace

int main() {
  if (const std::string fault = missing_surroundings(); !fault.empty()) {
    tell_below_the_screen(fault);
    return 1;
  }
  runtime_start("shop");
  textdb_setup("SHOP");
  explain_faults("FAULT_DEFINITIONS");
  definition_set_load("SHOP");
  explain_faults("FAULT_FILES");
  const std::string fault = run_shop();
  runtime_end();
  if (fault.empty()) return 0;
  tell_below_the_screen(fault);
  return 1;
}
