// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/forms.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>

#include "runtime/core/user_interface.h"
#include "runtime/forms/form/form_check.h"
#include "runtime/forms/form/form_entry.h"
#include "runtime/forms/form/form_items.h"
#include "runtime/forms/form/form_screen.h"
#include "runtime/texte/screen_text.h"
#include "runtime/texte/sysmsg.h"
#include "runtime/wi/dialog/line_field.h"
#include "runtime/wi/terminal/letters.h"
#include "runtime/wi/window/window_text.h"

namespace marigold {

using namespace inner;

namespace {

constexpr int kChoiceKey = kKeyF1 + 3;  // F4

bool is_function_key(int code) {
  return (code >= kKeyF1 && code <= kKeyF8) || code == kKeyF9 || code == kKeyPageUp;
}

bool has_choices(const FormItem& item) {
  return !item.choices.empty();
}

std::string without_blanks(std::string text) {
  std::erase(text, ' ');
  return text;
}

// Shows a text in the last row for as long as the object lives.
class StatusText {
 public:
  explicit StatusText(const char* id) : window_(kScreenRows, 1, 1, kScreenColumns, true) {
    print_with(window_.number(), kReverseText, 1, 1,
               cut_visibly(padded(screen_text(id)), kScreenColumns));
    window_.show();
  }

 private:
  OwnWindow window_;
};

// A form while the user works in it. Fields have their indexes here; -1 is none.
class FormRun {
 public:
  explicit FormRun(Form& form)
      : form_(form),
        items_(form),
        screen_(items_),
        window_(form.row, form.column, form.height, form.width, false) {
    if (*form.status != '\0' && wi_has_free_window()) status_.emplace(form.status);
    current_ = next_from(form.start - 1, 1);
    screen_.draw(window_.number());
    window_.show();
    begin_entry();
  }

  int run() {
    std::optional<int> end = follow(take_key());
    while (!end) {
      p_active_w(window_.number());
      end = follow(take_key());
    }
    form_.left_at = std::max(current_, 0);
    return *end;
  }

 private:
  [[nodiscard]] int count() const { return static_cast<int>(items_.all().size()); }
  FormItem& item(int index) { return items_.all()[static_cast<std::size_t>(index)]; }
  FormItem& current() { return item(current_); }

  // Returns the next field that the user can enter, around the form; -1 if there is none.
  int next_from(int index, int step) {
    for (int i = 1; i <= count(); ++i) {
      const int candidate = ((index + i * step) % count() + count()) % count();
      if (item(candidate).is_enterable()) return candidate;
    }
    return -1;
  }

  bool is_last(int index) { return next_from(index, 1) <= index; }

  // Returns the field in the nearest row above or below, and there the nearest one; else the same.
  int next_row(int index, int step) {
    const FormField& from = *item(index).field;
    const auto distance = [&from, step](const FormField& field) {
      return (field.row - from.row) * step * kScreenColumns + std::abs(field.column - from.column);
    };
    int nearest = index;
    for (int i = 0; i < count(); ++i) {
      const FormField& field = *item(i).field;
      const bool is_beyond = (field.row - from.row) * step > 0;
      if (!item(i).is_enterable() || !is_beyond) continue;
      if (nearest == index || distance(field) < distance(*item(nearest).field)) nearest = i;
    }
    return nearest;
  }

  [[nodiscard]] FieldPlace place() {
    const FormField& field = *current().field;
    return {.window = window_.number(),
            .row = field.row,
            .column = field.column,
            .width = screen_.width_of(current()),
            .help_key = help_key()};
  }

  const char* help_key() {
    const bool own = current_ >= 0 && *current().field->help_key != '\0';
    return own ? current().field->help_key : form_.help_key;
  }

  // Prepares the line for the value of the current field.
  void begin_entry() {
    if (current_ < 0) return;
    const FormItem& in = current();
    const bool is_text = in.field->kind == FormFieldKind::kText;
    const std::string text = entry_text(in);
    line_ = {
        .text = is_text ? text : without_blanks(text),
        .most = is_text ? in.most_characters() : static_cast<std::size_t>(screen_.width_of(in)),
        .width = static_cast<std::size_t>(screen_.width_of(in)),
        .cursor = 0,
        .first = 0,
        .inserting = line_.inserting,
        .replacing = !is_text};
    begun_ = line_.text;
  }

  // Leaves the field for another one.
  void go_to(int index) {
    end_entry();
    current_ = index;
    begin_entry();
  }

  // Shows the value of the current field as those of the others.
  void end_entry() {
    if (current_ < 0) return;
    screen_.forget(current());
    show_values();
  }

  void show_values() {
    screen_.draw_values(window_.number());
    wi_refresh_active();
    terminal_refresh();
  }

  void show_current() {
    if (current_ < 0) return;
    if (has_choices(current())) return show_choice();
    line_field_show(place(), line_, kEnteredText);
  }

  // Waits for a key that is not the editor's.
  int take_key() {
    if (current_ >= 0 && !has_choices(current()))
      return line_field_run(place(), line_, kEnteredText);
    if (current_ >= 0) show_choice();
    std::uint8_t character = 0;
    for (;;) {
      const int code = field_key(character);
      if (code == kKeyStatistics || code == kKeyDebugFields || code == kKeyDebugList) continue;
      if (current_ < 0 || !choice_key(code, static_cast<char>(character))) return code;
      show_choice();
    }
  }

  // ---- A field of choices

  void show_choice() {
    const FieldPlace at = place();
    print_with(at.window, kEnteredText, at.row, at.column,
               cut_visibly(entry_text(current()), at.width));
    wi_refresh_active();
    terminal_refresh();
    wi_set_cursor(at.window, at.row, at.column);
    terminal_show_cursor(true);
  }

  // Follows a key that chooses in the field; false for any other.
  bool choice_key(int code, char character) {
    FormItem& in = current();
    const auto& choices = in.choices;
    const auto* chosen = in.choice();
    const int last = static_cast<int>(choices.size()) - 1;
    const int at = chosen == nullptr ? -1 : static_cast<int>(chosen - choices.data());
    if (code == kKeyCharacter && character != ' ') {
      choose_by_letter(at, character);
    } else if (code == kKeyRight || code == kKeyCharacter) {
      take_choice(at == last ? 0 : at + 1);
    } else if (code == kKeyLeft) {
      take_choice(at <= 0 ? last : at - 1);
    } else if (code == kKeyHome) {
      take_choice(0);
    } else if (code == kKeyEnd) {
      take_choice(last);
    } else if (code == kKeyDelete || code == kKeyBackspace) {
      change_value({});
    } else {
      return code == kKeyInsert;
    }
    return true;
  }

  void choose_by_letter(int at, char character) {
    const auto& choices = current().choices;
    const int choice_count = static_cast<int>(choices.size());
    for (int i = 1; i <= choice_count; ++i) {
      const int candidate = (at + i) % choice_count;
      const std::string& text = choices[static_cast<std::size_t>(candidate)].text;
      if (text.empty() || fold_letter(text.front()) != fold_letter(character)) continue;
      return take_choice(candidate);
    }
  }

  void take_choice(int index) {
    change_value(current().choices[static_cast<std::size_t>(index)].value);
  }

  void change_value(const FormValue& value) {
    if (current().value == value) return;
    current().value = value;
    current().unverified = true;
  }

  // ---- Keys that are not the editor's

  // Returns the result of form_run when the key ends the form.
  std::optional<int> follow(int code) {
    if (code == kKeyEscape || code == kKeyStart) return leave(code);
    if (code == kKeyHelp || code == kKeyF1) {
      help_show(help_key());
    } else if (code == kKeyPageDown || (form_.accept_key != 0 && code == form_.accept_key)) {
      if (leave_field() && accept()) return kKeyEnter;
    } else if (code == kChoiceKey && current_ >= 0 && can_choose()) {
      choose();
    } else if (is_function_key(code)) {
      return follow_program(code);
    } else if (code == kKeyEnter) {
      if (current_ >= 0 && !leave_field()) return std::nullopt;
      if (current_ < 0 || is_last(current_)) {
        if (accept()) return kKeyEnter;
      } else {
        go_to(next_from(current_, 1));
      }
    } else if (current_ >= 0) {
      move(code);
    }
    return std::nullopt;
  }

  void move(int code) {
    int to = -1;
    if (code == kKeyTab) to = next_from(current_, 1);
    if (code == kKeyBackTab) to = next_from(current_, -1);
    if (code == kKeyUp) to = next_row(current_, -1);
    if (code == kKeyDown) to = next_row(current_, 1);
    if (to >= 0 && leave_field()) go_to(to);
  }

  std::optional<int> leave(int code) {
    const bool changed = items_.changed() || (current_ >= 0 && line_.text != begun_);
    if (changed && !key_is_lost()) {
      const std::string question = form_message(kFormChanged);
      const std::array<const char*, 2> answers = {systxt_continue.c_str(), systxt_quit.c_str()};
      if (user_interface().choose(question.c_str(), answers, help_key()) != 1) return std::nullopt;
    }
    items_.restore_record();
    return code;
  }

  std::optional<int> follow_program(int code) {
    if (form_.key == nullptr) return std::nullopt;
    const FormValue before = take_without_checks();
    const FormNext next = form_.key(form_, current_ < 0 ? nullptr : current().field, code);
    after_program(before);
    if (next == FormNext::kAccept && leave_field() && accept()) return code;
    if (next != FormNext::kLeave) return std::nullopt;
    items_.restore_record();
    return code;
  }

  bool can_choose() { return current().field->choose != nullptr || has_choices(current()); }

  void choose() {
    if (current().field->choose != nullptr) {
      const FormValue before = take_without_checks();
      current().field->choose(form_, *current().field);
      return after_program(before);
    }
    std::vector<SelectionEntry> entries;
    for (const ItemChoice& choice : current().choices)
      entries.push_back({.text = choice.text});
    const FormField& field = *current().field;
    const int number = selection_field({.row = form_.row + field.row + 1,
                                        .column = form_.column + field.column,
                                        .title = "",
                                        .entries = entries,
                                        .help_key = help_key()});
    if (number > 0) take_choice(number - 1);
  }

  // Gives functions of the program what the user has typed so far, as far as it is a value. Returns
  // the value that the field has then.
  FormValue take_without_checks() {
    if (current_ < 0) return {};
    if (!has_choices(current()) && line_.text != begun_ &&
        entry_take(current(), line_.text).empty())
      current().unverified = true;
    items_.compute();
    return current().value;
  }

  void after_program(const FormValue& before) {
    p_active_w(window_.number());
    items_.compute();
    if (current_ >= 0 && current().value != before) {
      current().unverified = true;
      begin_entry();
    }
    show_values();
  }

  // Takes what the user has typed and verifies it. False: a message was shown, and the user stays.
  bool leave_field() {
    if (current_ < 0) return true;
    FormItem& in = current();
    if (!has_choices(in) && line_.text != begun_) {
      const std::string fault = entry_take(in, line_.text);
      if (!fault.empty()) return report_typed(fault);
      in.unverified = true;
    }
    if (!in.unverified) return true;
    const std::string fault = form_check(form_, in, false);
    if (fault.empty()) {
      in.unverified = false;
      if (in.field->changed != nullptr) in.field->changed(form_, *in.field);
    }
    items_.compute();
    begin_entry_again();
    return fault.empty() || report(in, fault);
  }

  // Shows the value as it was taken, with the cursor at its beginning.
  void begin_entry_again() {
    begin_entry();
    show_values();
  }

  // Verifies all fields, and stores them if they fit. Otherwise the first one that fails is entered.
  bool accept() {
    for (int pass = 0; pass < 2; ++pass) {
      const bool computed = pass == 1;
      if (computed) items_.compute();
      for (int i = 0; i < count(); ++i) {
        if ((item(i).field->compute != nullptr) != computed) continue;
        if (!item(i).is_enterable() && item(i).value == item(i).initial) continue;
        const std::string fault = form_check(form_, item(i), true);
        if (fault.empty()) continue;
        if (item(i).is_enterable()) go_to(i);
        return report(item(i), fault);
      }
    }
    items_.store();
    return true;
  }

  // The text that is no value stays, to be corrected or typed again.
  bool report_typed(const std::string& fault) {
    line_.cursor = 0;
    line_.first = 0;
    line_.replacing = true;
    return report(current(), fault);
  }

  bool report(const FormItem& in, const std::string& fault) {
    show_values();
    show_current();
    const std::string text = form_fault(*in.field, fault);
    if (text.size() <= kScreenColumns) {
      message_line(text.c_str(), help_key());
    } else {
      warning_box(text.c_str());
    }
    return false;
  }

  Form& form_;
  FormItems items_;
  FormScreen screen_;
  OwnWindow window_;
  std::optional<StatusText> status_;
  int current_ = -1;
  LineEditor line_;
  std::string begun_;  // the line before the user typed
};

}  // namespace

int form_run(Form& form) {
  return FormRun(form).run();
}

void form_show(Form& form, int& window) {
  FormItems items(form);
  FormScreen screen(items);
  const bool is_new = window == 0;
  if (is_new) create_w(window, form.row, form.column, form.height, form.width, false);
  screen.draw(window);
  if (is_new) {
    p_active_w(window);
  } else {
    p_refreshany_w(window);
  }
  terminal_refresh();
}

}  // namespace marigold
