// SPDX-License-Identifier: GPL-3.0-or-later
// A form in its window: where its fields lie, and how they look.
#pragma once

#include <string>
#include <vector>

#include "runtime/forms/form/form_items.h"

namespace marigold::inner {

inline constexpr const char* kEnterableText = "0100";  // reverse
inline constexpr const char* kEnteredText = "0110";    // bright reverse: where the user is
inline constexpr const char* kShownText = "0010";      // bright: values that cannot be entered

class FormScreen {
 public:
  // Verifies that the window fits the screen, and that all fields and labels fit the window's inside
  // and do not lie over each other. A description that does not fit does not return.
  explicit FormScreen(FormItems& items);

  // Prints title, labels and values into a window of the form's size.
  void draw(int window);
  // Prints the values that have changed since they were printed last.
  void draw_values(int window);
  // Makes draw_values print this value, over which the user has edited.
  void forget(const FormItem& item);

  [[nodiscard]] int width_of(const FormItem& item) const;

 private:
  struct Shown {
    int width = 0;
    std::string text;
  };

  void require_window() const;
  void place(const FormItem& item, Shown& shown) const;
  void require_no_overlap() const;
  void draw_label(int window, const FormItem& item) const;
  [[nodiscard]] std::size_t index_of(const FormItem& item) const;

  FormItems& items_;
  int rows_;
  int columns_;
  std::vector<Shown> shown_;
};

}  // namespace marigold::inner
