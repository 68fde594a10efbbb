// SPDX-License-Identifier: GPL-3.0-or-later
// The shop: customers, articles, orders and payments, for several operators at once.
//
//   shop       in the folder of the shop: with definitions, print and data, and with locale, or
//              with LANGUAGE_SEARCHPATH
//
// Exit status 0; 1 with a sentence on standard error if the shop cannot begin or its keyboard has
// gone; a system error of the runtime ends it by abort.
#include <marigold/application.h>

#include <iterator>
#include <string>

#include "shop.h"

namespace shop {
namespace {

// ---- The menu

// The work of the entries, by their numbers from 1; the number after the last one ends the shop.
constexpr void (*kWork[])() = {
    maintain_customers,       maintain_articles, maintain_orders,    enter_order,
    [] { enter_payment(0); }, print_turnover,    print_open_amounts,
};
constexpr int kEnd = std::size(kWork) + 1;

constexpr MenuEntry kListEntries[] = {
    {.text = "MENU_TURNOVER", .number = 6, .help_key = "_TURNOVER_"},
    {.text = "MENU_OPEN_AMOUNTS", .number = 7, .help_key = "_OPEN_"}};
constexpr Menu kLists{.entries = kListEntries};

constexpr MenuEntry kEntries[] = {
    {.text = "MENU_CUSTOMERS", .number = 1, .key = kKeyF2, .help_key = "_CUSTOMERS_"},
    {.text = "MENU_ARTICLES", .number = 2, .key = kKeyF3, .help_key = "_ARTICLES_"},
    {.text = "MENU_ORDERS", .number = 3, .key = kKeyF4, .help_key = "_ORDERS_"},
    {},
    {.text = "MENU_NEW_ORDER", .number = 4, .key = kKeyF5, .help_key = "_ORDER_"},
    {.text = "MENU_PAYMENT", .number = 5, .key = kKeyF6, .help_key = "_PAYMENT_"},
    {},
    {.text = "MENU_LISTS", .submenu = &kLists},
    {},
    {.text = "MENU_END", .number = kEnd, .key = kKeyF9}};
constexpr Menu kMenu{
    .title = "MENU", .row = 5, .column = 18, .entries = kEntries, .help_key = "_MENU_"};

void run_menu() {
  int header = 0;
  create_header_w(header, text("TITLE").c_str(), 1);
  int status = 0;
  show_status(status, "MENU_STATUS", orders());
  for (int choice = menu_run(kMenu); choice != kEnd; choice = menu_run(kMenu, choice)) {
    if (choice == 0 && (key_is_lost() || textdb_confirm("ASK_END"))) break;
    if (choice != 0) kWork[choice - 1]();
  }
  p_destroy_w(status);
  p_destroy_kopfzeile(header);
}

// ---- What must be right before the shop begins. Each fault is a sentence that says what to do.

constexpr int kDataClass = 1;     // PATH in the definitions
constexpr int kCriticalPath = 1;  // PATH 1 in PATHVER.DES

// In multi-user operation the directory stays locked against conversions until the end.
std::string open_files() {
  const std::string directory = data_directory(kDataClass);
  critical_path_set(kCriticalPath, directory);
  if (!critical_path_check_shared()) {
    const bool is_new = critical_path_state(kCriticalPath) == CriticalPathState::kNew;
    return text(is_new ? "START_NEW" : "START_CONVERT", {directory});
  }
  for (DataFile* file : {&customers(), &articles(), &orders(), &lines(), &payments(), &numbers()}) {
    if (data_check_version(*file) != kDataDone) return text("START_CONVERT", {directory});
    if (data_open(*file, LockWait::kAsk) == kDataLocked) return text("START_FILE_IN_USE");
  }
  return "";
}

// Returns why the shop cannot begin or go on, or "" after a normal end.
std::string run() {
  runtime_explain_faults("FAULT_DEFINITIONS");
  definition_set_load("SHOP");
  runtime_explain_faults("FAULT_FILES");
  if (std::string fault = open_files(); !fault.empty()) return fault;
  run_menu();
  return key_is_lost() ? text("INPUT_ENDED") : "";
}

}  // namespace
}  // namespace shop

int main() {
  std::string fault = marigold::runtime_missing(
      {.program = "shop", .text_id = "SHOP.TITLE", .definition_set = "SHOP", .lists = true});
  if (fault.empty()) {
    marigold::runtime_start("shop");
    marigold::textdb_setup("SHOP");
    fault = shop::run();
    marigold::runtime_end();
  }
  if (fault.empty()) return 0;
  marigold::runtime_tell(fault);
  return 1;
}
