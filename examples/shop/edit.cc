// SPDX-License-Identifier: GPL-3.0-or-later
#include "edit.h"

#include <string>
#include <variant>
#include <vector>

#include "texts.h"

namespace shop {

using namespace marigold;

namespace {

using Value = std::variant<std::string, double, int>;

bool can_be_changed(const FormField& field) {
  return *field.field != '\0' && !field.read_only && field.compute == nullptr &&
         field.kind != FormFieldKind::kLabel;
}

Value value_of(const DataFile& file, const FormField& field) {
  if (field.kind == FormFieldKind::kNumber) return data_get_double(file, field.field);
  if (field.kind == FormFieldKind::kDate) return static_cast<int>(data_get_long(file, field.field));
  return data_get_text(file, field.field);
}

void put_value(DataFile& file, const FormField& field, const Value& value) {
  if (const auto* number = std::get_if<double>(&value))
    data_put_double(file, field.field, *number);
  else if (const auto* date = std::get_if<int>(&value))
    data_put_long(file, field.field, *date);
  else
    data_put_text(file, field.field, std::get<std::string>(value));
}

// The values that the form can change, by the fields of the form; of others an empty text.
std::vector<Value> values_of(const Form& form) {
  std::vector<Value> values;
  for (const FormField& field : form.fields)
    values.push_back(can_be_changed(field) ? value_of(*form.file, field) : Value());
  return values;
}

// Puts the values that differ from those before into the record in the buffer. Refused if another
// operator has given one of them another value than before.
Outcome merge(const Form& form, const std::vector<Value>& before,
              const std::vector<Value>& wanted) {
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    if (wanted[i] == before[i]) continue;
    const FormField& field = form.fields[i];
    const Value now = value_of(*form.file, field);
    if (now != before[i] && now != wanted[i])
      return {.refused = "REFUSED_CHANGED", .values = {text(field.label)}};
    put_value(*form.file, field, wanted[i]);
  }
  return {};
}

void put_all(const Form& form, const std::vector<Value>& values) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (can_be_changed(form.fields[i])) put_value(*form.file, form.fields[i], values[i]);
  }
}

// Returns whether the operator has accepted the form. Asks before values are dropped that were
// refused, because the form knows them only as what it began with.
bool fill_in(Form& form, bool refused) {
  while (form_run(form) != kKeyEnter) {
    if (!refused || key_is_lost() || confirm("ASK_DROP")) return false;
  }
  return true;
}

}  // namespace

Form mask(const char* title, WindowPlace place, std::span<const FormField> fields,
          const char* help_key) {
  return {.title = title,
          .row = place.row,
          .column = place.column,
          .height = place.height,
          .width = place.width,
          .fields = fields,
          .status = "FORM_KEYS",
          .help_key = help_key};
}

bool edit_record(Form& form) {
  DataFile& file = *form.file;
  const std::vector<Value> before = values_of(form);
  for (bool refused = false; fill_in(form, refused); refused = true) {
    const std::vector<Value> wanted = values_of(form);
    if (wanted == before) return false;
    const Outcome outcome = carry_out([&]() -> Outcome {
      if (Outcome locked = lock_record(file); !locked.done()) return locked;
      if (Outcome merged = merge(form, before, wanted); !merged.done()) return merged;
      changes_write(file);
      return {};
    });
    if (outcome.done()) return true;
    tell_refused(outcome);
    if (!outcome.may_try_again) return false;
    put_all(form, wanted);  // the form comes back with what was typed
  }
  return false;
}

bool add_record(Form& form, const std::function<Outcome()>& take_key) {
  for (bool refused = false; fill_in(form, refused); refused = true) {
    const std::vector<Value> wanted = values_of(form);
    const Outcome outcome = carry_out([&]() -> Outcome {
      if (Outcome taken = take_key(); !taken.done()) return taken;
      put_all(form, wanted);
      changes_write(*form.file);
      return {};
    });
    if (outcome.done()) return true;
    tell_refused(outcome);
    put_all(form, wanted);
  }
  return false;
}

}  // namespace shop
