// SPDX-License-Identifier: GPL-3.0-or-later
// The fields of a form while it runs: their values, which are neither in the record nor in the
// program's variables before the user accepts the form.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "marigold/forms.h"
#include "runtime/data/definition/definition.h"

namespace marigold::inner {

// The types of data fields and variables, as far as forms distinguish them.
enum class Stored { kNowhere, kInt16, kInt32, kReal, kBool, kText };

// A text, or a number for all other types.
struct FormValue {
  std::string text;
  double number = 0;
  bool operator==(const FormValue&) const = default;
};

struct ItemChoice {
  std::string text;  // in the user's language
  FormValue value;
};

struct FormItem {
  const FormField* field = nullptr;
  const FieldDefinition* definition = nullptr;  // of the data field; null for a variable
  Stored stored = Stored::kNowhere;
  std::string mask;  // of a number
  std::vector<ItemChoice> choices;
  FormValue initial;  // at the start
  FormValue value;
  // The user has changed the value since it was verified.
  bool unverified = false;

  [[nodiscard]] bool is_text() const;
  [[nodiscard]] bool is_enterable() const;
  // A text has at most so many characters.
  [[nodiscard]] std::size_t most_characters() const;
  // Returns the choice with the present value, or null.
  [[nodiscard]] const ItemChoice* choice() const;
  [[nodiscard]] bool is_empty() const;
};

// The fields of a running form. While an object lives, form_text and the other public functions find
// the values in it.
class FormItems {
 public:
  // Takes the values from the record and the variables, and computes the rest. An error of the
  // description does not return.
  explicit FormItems(Form& form);
  ~FormItems();
  FormItems(const FormItems&) = delete;
  FormItems& operator=(const FormItems&) = delete;

  std::vector<FormItem>& all() { return items_; }
  [[nodiscard]] const std::vector<FormItem>& all() const { return items_; }
  [[nodiscard]] Form& form() const { return form_; }
  // Returns the item with this name, or null.
  FormItem* find(std::string_view name);
  void compute();
  // Whether the user has changed a value.
  [[nodiscard]] bool changed() const;

  // Gives the record buffer back as it was at the start.
  void restore_record() const;
  // Restores the record buffer and stores the changed values, which must fit.
  void store() const;

 private:
  void load(FormItem& item) const;
  void store(const FormItem& item) const;

  Form& form_;
  std::vector<FormItem> items_;
  std::vector<char> record_;  // at the start
};

// Whether the value fits the type in which it is stored.
bool fits_type(const FormItem& item);
// Least and greatest number of a type; the greatest of double for types without bounds.
double least_of(Stored stored);
double most_of(Stored stored);

// Ends the process for an error of the form's description: a line on standard error names form and
// field, then comes the system error.
[[noreturn]] void form_fatal(const Form& form, const FormField* field, const std::string& fault,
                             int error);

}  // namespace marigold::inner
