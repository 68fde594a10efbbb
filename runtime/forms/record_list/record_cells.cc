// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/forms/record_list/record_cells.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "marigold/core.h"
#include "runtime/core/system_errors.h"
#include "runtime/core/user_interface.h"
#include "runtime/data/access/field_access.h"
#include "runtime/texte/screen_text.h"
#include "runtime/wi/window/window_text.h"

namespace marigold::inner {
namespace {

constexpr int kDateWidth = 8;
constexpr int kTimeWidth = 5;

int width_of(const FieldDefinition& field, std::string_view mask) {
  if (!mask.empty()) return static_cast<int>(mask.size());
  switch (field.type) {
    case FieldType::kInt:
      return 6;
    case FieldType::kReal:
      return 14;
    case FieldType::kDate:
      return kDateWidth;
    case FieldType::kTime:
      return kTimeWidth;
    case FieldType::kChar:
    case FieldType::kString:
      return std::min(field.size, kScreenColumns);
    default:
      return 11;
  }
}

std::string plain_number(double value) {
  std::array<char, 32> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  return {digits.data(), end};
}

// Dates and times have masks for lists on paper ('00.00.00'), which would show an empty date as
// zeros.
std::string number_text(const ShownColumn& column, double value) {
  if (column.field->type == FieldType::kDate)
    return std::string(date_text(static_cast<std::int32_t>(value)).view());
  if (column.field->type == FieldType::kTime)
    return std::string(
        date_time_text(static_cast<std::int32_t>(value)).view().substr(0, kTimeWidth));
  return column.mask.empty() ? plain_number(value) : edit_number(column.mask, value);
}

bool is_text(FieldType type) {
  return type == FieldType::kChar || type == FieldType::kString;
}

std::string fitted_text(std::string text, int width) {
  const auto columns = static_cast<std::size_t>(width);
  const bool is_cut = text.size() > columns;
  text.resize(columns, ' ');
  if (is_cut) text.back() = '>';
  return text;
}

std::string fitted_number(const std::string& text, int width) {
  const auto columns = static_cast<std::size_t>(width);
  if (text.size() > columns) return std::string(columns, '*');
  return std::string(columns - text.size(), ' ') + text;
}

std::string_view mask_of(const RecordColumn& column, const FieldDefinition& field) {
  const std::string_view own = column.mask;
  return own.empty() ? std::string_view(field.mask) : own;
}

[[noreturn]] void refuse_field(const RecordListLayout& layout, std::string_view field, int number) {
  const std::string_view file = layout.file->definition.name.view();
  user_interface().warning(std::string(file).append(": ").append(field).c_str());
  raise_fatal(number);
}

}  // namespace

std::vector<ShownColumn> shown_columns(const RecordListLayout& layout) {
  std::vector<ShownColumn> columns;
  for (const RecordColumn& described : layout.columns) {
    ShownColumn column{.described = &described,
                       .field = nullptr,
                       .mask = {},
                       .title = screen_text(described.title)};
    column.width = static_cast<int>(std::min<std::size_t>(column.title.size(), kScreenColumns));
    if (described.text == nullptr) {
      column.field = layout.file->definition.find_field(described.field);
      if (column.field == nullptr) refuse_field(layout, described.field, kErrorUnknownField);
      if (described.element < 1 || described.element > column.field->times)
        refuse_field(layout, described.field, kErrorFieldElement);
      column.mask = mask_of(described, *column.field);
      column.width = std::max(column.width, width_of(*column.field, column.mask));
    }
    if (described.width > 0) column.width = described.width;
    column.width = std::clamp(column.width, 1, kScreenColumns);
    columns.push_back(std::move(column));
  }
  return columns;
}

std::string title_text(const ShownColumn& column) {
  const bool is_number = column.field != nullptr && !is_text(column.field->type);
  const int missing = column.width - static_cast<int>(column.title.size());
  const std::string before(is_number && missing > 0 ? static_cast<std::size_t>(missing) : 0, ' ');
  return fit(before + column.title, column.width);
}

std::string cell_text(const ShownColumn& column, const DataFile& file, void* context) {
  if (column.field == nullptr)
    return fitted_text(column.described->text(file, context), column.width);
  const int element = column.described->element;
  if (is_text(column.field->type)) {
    std::string_view text;
    static_cast<void>(field_get(*column.field, element, file.record.data(), text));
    return fitted_text(std::string(text), column.width);
  }
  double value = 0;
  static_cast<void>(field_get_number(*column.field, element, file.record.data(), value));
  return fitted_number(number_text(column, value), column.width);
}

}  // namespace marigold::inner
