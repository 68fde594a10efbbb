// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/forms/form/form_items.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <iterator>

#include "runtime/core/system_errors.h"
#include "runtime/core/user_interface.h"
#include "runtime/data/access/field_access.h"
#include "runtime/isam/common/isam.h"
#include "runtime/texte/screen_text.h"
#include "runtime/texte/sysmsg.h"

namespace marigold {

using namespace inner;

namespace {

// The forms that run, the innermost last: a function of a form may run another one.
struct State {
  std::vector<FormItems*> running;
};
State state;

std::string_view name_of(const FormField& field) {
  return *field.name != '\0' ? field.name : field.field;
}

// Returns how an error of the program names the field.
std::string title_of(const FormField& field) {
  if (const std::string_view name = name_of(field); !name.empty()) return std::string(name);
  if (*field.label != '\0') return field.label;
  return "at row " + std::to_string(field.row) + ", column " + std::to_string(field.column);
}

Stored stored_type(FieldType type) {
  switch (type) {
    case FieldType::kInt:
      return Stored::kInt16;
    case FieldType::kReal:
      return Stored::kReal;
    case FieldType::kChar:
    case FieldType::kString:
      return Stored::kText;
    default:
      return Stored::kInt32;
  }
}

Stored stored_type(const FormVariable& variable) {
  constexpr Stored kTypes[] = {Stored::kNowhere, Stored::kText, Stored::kReal, Stored::kInt32,
                               Stored::kBool};
  static_assert(std::size(kTypes) == std::variant_size_v<FormVariable>);
  return kTypes[variable.index()];
}

bool kind_takes(const FormItem& item) {
  const Stored stored = item.stored;
  const bool nowhere = stored == Stored::kNowhere;
  switch (item.field->kind) {
    case FormFieldKind::kText:
      return nowhere || stored == Stored::kText;
    case FormFieldKind::kNumber:
      return nowhere || stored == Stored::kInt16 || stored == Stored::kInt32 ||
             stored == Stored::kReal;
    case FormFieldKind::kDate:
      return nowhere || stored == Stored::kInt32;
    case FormFieldKind::kTime:
      return nowhere || stored == Stored::kInt32 || stored == Stored::kInt16;
    case FormFieldKind::kYesNo:
      return stored != Stored::kReal && (stored != Stored::kText || item.most_characters() == 1);
    case FormFieldKind::kChoice:
      return stored != Stored::kBool;
    case FormFieldKind::kLabel:
      break;
  }
  return nowhere;
}

std::string trimmed(std::string_view text) {
  const std::size_t last = text.find_last_not_of(' ');
  return std::string(text.substr(0, last + 1));
}

bool is_whole(double number) {
  return number == std::trunc(number);
}

// Returns false if the value is no number, or one that the type cannot hold.
bool read_choice(FormItem& item, const FormChoice& choice, FormValue& value) {
  value.text = choice.value;
  if (item.is_text()) return value.text.size() <= item.most_characters();
  const char* end = value.text.data() + value.text.size();
  const auto [stop, error] = std::from_chars(value.text.data(), end, value.number);
  value.text.clear();
  return error == std::errc() && stop == end && value.number >= least_of(item.stored) &&
         value.number <= most_of(item.stored);
}

void add_choices(const Form& form, FormItem& item) {
  const FormField& field = *item.field;
  if (field.kind == FormFieldKind::kYesNo) {
    const bool is_text = item.is_text();
    item.choices = {{trimmed(systxt_yes.view()), {is_text ? "Y" : "", is_text ? 0.0 : 1.0}},
                    {trimmed(systxt_no.view()), {is_text ? "N" : "", 0}}};
  }
  if (field.kind != FormFieldKind::kChoice) return;
  for (const FormChoice& choice : field.choices) {
    ItemChoice made{.text = screen_text(choice.text), .value = {}};
    if (!read_choice(item, choice, made.value))
      form_fatal(form, &field, "it cannot store the choice " + std::string(choice.value),
                 kErrorFieldType);
    item.choices.push_back(std::move(made));
  }
}

FormItem make_item(const Form& form, const FormField& field) {
  FormItem item;
  item.field = &field;
  item.stored = stored_type(field.variable);
  if (*field.field != '\0') {
    const FieldDefinition* definition =
        form.file == nullptr ? nullptr : form.file->definition.find_field(field.field);
    if (definition == nullptr)
      form_fatal(form, &field, "the data file has no such field", kErrorUnknownField);
    if (field.element < 1 || field.element > definition->times)
      form_fatal(form, &field, "it has no element " + std::to_string(field.element),
                 kErrorFieldElement);
    item.definition = definition;
    item.stored = stored_type(definition->type);
  }
  if (!kind_takes(item))
    form_fatal(form, &field, "its kind does not take the type of its value", kErrorFieldType);
  item.mask = field.mask;
  if (item.mask.empty() && item.definition != nullptr) item.mask = item.definition->mask;
  const bool whole = item.stored == Stored::kInt16 || item.stored == Stored::kInt32;
  if (field.kind == FormFieldKind::kNumber && whole && item.mask.find(',') != std::string::npos)
    form_fatal(form, &field, "its mask has a comma, but it stores whole numbers", kErrorFieldType);
  add_choices(form, item);
  return item;
}

}  // namespace

void inner::form_fatal(const Form& form, const FormField* field, const std::string& fault,
                       int error) {
  user_interface().hand_terminal_back();
  std::string line = "form " + std::string(form.title) + ": ";
  if (field != nullptr) line += "field " + title_of(*field) + ": ";
  std::fputs((line + fault + "\n").c_str(), stderr);
  raise_fatal(error);
}

bool FormItem::is_text() const {
  if (stored != Stored::kNowhere) return stored == Stored::kText;
  return field->kind == FormFieldKind::kText || field->kind == FormFieldKind::kChoice;
}

bool FormItem::is_enterable() const {
  return field->kind != FormFieldKind::kLabel && !field->read_only && field->compute == nullptr;
}

std::size_t FormItem::most_characters() const {
  constexpr double kEndless = 1e9;
  const double most = std::clamp(field->most, 0.0, kEndless);
  if (definition != nullptr)
    return static_cast<std::size_t>(std::min(most, static_cast<double>(definition->size)));
  // The width of a choice is that of its words, not of what is stored.
  if (field->most != kFormNoMost || field->kind == FormFieldKind::kChoice)
    return static_cast<std::size_t>(most);
  return static_cast<std::size_t>(std::max(field->width, 0));
}

const ItemChoice* FormItem::choice() const {
  const auto found = std::ranges::find(choices, value, &ItemChoice::value);
  return found == choices.end() ? nullptr : &*found;
}

bool FormItem::is_empty() const {
  return value == FormValue{};
}

FormItems::FormItems(Form& form) : form_(form) {
  if (form.file != nullptr) {
    if (form.file->record.empty()) form_fatal(form, nullptr, "its file is not open", kIsNotOpen);
    record_ = form.file->record;
  }
  for (const FormField& field : form.fields) {
    items_.push_back(make_item(form, field));
    load(items_.back());
  }
  state.running.push_back(this);
  compute();
}

FormItems::~FormItems() {
  std::erase(state.running, this);
}

void FormItems::load(FormItem& item) const {
  FormValue& value = item.initial;
  if (item.definition != nullptr) {
    const char* record = record_.data();
    const int element = item.field->element;
    std::string_view text;
    if (item.is_text() && field_get(*item.definition, element, record, text) == kFieldDone)
      value.text = text;
    if (!item.is_text()) field_get_number(*item.definition, element, record, value.number);
  } else if (auto* const* text = std::get_if<std::string*>(&item.field->variable)) {
    value.text = **text;
  } else if (auto* const* real = std::get_if<double*>(&item.field->variable)) {
    value.number = **real;
  } else if (auto* const* whole = std::get_if<std::int32_t*>(&item.field->variable)) {
    value.number = **whole;
  } else if (auto* const* flag = std::get_if<bool*>(&item.field->variable)) {
    value.number = **flag ? 1 : 0;
  }
  item.value = item.initial;
}

FormItem* FormItems::find(std::string_view name) {
  const auto found = std::ranges::find_if(
      items_, [name](const FormItem& item) { return name_of(*item.field) == name; });
  return found == items_.end() ? nullptr : &*found;
}

void FormItems::compute() {
  for (const FormItem& item : items_) {
    if (item.field->compute != nullptr) item.field->compute(form_, *item.field);
  }
}

bool FormItems::changed() const {
  return std::ranges::any_of(items_, [](const FormItem& item) {
    return item.field->compute == nullptr && item.value != item.initial;
  });
}

void FormItems::restore_record() const {
  if (form_.file != nullptr && form_.file->record.size() == record_.size())
    form_.file->record = record_;
}

void FormItems::store() const {
  if (form_.file != nullptr && form_.file->record.size() != record_.size())
    form_fatal(form_, nullptr, "its file is not open", kIsNotOpen);
  restore_record();
  for (const FormItem& item : items_) {
    if (item.value != item.initial) store(item);
  }
}

void FormItems::store(const FormItem& item) const {
  const FormValue& value = item.value;
  if (item.definition != nullptr) {
    char* record = form_.file->record.data();
    const int element = item.field->element;
    int result = kFieldDone;
    if (item.stored == Stored::kText) {
      result = field_put(*item.definition, element, record, std::string_view(value.text));
    } else if (item.stored == Stored::kReal) {
      result = field_put(*item.definition, element, record, value.number);
    } else if (item.stored == Stored::kInt16) {
      result =
          field_put(*item.definition, element, record, static_cast<std::int16_t>(value.number));
    } else {
      result =
          field_put(*item.definition, element, record, static_cast<std::int32_t>(value.number));
    }
    if (result != kFieldDone) form_fatal(form_, item.field, "it cannot store the value", result);
  } else if (auto* const* text = std::get_if<std::string*>(&item.field->variable)) {
    **text = value.text;
  } else if (auto* const* real = std::get_if<double*>(&item.field->variable)) {
    **real = value.number;
  } else if (auto* const* whole = std::get_if<std::int32_t*>(&item.field->variable)) {
    **whole = static_cast<std::int32_t>(value.number);
  } else if (auto* const* flag = std::get_if<bool*>(&item.field->variable)) {
    **flag = value.number != 0;
  }
}

double inner::least_of(Stored stored) {
  if (stored == Stored::kInt16) return std::numeric_limits<std::int16_t>::min();
  if (stored == Stored::kInt32) return std::numeric_limits<std::int32_t>::min();
  return std::numeric_limits<double>::lowest();
}

double inner::most_of(Stored stored) {
  if (stored == Stored::kInt16) return std::numeric_limits<std::int16_t>::max();
  if (stored == Stored::kInt32) return std::numeric_limits<std::int32_t>::max();
  return std::numeric_limits<double>::max();
}

bool inner::fits_type(const FormItem& item) {
  const FormValue& value = item.value;
  if (item.is_text()) {
    const bool fits = item.definition == nullptr ||
                      value.text.size() <= static_cast<std::size_t>(item.definition->size);
    return fits && value.text.find('\0') == std::string::npos;
  }
  const bool whole = item.stored == Stored::kInt16 || item.stored == Stored::kInt32;
  return value.number >= least_of(item.stored) && value.number <= most_of(item.stored) &&
         (!whole || is_whole(value.number));
}

namespace {

// Returns the field of the innermost run of the form. An error of the program does not return.
FormItem& running_item(const Form& form, std::string_view name, bool is_text) {
  const auto run =
      std::find_if(state.running.rbegin(), state.running.rend(),
                   [&form](const FormItems* items) { return &items->form() == &form; });
  if (run == state.running.rend()) form_fatal(form, nullptr, "it does not run", kErrorUnknownField);
  FormItem* item = (*run)->find(name);
  if (item == nullptr)
    form_fatal(form, nullptr, "it has no field " + std::string(name), kErrorUnknownField);
  if (item->is_text() != is_text)
    form_fatal(form, item->field, is_text ? "it is no text" : "it is a text", kErrorFieldType);
  return *item;
}

}  // namespace

std::string form_text(const Form& form, std::string_view field) {
  return running_item(form, field, true).value.text;
}

double form_number(const Form& form, std::string_view field) {
  return running_item(form, field, false).value.number;
}

void form_put_text(Form& form, std::string_view field, std::string_view value) {
  running_item(form, field, true).value = {.text = std::string(value), .number = 0};
}

void form_put_number(Form& form, std::string_view field, double value) {
  running_item(form, field, false).value = {.text = "", .number = value};
}

}  // namespace marigold
