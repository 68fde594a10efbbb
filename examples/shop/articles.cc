// SPDX-License-Identifier: GPL-3.0-or-later

#include <marigold/forms.h>

#include <algorithm>
#include <iterator>
#include <vector>

#include "booking.h"
#include "browser.h"
#include "edit.h"
#include "files.h"
#include "screens.h"
#include "texts.h"

namespace shop {

using namespace marigold;
using enum FormFieldKind;

namespace {

const char* check_code(Form& form, const FormField& field) {
  const std::string code = in_capitals(form_text(form, field.name));
  return code.find(' ') != std::string::npos ? "CHECK_CODE" : nullptr;
}

void write_in_capitals(Form& form, const FormField& field) {
  form_put_text(form, field.name, in_capitals(form_text(form, field.name)));
}

void compute_value(Form& form, const FormField& field) {
  form_put_number(form, field.name, money(form_number(form, "PRICE") * form_number(form, "STOCK")));
}

constexpr FormChoice kGroups[] = {
    {"GROUP_OFFICE", "O"}, {"GROUP_PAPER", "P"}, {"GROUP_WRITING", "W"}, {"GROUP_FURNITURE", "F"}};
constexpr FormChoice kUnits[] = {{"UNIT_PIECE", "S"}, {"UNIT_PACK", "P"}, {"UNIT_BOX", "B"}};

// clang-format off
const FormField kFields[] = {
    {.label = "CODE", .row = 2, .column = 19, .field = "CODE", .read_only = true},
    {.label = "ARTICLE_TEXT", .row = 4, .column = 19, .field = "TEXT", .required = true},
    {.label = "GROUP", .row = 5, .column = 19, .kind = kChoice, .field = "GROUP",
     .required = true, .choices = kGroups},
    {.label = "UNIT", .row = 6, .column = 19, .kind = kChoice, .field = "UNIT", .required = true,
     .choices = kUnits},
    {.label = "PRICE", .row = 8, .column = 20, .kind = kNumber, .field = "PRICE", .least = 0.01,
     .most = 99999.99},
    {.label = "LEAST", .row = 9, .column = 19, .kind = kNumber, .field = "LEAST", .least = 0,
     .most = 99999, .help_key = "_LEAST_"},
    {.label = "SOLD", .row = 10, .column = 19, .kind = kYesNo, .field = "SOLD",
     .help_key = "_SOLD_"},
    {.label = "STOCK", .row = 12, .column = 19, .kind = kNumber, .field = "STOCK",
     .read_only = true},
    {.label = "STOCK_VALUE", .row = 13, .column = 19, .kind = kNumber, .name = "VALUE",
     .mask = "########0,00", .compute = compute_value}};
// clang-format on

constexpr WindowPlace kPlace = {4, 8, 16, 64, false};

Form article_form(const char* title, WindowPlace place, std::span<const FormField> fields,
                  const char* help_key) {
  Form form = mask(title, place, fields, help_key);
  form.file = &articles();
  return form;
}

// The code is a variable and not a field of the record: the record is read by the code when it is
// known that no other article has it.
bool add_article() {
  std::string code;
  std::vector<FormField> fields(std::begin(kFields), std::end(kFields));
  fields.front() = {.label = "CODE", .row = 2, .column = 19, .width = 8, .variable = &code};
  fields.front().name = "NEWCODE";
  fields.front().required = true;
  fields.front().help_key = "_CODE_";
  fields.front().check = check_code;
  fields.front().changed = write_in_capitals;
  data_clear_record(articles());
  data_put_double(articles(), "PRICE", 1);
  Form form = article_form("ARTICLE_NEW", kPlace, fields, "_ARTICLE_");
  return add_record(form, [&code]() -> Outcome {
    data_clear_record(articles());
    data_put_text(articles(), "CODE", code);
    Outcome locked = lock_record(articles());
    data_clear_record(articles());  // a new one, with the presets
    if (locked.done()) return {.refused = "REFUSED_CODE", .values = {code}};
    if (locked.may_try_again) return locked;
    data_put_text(articles(), "CODE", code);
    return {};
  });
}

// Counts the stock of an article, also after a delivery. This is the one work of the shop that
// keeps a record locked while the operator types: nobody may sell what is being counted.
void count_stock() {
  const std::string code = data_get_text(articles(), "CODE");
  const int read = data_read(articles(), kPrimary, true, LockWait::kAsk);
  if (read != kDataDone) return;
  const double stock = data_get_double(articles(), "STOCK");
  double counted = stock;
  // clang-format off
  const FormField fields[] = {
      {.label = "CODE", .row = 2, .column = 19, .field = "CODE", .read_only = true},
      {.label = "ARTICLE_TEXT", .row = 3, .column = 19, .field = "TEXT", .read_only = true},
      {.label = "STOCK", .row = 4, .column = 19, .kind = kNumber, .field = "STOCK",
       .read_only = true},
      {.label = "COUNTED", .row = 5, .column = 19, .kind = kNumber, .variable = &counted,
       .name = "COUNTED", .mask = "#####0", .least = 0, .most = 99999}};
  // clang-format on
  Form form = article_form("ARTICLE_COUNT", {8, 8, 8, 64, false}, fields, "_COUNT_");
  for (bool stored = false; !stored && form_run(form) == kKeyEnter;) {
    const Outcome outcome = carry_out([&]() -> Outcome {
      data_put_text(articles(), "CODE", code);
      if (Outcome locked = lock_record(articles()); !locked.done()) return locked;
      // After a store that the disk has refused, the lock was gone for a moment.
      if (data_get_double(articles(), "STOCK") != stock)
        return {.refused = "REFUSED_CHANGED", .values = {text("STOCK")}};
      data_put_double(articles(), "STOCK", counted);
      changes_write(articles());
      return {};
    });
    stored = outcome.done() || !outcome.may_try_again;
    if (!outcome.done()) tell_refused(outcome);
  }
  release_files();
}

std::string low_mark(const DataFile& file, void* /*context*/) {
  if (data_get_text(file, "SOLD") != "Y") return text("MARK_NOT_SOLD");
  const bool low = data_get_double(file, "STOCK") < data_get_double(file, "LEAST");
  return low ? text("MARK_LOW") : "";
}

constexpr BrowserOrder kOrders[] = {{kPrimary, "ARTICLES_BY_CODE"},
                                    {kArticleByText, "ARTICLES_BY_TEXT"}};
constexpr RecordColumn kColumns[] = {{.title = "CODE", .field = "CODE"},
                                     {.title = "ARTICLE_TEXT", .field = "TEXT"},
                                     {.title = "PRICE", .field = "PRICE"},
                                     {.title = "STOCK", .field = "STOCK"},
                                     {.title = "", .width = 11, .text = low_mark}};

BrowserLayout article_list(const char* keys) {
  return {.file = &articles(),
          .orders = kOrders,
          .columns = kColumns,
          .keys = keys,
          .help_key = "_ARTICLES_"};
}

}  // namespace

std::string in_capitals(std::string code) {
  std::ranges::transform(code, code.begin(), [](char letter) {
    return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
  });
  return code;
}

void maintain_articles() {
  StatusRow status("ARTICLES", &articles());
  Browser browser(article_list("ARTICLES_KEYS"));
  for (int code = browser.run(); !leaves(code); code = browser.run()) {
    const bool is_article = !data_get_text(articles(), "CODE").empty();
    Form form = article_form("ARTICLE", kPlace, kFields, "_ARTICLE_");
    if (code == kKeyEnter) edit_record(form);
    if (code == kKeyF2 && add_article()) browser.go_to_record();
    if (code == kKeyF6 && is_article) count_stock();
    status.show();
  }
}

bool choose_article(std::string& code) {
  Browser browser(article_list("CHOOSE_KEYS"));
  if (!browser.choose()) return false;
  code = data_get_text(articles(), "CODE");
  return true;
}

}  // namespace shop
