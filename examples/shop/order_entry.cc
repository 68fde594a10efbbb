// SPDX-License-Identifier: GPL-3.0-or-later
// The mask of a new order: its head, and as many pages of lines as it needs.

#include <algorithm>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "booking.h"
#include "shop.h"

namespace shop {
namespace {

constexpr int kRows = 10;   // lines on a page
constexpr int kPages = 20;  // 200 lines have positions of three digits
constexpr int kFirstRow = 7;
constexpr int kFirstCode = 10;  // index of the field: the first one below the head

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
  // Index of the line in a row of the mask.
  [[nodiscard]] std::size_t index(int row) const {
    return static_cast<std::size_t>(page_ * kRows + row);
  }

  static OrderMask& of(Form& form) { return *static_cast<OrderMask*>(form.context); }

  // Returns null for a code that no article has.
  const OrderLine* article(const std::string& code) {
    const auto seen = seen_.find(code);
    if (seen != seen_.end()) return &seen->second;
    if (code.empty() || !find_article(code)) return nullptr;
    OrderLine& found = seen_[code];
    found.text = data_get_text(articles(), "TEXT");
    found.price = data_get_double(articles(), "PRICE");
    return &found;
  }

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
    if (RecordList(customer_list(kChooseKeys)).choose())
      form_put_number(form, field.name, data_get_long(customers(), "NUMBER"));
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
    if (!RecordList(article_list(kChooseKeys)).choose()) return;
    form_put_text(form, field.name, data_get_text(articles(), "CODE"));
    article_changed(form, field);
  }

  static const char* check_pieces(Form& form, const FormField& field) {
    const bool has_code = !form_text(form, name_in_row("CODE", row_of(field))).empty();
    const bool has_pieces = form_number(form, field.name) != 0;
    if (has_code && !has_pieces) return "CHECK_PIECES";
    return !has_code && has_pieces ? "CHECK_NO_ARTICLE" : nullptr;
  }

  static const OrderLine* article_in_row(Form& form, int row) {
    return of(form).article(form_text(form, name_in_row("CODE", row)));
  }

  static double amount_in_row(Form& form, int row) {
    const OrderLine* seen = article_in_row(form, row);
    return seen == nullptr ? 0 : money(form_number(form, name_in_row("PIECES", row)) * seen->price);
  }

  // Texts, so that rows without an article stay empty.
  static void compute_text(Form& form, const FormField& field) {
    const OrderLine* seen = article_in_row(form, row_of(field));
    form_put_text(form, field.name, seen == nullptr ? "" : seen->text);
  }
  static void compute_amount(Form& form, const FormField& field) {
    const OrderLine* seen = article_in_row(form, row_of(field));
    const double amount = amount_in_row(form, row_of(field));
    std::string shown = seen == nullptr ? "" : edit_number("####0,00", seen->price);
    if (amount != 0) shown += ' ' + edit_number("######0,00", amount);
    form_put_text(form, field.name, shown);
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

  const char* keep_name(const char* name, int row) {
    return names_.emplace_back(name_in_row(name, row)).c_str();
  }

  void add_row(std::vector<FormField>& fields, int row) {
    OrderLine& line = order_.lines[index(row)];
    const int at = kFirstRow + row;
    fields.insert(fields.end(), {
        {.heading = "CODE", .row = at, .column = 2, .width = 8, .variable = &line.code,
         .name = keep_name("CODE", row), .help_key = "_ORDER_CODE_", .check = check_code,
         .changed = article_changed, .choose = ask_article},
        {.row = at, .column = 12, .width = 36, .name = keep_name("TEXT", row), .compute = compute_text},
        {.heading = "PIECES", .row = at, .column = 51, .kind = kNumber, .variable = &line.pieces,
         .name = keep_name("PIECES", row),
         .mask = "#####", .least = 0, .help_key = "_PIECES_", .check = check_pieces},
        {.row = at, .column = 58, .width = 19, .name = keep_name("AMOUNT", row),
         .compute = compute_amount}});
  }
  // clang-format on

  // Shows the mask and returns the key with which the operator leaves the page.
  int show() {
    std::vector<FormField> fields;
    names_.clear();
    add_head(fields);
    for (int row = 0; row < kRows; ++row)
      add_row(fields, row);
    const std::string title = text("ORDER_NEW", {std::to_string(page_ + 1)});
    Form form = mask(title.c_str(), {3, 1, 21, kScreenColumns, false}, fields, "_ORDER_");
    form.context = this;
    form.key = serve_key;
    form.accept_key = kKeyF2;
    form.status = "ORDER_KEYS";
    form.start = start_;
    const int code = form_run(form);
    start_ = form.left_at;
    for (OrderLine& line : order_.lines) {
      const OrderLine* seen = article(line.code);
      if (seen == nullptr) continue;
      line.text = seen->text;
      line.price = seen->price;
    }
    return code;
  }

  [[nodiscard]] bool is_empty() const {
    return std::ranges::all_of(order_.lines, &std::string::empty, &OrderLine::code);
  }

  // The form has asked about what was typed on its page since it was shown. The order has lines of
  // before if the page was left, or the booking was refused.
  [[nodiscard]] bool may_be_dropped() const {
    return is_empty() || key_is_lost() || textdb_confirm("ASK_DROP_ORDER");
  }

  void turn_to(int page) {
    page_ = page;
    start_ = kFirstCode;
    order_.lines.resize(std::max(order_.lines.size(), index(kRows)));
  }

  double total_of_other_pages() const {
    double sum = order_.total();
    for (int row = 0; row < kRows; ++row)
      sum -= amount_of(order_.lines[index(row)]);
    return money(sum);
  }

  // Returns whether the order is booked. Otherwise it stays in the mask as it is.
  bool book() {
    if (is_empty()) {
      textdb_tell("ORDER_EMPTY");
      return false;
    }
    if (!book_order(order_)) return false;
    textdb_tell("ORDER_BOOKED", {std::to_string(order_.number), money_text(order_.total())});
    return true;
  }

  Order order_;
  int page_ = 0;
  int start_ = 0;  // the field in which the operator begins
  // Articles as the operator has seen them, by codes: text and price. The price seen is the price
  // booked, also when somebody changes the article before the order is complete.
  std::map<std::string, OrderLine> seen_;
  std::deque<std::string> names_;  // of the fields on the screen
};

}  // namespace

void enter_order() {
  OrderMask().run();
}

}  // namespace shop
