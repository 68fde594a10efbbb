// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/forms/form/form_screen.h"

#include <algorithm>

#include "runtime/core/system_errors.h"
#include "runtime/forms/form/form_entry.h"
#include "runtime/texte/screen_text.h"
#include "runtime/wi/window/window_text.h"

namespace marigold::inner {
namespace {

constexpr int kFrame = 2;  // rows, and columns
constexpr int kLabelColumn = 2;
constexpr int kDateColumns = 8;
constexpr int kTimeColumns = 5;

bool is_label(const FormField& field) {
  return field.kind == FormFieldKind::kLabel;
}

bool has_title(const Form& form) {
  return *form.title != '\0';
}

int label_row(const FormField& field) {
  return field.label_row != 0 ? field.label_row : field.row;
}

int label_column(const FormField& field) {
  if (field.label_column != 0) return field.label_column;
  return is_label(field) ? field.column : kLabelColumn;
}

bool has_label(const FormField& field) {
  return *field.label != '\0';
}

int columns_of(std::size_t length) {
  return static_cast<int>(std::min<std::size_t>(length, kScreenColumns + 1));
}

// Returns the width that the kind of the field needs; a choice may have less.
int natural_width(const FormItem& item) {
  std::size_t longest = 0;
  switch (item.field->kind) {
    case FormFieldKind::kNumber:
      return columns_of(item.mask.size());
    case FormFieldKind::kDate:
      return kDateColumns;
    case FormFieldKind::kTime:
      return kTimeColumns;
    case FormFieldKind::kYesNo:
    case FormFieldKind::kChoice:
      for (const ItemChoice& choice : item.choices)
        longest = std::max(longest, choice.text.size());
      return columns_of(longest);
    case FormFieldKind::kText:
      return item.definition != nullptr ? item.definition->size : 0;
    case FormFieldKind::kLabel:
      break;
  }
  return 0;
}

bool has_choices(const FormItem& item) {
  return item.field->kind == FormFieldKind::kYesNo || item.field->kind == FormFieldKind::kChoice;
}

}  // namespace

FormScreen::FormScreen(FormItems& items)
    : items_(items),
      rows_(items.form().height - kFrame),
      columns_(items.form().width - kFrame),
      shown_(items.all().size()) {
  require_window();
  for (std::size_t i = 0; i < shown_.size(); ++i)
    place(items.all()[i], shown_[i]);
  require_no_overlap();
}

void FormScreen::require_window() const {
  const Form& form = items_.form();
  const auto lies_in = [](int first, int count, int all) {
    return first >= 1 && count > kFrame && count <= all && first <= all - count + 1;
  };
  if (!lies_in(form.row, form.height, kScreenRows) ||
      !lies_in(form.column, form.width, kScreenColumns))
    form_fatal(form, nullptr, "its window does not fit the screen", kErrorWindowPlace);
}

void FormScreen::place(const FormItem& item, Shown& shown) const {
  const Form& form = items_.form();
  const FormField& field = *item.field;
  const int first_row = has_title(form) ? 2 : 1;
  const auto require = [&](bool holds, const std::string& fault) {
    if (!holds) form_fatal(form, &field, fault, kErrorWindowPlace);
  };
  const std::string inside = "; the form has rows " + std::to_string(first_row) + " to " +
                             std::to_string(rows_) + " and columns 1 to " +
                             std::to_string(columns_);
  const auto require_inside = [&](int row, int from, int to) {
    require(row >= first_row && row <= rows_ && from >= 1 && to <= columns_,
            "it does not fit: row " + std::to_string(row) + ", columns " + std::to_string(from) +
                " to " + std::to_string(to) + inside);
  };
  if (is_label(field) || has_label(field))
    require_inside(label_row(field), label_column(field), label_column(field));
  if (is_label(field)) return;
  const int natural = natural_width(item);
  const bool is_free = has_choices(item) || field.kind == FormFieldKind::kText;
  shown.width = field.width != 0 ? field.width : natural;
  // The texts of choices are longer in some languages than in others.
  if (has_choices(item) && field.width == 0)
    shown.width = std::clamp(natural, 1, std::max(1, columns_ - field.column + 1));
  require(shown.width > 0, "it has no width, or no mask");
  require(is_free || shown.width >= natural,
          "it needs a width of " + std::to_string(natural) + " columns");
  require_inside(field.row, field.column, field.column + shown.width - 1);
  require(field.kind != FormFieldKind::kText || item.most_characters() > 0, "it has no room");
}

void FormScreen::require_no_overlap() const {
  const auto& all = items_.all();
  for (std::size_t i = 0; i < all.size(); ++i) {
    for (std::size_t j = 0; j < all.size(); ++j) {
      const FormField& one = *all[i].field;
      const FormField& other = *all[j].field;
      const bool over_field = i != j && one.row == other.row && one.column >= other.column &&
                              one.column < other.column + shown_[j].width && !is_label(one);
      const bool label_over_field = label_row(one) == other.row && has_label(one) &&
                                    label_column(one) >= other.column &&
                                    label_column(one) < other.column + shown_[j].width;
      const bool label_over_label = i < j && has_label(one) && has_label(other) &&
                                    label_row(one) == label_row(other) &&
                                    label_column(one) == label_column(other);
      if (over_field)
        form_fatal(items_.form(), &one, "it lies over another field", kErrorWindowPlace);
      if (label_over_field)
        form_fatal(items_.form(), &one, "its label lies over a field", kErrorWindowPlace);
      if (label_over_label)
        form_fatal(items_.form(), &other, "its label lies over another one", kErrorWindowPlace);
    }
  }
}

std::size_t FormScreen::index_of(const FormItem& item) const {
  return static_cast<std::size_t>(&item - items_.all().data());
}

int FormScreen::width_of(const FormItem& item) const {
  return shown_[index_of(item)].width;
}

void FormScreen::forget(const FormItem& item) {
  shown_[index_of(item)].text.clear();
}

void FormScreen::draw(int window) {
  const Form& form = items_.form();
  p_clear_w(window);
  if (has_title(form))
    print_with(window, kBrightText, 1, 1, cut_visibly(padded(screen_text(form.title)), columns_));
  for (const FormItem& item : items_.all()) {
    draw_label(window, item);
    forget(item);
  }
  draw_values(window);
}

// A label ends before the next field or label of its row.
void FormScreen::draw_label(int window, const FormItem& item) const {
  const std::string text = screen_text(item.field->label);
  if (text.empty()) return;
  const int row = label_row(*item.field);
  const int column = label_column(*item.field);
  int end = columns_ + 1;
  for (const FormItem& other : items_.all()) {
    const FormField& field = *other.field;
    if (!is_label(field) && field.row == row && field.column > column)
      end = std::min(end, field.column);
    if (has_label(field) && label_row(field) == row && label_column(field) > column)
      end = std::min(end, label_column(field));
  }
  const int room = end - column;
  const int width = std::min(columns_of(text.size()), room);
  print_with(window, is_label(*item.field) ? kBrightText : kPlainText, row, column,
             cut_visibly(text, width));
}

void FormScreen::draw_values(int window) {
  for (const FormItem& item : items_.all()) {
    const FormField& field = *item.field;
    if (is_label(field)) continue;
    Shown& shown = shown_[index_of(item)];
    std::string text = cut_visibly(entry_text(item), shown.width);
    if (text == shown.text) continue;
    print_with(window, item.is_enterable() ? kEnterableText : kShownText, field.row, field.column,
               text);
    shown.text = std::move(text);
  }
}

}  // namespace marigold::inner
