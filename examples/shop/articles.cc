// SPDX-License-Identifier: GPL-3.0-or-later
#include "articles.h"

#include <marigold/forms.h>

#include <algorithm>

#include "booking.h"
#include "browser.h"
#include "edit.h"
#include "files.h"
#include "texts.h"

namespace shop {

using namespace marigold;

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

constexpr int kColumn = 19;

// All fields but that of the code, which is typed for a new article alone.
const FormField kTextField = {
    .label = "ARTICLE_TEXT", .row = 4, .column = kColumn, .field = "TEXT", .required = true};
const FormField kGroupField = {.label = "GROUP",
                               .row = 5,
                               .column = kColumn,
                               .kind = FormFieldKind::kChoice,
                               .field = "GROUP",
                               .required = true,
                               .choices = kGroups};
const FormField kUnitField = {.label = "UNIT",
                              .row = 6,
                              .column = kColumn,
                              .kind = FormFieldKind::kChoice,
                              .field = "UNIT",
                              .required = true,
                              .choices = kUnits};
const FormField kPriceField = {.label = "PRICE",
                               .row = 8,
                               .column = kColumn + 1,
                               .kind = FormFieldKind::kNumber,
                               .field = "PRICE",
                               .least = 0.01,
                               .most = 99999.99};
const FormField kLeastField = {.label = "LEAST",
                               .row = 9,
                               .column = kColumn,
                               .kind = FormFieldKind::kNumber,
                               .field = "LEAST",
                               .least = 0,
                               .most = 99999,
                               .help_key = "_LEAST_"};
const FormField kSoldField = {.label = "SOLD",
                              .row = 10,
                              .column = kColumn,
                              .kind = FormFieldKind::kYesNo,
                              .field = "SOLD",
                              .help_key = "_SOLD_"};
const FormField kStockField = {.label = "STOCK",
                               .row = 12,
                               .column = kColumn,
                               .kind = FormFieldKind::kNumber,
                               .field = "STOCK",
                               .read_only = true};
const FormField kValueField = {.label = "STOCK_VALUE",
                               .row = 13,
                               .column = kColumn,
                               .kind = FormFieldKind::kNumber,
                               .name = "VALUE",
                               .mask = "########0,00",
                               .compute = compute_value};

const FormField kChangeFields[] = {
    {.label = "CODE", .row = 2, .column = kColumn, .field = "CODE", .read_only = true},
    kTextField,
    kGroupField,
    kUnitField,
    kPriceField,
    kLeastField,
    kSoldField,
    kStockField,
    kValueField};

Form article_form(const char* title, std::span<const FormField> fields) {
  return {.title = title,
          .row = 4,
          .column = 8,
          .height = 16,
          .width = 64,
          .fields = fields,
          .file = &articles(),
          .status = "FORM_KEYS",
          .help_key = "_ARTICLE_"};
}

// The code is a variable and not a field of the record: the record is read by the code when it is
// known that no other article has it.
bool add_article() {
  std::string code;
  const FormField fields[] = {{.label = "CODE",
                               .row = 2,
                               .column = kColumn,
                               .width = 8,
                               .variable = &code,
                               .name = "NEWCODE",
                               .required = true,
                               .help_key = "_CODE_",
                               .check = check_code,
                               .changed = write_in_capitals},
                              kTextField,
                              kGroupField,
                              kUnitField,
                              kPriceField,
                              kLeastField,
                              kSoldField};
  data_clear_record(articles());
  data_put_double(articles(), "PRICE", 1);
  Form form = article_form("ARTICLE_NEW", fields);
  return add_record(form, [&code]() -> Outcome {
    data_clear_record(articles());
    data_put_text(articles(), "CODE", code);
    const Outcome locked = lock_record(articles());
    if (locked.done()) return {.refused = "REFUSED_CODE", .values = {code}};
    if (locked.may_try_again) return locked;
    data_clear_record(articles());  // with the presets
    data_put_text(articles(), "CODE", code);
    return {};
  });
}

// Counts the stock of an article, also after a delivery. This is the one work of the shop that keeps
// a record locked while the operator types: nobody may sell what is being counted.
void count_stock() {
  const std::string code = data_get_text(articles(), "CODE");
  const int read = data_read(articles(), kPrimary, true, LockWait::kAsk);
  if (read != kDataDone) return;
  double counted = data_get_double(articles(), "STOCK");
  const FormField fields[] = {
      {.label = "CODE", .row = 2, .column = kColumn, .field = "CODE", .read_only = true},
      {.label = "ARTICLE_TEXT", .row = 3, .column = kColumn, .field = "TEXT", .read_only = true},
      {.label = "STOCK",
       .row = 4,
       .column = kColumn,
       .kind = FormFieldKind::kNumber,
       .field = "STOCK",
       .read_only = true},
      {.label = "COUNTED",
       .row = 5,
       .column = kColumn,
       .kind = FormFieldKind::kNumber,
       .variable = &counted,
       .name = "COUNTED",
       .mask = "#####0",
       .least = 0,
       .most = 99999}};
  Form form = article_form("ARTICLE_COUNT", fields);
  form.height = 8;
  form.row = 8;
  form.help_key = "_COUNT_";
  for (bool stored = false; !stored && form_run(form) == kKeyEnter;) {
    const Outcome outcome = carry_out([&]() -> Outcome {
      data_put_text(articles(), "CODE", code);
      if (Outcome locked = lock_record(articles()); !locked.done()) return locked;
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
    Form form = article_form("ARTICLE", kChangeFields);
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
