// SPDX-License-Identifier: GPL-3.0-or-later

#include <algorithm>
#include <iterator>
#include <vector>

#include "booking.h"
#include "shop.h"

namespace shop {
namespace {

const char* check_code(Form& form, const FormField& field) {
  const std::string code = in_capitals(form_text(form, field.field));
  return code.find(' ') != std::string::npos ? "CHECK_CODE" : nullptr;
}

void write_in_capitals(Form& form, const FormField& field) {
  form_put_text(form, field.field, in_capitals(form_text(form, field.field)));
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

// Nobody else has seen the new article, so its code can still be typed.
bool add_article() {
  std::vector<FormField> fields(std::begin(kFields), std::end(kFields));
  FormField& code = fields.front();
  code.read_only = false;
  code.required = true;
  code.help_key = "_CODE_";
  code.check = check_code;
  code.changed = write_in_capitals;
  data_clear_record(articles());
  data_put_double(articles(), "PRICE", 1);
  Form form = mask("ARTICLE_NEW", kPlace, fields, "_ARTICLE_", &articles());
  return form_add_record(form);
}

// Stores the count of the article that is locked. Returns false, and the mask comes back, if the
// disk is full.
bool store_count(double counted) {
  const double before = data_get_double(articles(), "STOCK");
  data_put_double(articles(), "STOCK", counted);
  changes_begin();
  changes_write(articles());
  if (changes_commit(LockWait::kAsk) == kDataDone) return true;
  changes_drop();
  data_put_double(articles(), "STOCK", before);
  textdb_warn("FORM.NOT_STORED");
  return false;
}

// Counts the stock of an article, also after a delivery. This is the one work of the shop that
// keeps a record locked while the operator types: nobody may sell what is being counted.
void count_stock() {
  if (data_read(articles(), kPrimary, true, LockWait::kAsk) != kDataDone) return;
  double counted = data_get_double(articles(), "STOCK");
  // clang-format off
  const FormField fields[] = {
      {.label = "CODE", .row = 2, .column = 19, .field = "CODE", .read_only = true},
      {.label = "ARTICLE_TEXT", .row = 3, .column = 19, .field = "TEXT", .read_only = true},
      {.label = "STOCK", .row = 4, .column = 19, .kind = kNumber, .field = "STOCK",
       .read_only = true},
      {.label = "COUNTED", .row = 5, .column = 19, .kind = kNumber, .variable = &counted,
       .name = "COUNTED", .mask = "#####0", .least = 0, .most = 99999}};
  // clang-format on
  Form form = mask("ARTICLE_COUNT", {8, 8, 8, 64, false}, fields, "_COUNT_", &articles());
  while (form_run(form) == kKeyEnter && !store_count(counted)) {
  }
  data_release(articles());
}

std::string low_mark(const DataFile& file, void* /*context*/) {
  if (data_get_text(file, "SOLD") != "Y") return text("MARK_NOT_SOLD");
  const bool low = data_get_double(file, "STOCK") < data_get_double(file, "LEAST");
  return low ? text("MARK_LOW") : "";
}

constexpr RecordOrder kOrders[] = {{kPrimary, "ARTICLES_BY_CODE"},
                                   {kArticleByText, "ARTICLES_BY_TEXT"}};
constexpr RecordColumn kColumns[] = {{.title = "CODE", .field = "CODE"},
                                     {.title = "ARTICLE_TEXT", .field = "TEXT"},
                                     {.title = "PRICE", .field = "PRICE"},
                                     {.title = "STOCK", .field = "STOCK"},
                                     {.title = "", .width = 11, .text = low_mark}};

}  // namespace

std::string in_capitals(std::string code) {
  std::ranges::transform(code, code.begin(), [](char letter) {
    return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
  });
  return code;
}

RecordListLayout article_list(const char* keys) {
  return full_list(articles(), kOrders, kColumns, "_ARTICLES_", keys);
}

void maintain_articles() {
  int status = 0;
  show_status(status, "ARTICLES", articles());
  RecordList list(article_list("ARTICLES_KEYS"));
  for (int code = list.run(); code != kKeyEscape; code = list.run()) {
    const bool is_article = !data_get_text(articles(), "CODE").empty();
    Form form = mask("ARTICLE", kPlace, kFields, "_ARTICLE_", &articles());
    if (code == kKeyEnter) form_edit_record(form);
    if (code == kKeyF2 && add_article()) list.go_to_record();
    if (code == kKeyF6 && is_article) count_stock();
    show_status(status, "ARTICLES", articles());
  }
  p_destroy_w(status);
}

}  // namespace shop
