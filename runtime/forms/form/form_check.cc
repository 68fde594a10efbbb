// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/forms/form/form_check.h"

#include <algorithm>

#include "marigold/core.h"
#include "runtime/forms/form/form_entry.h"
#include "runtime/texte/screen_text.h"
#include "runtime/texte/sysmsg.h"

namespace marigold::inner {
namespace {

std::string bound_text(const FormItem& item, double bound) {
  if (item.is_text()) return entry_plain_number(bound);
  std::string text = item.field->kind == FormFieldKind::kDate
                         ? std::string(date_text(static_cast<std::int32_t>(bound)).view())
                         : edit_number(item.mask, bound);
  if (text.find('*') != std::string::npos) return entry_plain_number(bound);
  std::erase(text, ' ');
  return text;
}

// Names the bounds that there are: "at least 1, at most 10".
std::string bounds(const FormItem& item, double least, double most) {
  std::string text;
  if (least != kFormNoLeast) text = form_message(kFormLeast) + " " + bound_text(item, least);
  if (most != kFormNoMost)
    text.append(text.empty() ? "" : ", ")
        .append(form_message(kFormMost) + " " + bound_text(item, most));
  if (item.is_text()) text.append(systxt_chrs.view());
  return text;
}

std::string check_text(const FormItem& item) {
  const double least = std::max(item.field->least, 0.0);
  const auto most = static_cast<double>(item.most_characters());
  const auto length = static_cast<double>(item.value.text.size());
  if (length >= least && length <= most && fits_type(item)) return "";
  return bounds(item, least > 0 ? least : kFormNoLeast, most);
}

std::string check_number(const FormItem& item) {
  const FormField& field = *item.field;
  const double number = item.value.number;
  const bool in_bounds = number >= field.least && number <= field.most;
  if (in_bounds && fits_type(item)) return "";
  const std::string text = in_bounds ? bounds(item, least_of(item.stored), most_of(item.stored))
                                     : bounds(item, field.least, field.most);
  return text.empty() ? form_message(kFormNumber) : text;
}

// The order of the sort layout, in which the year 99 comes after the year 01.
std::string check_date(const FormItem& item) {
  const double number = item.value.number;
  if (!entry_is_date(number)) return form_message(kFormDate);
  const auto sorted = [](double date) {
    return date_to_sort_layout(static_cast<std::int32_t>(date));
  };
  const FormField& field = *item.field;
  const bool too_early = field.least != kFormNoLeast && sorted(number) < sorted(field.least);
  const bool too_late = field.most != kFormNoMost && sorted(number) > sorted(field.most);
  return too_early || too_late ? bounds(item, field.least, field.most) : "";
}

std::string check_value(const FormItem& item) {
  switch (item.field->kind) {
    case FormFieldKind::kText:
      return check_text(item);
    case FormFieldKind::kNumber:
      return check_number(item);
    case FormFieldKind::kDate:
      return check_date(item);
    case FormFieldKind::kTime:
      return entry_is_time(item.value.number) ? "" : form_message(kFormTime);
    default:
      return item.choice() != nullptr ? "" : form_message(kFormChoice);
  }
}

}  // namespace

std::string form_check(Form& form, const FormItem& item, bool whole_form) {
  const FormField& field = *item.field;
  if (field.kind == FormFieldKind::kLabel) return "";
  const bool is_choice = item.choice() != nullptr;
  const bool must_be_filled = whole_form && field.required && item.is_enterable();
  if (item.is_empty() && !is_choice && must_be_filled) return form_message(kFormRequired);
  // Nothing is a number like any other.
  const bool may_be_empty = field.kind != FormFieldKind::kNumber;
  if (!(item.is_empty() && may_be_empty)) {
    std::string fault = check_value(item);
    if (!fault.empty()) return fault;
  }
  if (field.check == nullptr || !item.is_enterable()) return "";
  const char* id = field.check(form, field);
  return id == nullptr ? "" : screen_text(id);
}

std::string form_fault(const FormField& field, const std::string& message) {
  std::string label = screen_text(*field.label != '\0' ? field.label : field.heading);
  label.erase(label.find_last_not_of(" :.") + 1);
  return label.empty() ? message : label + ": " + message;
}

}  // namespace marigold::inner
