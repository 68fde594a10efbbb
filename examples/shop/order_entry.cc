// SPDX-License-Identifier: GPL-3.0-or-later
// The mask of a new order: its head, and as many pages of lines as it needs.
#include <marigold/forms.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "booking.h"
#include "browser.h"
#include "files.h"
#include "screens.h"
#include "texts.h"

namespace shop {

using namespace marigold;
using enum FormFieldKind;

namespace {

constexpr int kRows = 10;   // lines on a page
constexpr int kPages = 20;  // 200 lines have positions of three digits
constexpr int kFirstRow = 7;

// Names of the fields of a row for the functions of the form.
std::string name_in_row(const char* name, int row) {
  return std::string(name).append(std::to_string(row));
}

int row_of(const FormField& field) {
  return field.row - kFirstRow;
}

class OrderMask {
 public:
  OrderMask() {
    order_.placed = date_today();
    order_.lines.resize(kRows);
  }

  void run() {
    for (;;) {
      const int code = show();
      if (code == kKeyF7)
        turn_to(page_ - 1);
      else if (code == kKeyF8)
        turn_to(page_ + 1);
      else if (code == kKeyEnter ? book() : may_be_dropped())
        return;
    }
  }

 private:
  // The line of the order in a row of the mask.
  OrderLine& line(int row) {
    return order_.lines[static_cast<std::size_t>(page_) * kRows + static_cast<std::size_t>(row)];
  }

  static OrderMask& of(Form& form) { return *static_cast<OrderMask*>(form.context); }

  // ---- What the form calls

  static const char* check_customer(Form& form, const FormField& field) {
    const auto number = static_cast<int>(form_number(form, field.name));
    return number == 0 || find_customer(number) ? nullptr : "CHECK_CUSTOMER";
  }

  static void compute_customer(Form& form, const FormField& field) {
    const auto number = static_cast<int>(form_number(form, "CUSTOMER"));
    form_put_text(form, field.name, number == 0 ? "" : customer_name(number));
  }

  static void ask_customer(Form& form, const FormField& field) {
    int number = 0;
    if (choose_customer(number)) form_put_number(form, field.name, number);
  }

  static const char* check_code(Form& form, const FormField& field) {
    const std::string code = in_capitals(form_text(form, field.name));
    if (code.empty()) return nullptr;
    if (!find_article(code)) return "CHECK_ARTICLE";
    return data_get_text(articles(), "SOLD") == "Y" ? nullptr : "CHECK_NOT_SOLD";
  }

  static void article_changed(Form& form, const FormField& field) {
    const std::string code = in_capitals(form_text(form, field.name));
    const std::string pieces = name_in_row("PIECES", row_of(field));
    form_put_text(form, field.name, code);
    if (code.empty())
      form_put_number(form, pieces, 0);
    else if (form_number(form, pieces) == 0)
      form_put_number(form, pieces, 1);
  }

  static void ask_article(Form& form, const FormField& field) {
    std::string code;
    if (!choose_article(code)) return;
    form_put_text(form, field.name, code);
    article_changed(form, field);
  }

  static const char* check_pieces(Form& form, const FormField& field) {
    const bool has_code = !form_text(form, name_in_row("CODE", row_of(field))).empty();
    const bool has_pieces = form_number(form, field.name) != 0;
    if (has_code && !has_pieces) return "CHECK_PIECES";
    return !has_code && has_pieces ? "CHECK_NO_ARTICLE" : nullptr;
  }

  // The article of the row is in the file's buffer if there is one.
  static bool has_article(Form& form, int row) {
    const std::string code = form_text(form, name_in_row("CODE", row));
    return !code.empty() && find_article(code);
  }

  static double amount_in_row(Form& form, int row) {
    if (!has_article(form, row)) return 0;
    const double pieces = form_number(form, name_in_row("PIECES", row));
    return money(pieces * data_get_double(articles(), "PRICE"));
  }

  // Texts, so that rows without an article stay empty.
  static void compute_text(Form& form, const FormField& field) {
    const bool found = has_article(form, row_of(field));
    form_put_text(form, field.name, found ? data_get_text(articles(), "TEXT") : "");
  }
  static void compute_price(Form& form, const FormField& field) {
    const double price =
        has_article(form, row_of(field)) ? data_get_double(articles(), "PRICE") : 0;
    form_put_text(form, field.name, price == 0 ? "" : edit_number("####0,00", price));
  }
  static void compute_amount(Form& form, const FormField& field) {
    const double amount = amount_in_row(form, row_of(field));
    form_put_text(form, field.name, amount == 0 ? "" : edit_number("######0,00", amount));
  }

  // The sum of the rows shown and of the other pages.
  static void compute_total(Form& form, const FormField& field) {
    double sum = of(form).total_of_other_pages();
    for (int row = 0; row < kRows; ++row)
      sum += amount_in_row(form, row);
    form_put_number(form, field.name, money(sum));
  }

  static FormNext serve_key(Form& form, const FormField* /*current*/, int code) {
    const OrderMask& mask = of(form);
    if (code == kKeyF7 && mask.page_ > 0) return FormNext::kAccept;
    if (code == kKeyF8 && mask.page_ + 1 < kPages) return FormNext::kAccept;
    return FormNext::kStay;
  }

  // ---- The form

  // clang-format off
  void add_head(std::vector<FormField>& fields) {
    fields = {
        {.label = "CUSTOMER", .row = 2, .column = 13, .kind = kNumber,
         .variable = &order_.customer, .name = "CUSTOMER",
         .mask = "#####0", .required = true, .help_key = "_ORDER_CUSTOMER_",
         .check = check_customer, .choose = ask_customer},
        {.row = 2, .column = 21, .width = 30, .name = "NAME", .compute = compute_customer},
        {.label = "PLACED", .label_column = 57, .row = 2, .column = 68, .kind = kDate,
         .variable = &order_.placed, .name = "PLACED", .required = true},
        {.label = "REMARK", .row = 3, .column = 13, .width = 40, .variable = &order_.remark,
         .name = "REMARK", .help_key = "_REMARK_"},
        {.label = "CODE", .row = 5, .column = 2, .kind = kLabel},
        {.label = "ARTICLE_TEXT", .row = 5, .column = 12, .kind = kLabel},
        {.label = "PIECES", .row = 5, .column = 50, .kind = kLabel},
        {.label = "PRICE", .row = 5, .column = 61, .kind = kLabel},
        {.label = "AMOUNT", .row = 5, .column = 71, .kind = kLabel},
        {.label = "TOTAL", .label_column = 50, .row = kFirstRow + kRows + 1, .column = 67,
         .kind = kNumber, .name = "TOTAL", .mask = "######0,00", .compute = compute_total}};
  }

  void add_row(std::vector<FormField>& fields, int row) {
    std::array<std::string, 5>& names = names_[static_cast<std::size_t>(row)];
    names = {name_in_row("CODE", row), name_in_row("TEXT", row), name_in_row("PIECES", row),
             name_in_row("PRICE", row), name_in_row("AMOUNT", row)};
    const int at = kFirstRow + row;
    fields.insert(fields.end(), {
        {.row = at, .column = 2, .width = 8, .variable = &line(row).code, .name = names[0].c_str(),
         .help_key = "_ORDER_CODE_", .check = check_code, .changed = article_changed,
         .choose = ask_article},
        {.row = at, .column = 12, .width = 36, .name = names[1].c_str(), .compute = compute_text},
        {.row = at, .column = 51, .kind = kNumber, .variable = &line(row).pieces,
         .name = names[2].c_str(),
         .mask = "#####", .least = 0, .help_key = "_PIECES_", .check = check_pieces},
        {.row = at, .column = 58, .width = 8, .name = names[3].c_str(), .compute = compute_price},
        {.row = at, .column = 67, .width = 10, .name = names[4].c_str(),
         .compute = compute_amount}});
  }
  // clang-format on

  // Shows the mask and returns the key with which the operator leaves the page.
  int show() {
    std::vector<FormField> fields;
    add_head(fields);
    for (int row = 0; row < kRows; ++row)
      add_row(fields, row);
    const std::string title = text("ORDER_NEW", {std::to_string(page_ + 1)});
    Form form{.title = title.c_str(),
              .row = 3,
              .column = 1,
              .height = 21,
              .width = kScreenColumns,
              .fields = fields,
              .context = this,
              .key = serve_key,
              .accept_key = kKeyF2,
              .status = "ORDER_KEYS",
              .help_key = "_ORDER_"};
    return form_run(form);
  }

  [[nodiscard]] bool is_empty() const {
    return std::ranges::all_of(order_.lines,
                               [](const OrderLine& entered) { return entered.code.empty(); });
  }

  // The form has asked about what was typed on its page since it was shown. The order has lines of
  // before if the page was left, or the booking was refused.
  [[nodiscard]] bool may_be_dropped() const {
    return is_empty() || key_is_lost() || confirm("ASK_DROP_ORDER");
  }

  void turn_to(int page) {
    page_ = page;
    const std::size_t needed = (static_cast<std::size_t>(page) + 1) * kRows;
    if (order_.lines.size() < needed) order_.lines.resize(needed);
  }

  double total_of_other_pages() const {
    double sum = 0;
    for (std::size_t i = 0; i < order_.lines.size(); ++i) {
      const OrderLine& entered = order_.lines[i];
      if (i / kRows == static_cast<std::size_t>(page_) || entered.code.empty() ||
          !find_article(entered.code))
        continue;
      sum += money(entered.pieces * data_get_double(articles(), "PRICE"));
    }
    return sum;
  }

  // Returns whether the order is booked. Otherwise it stays in the mask as it is.
  bool book() {
    if (is_empty()) {
      tell("ORDER_EMPTY");
      return false;
    }
    const Outcome outcome = book_order(order_);
    if (outcome.done())
      tell("ORDER_BOOKED", {std::to_string(order_.number), money_text(order_.total())});
    else
      tell_refused(outcome);
    return outcome.done();
  }

  Order order_;
  int page_ = 0;
  std::array<std::array<std::string, 5>, kRows> names_;
};

}  // namespace

void enter_order() {
  OrderMask().run();
}

}  // namespace shop
