// SPDX-License-Identifier: GPL-3.0-or-later
// What all parts of the shop use: its data files (definitions/FILESHOP.DES), texts by their ids, the
// status line.
#pragma once

#include <marigold/forms.h>
#include <marigold/menus.h>
#include <marigold/record_lists.h>
#include <marigold/texts.h>

#include <span>
#include <string>

namespace shop {

using namespace marigold;  // the runtime; this header is the application's own

// ---- Data files

inline DataFile& customers() {
  return data_file("CUSTOMER");
}
inline DataFile& articles() {
  return data_file("ARTICLE");
}
inline DataFile& orders() {
  return data_file("ORDERS");
}
inline DataFile& lines() {
  return data_file("ORDLINE");
}
inline DataFile& payments() {
  return data_file("PAYMENT");
}
inline DataFile& numbers() {
  return data_file("NUMBERS");
}

// Keys. Those of orders and payments have the first name that comes with the file.
inline constexpr int kPrimary = 1;
inline constexpr int kCustomerByName = 2;
inline constexpr int kCustomerByTown = 3;
inline constexpr int kArticleByText = 2;
inline constexpr int kOrderByCustomer = 2;

// Read a record without a lock. False if there is none; the buffer is clear then.
bool find_customer(int number);
bool find_article(const std::string& code);
bool find_order(int number);

// The name of a customer, or an empty text.
std::string customer_name(int number);

// ---- Texts

inline std::string text(const char* id, TextValues values = {}) {
  return textdb_filled(id, values);
}

// An amount of money as "1.234,50".
std::string money_text(double amount);

// ---- The screen

inline constexpr int kKeyF2 = kKeyF1 + 1;
inline constexpr int kKeyF3 = kKeyF1 + 2;
inline constexpr int kKeyF4 = kKeyF1 + 3;
inline constexpr int kKeyF5 = kKeyF1 + 4;
inline constexpr int kKeyF6 = kKeyF1 + 5;
inline constexpr int kKeyF7 = kKeyF1 + 6;

// Who works here, for the status line and for the orders.
std::string operator_name();

// The last row of the screen while it lives: who works with which file.
class StatusRow {
 public:
  StatusRow(const char* task, const DataFile& counted) : task_(task), counted_(counted) { show(); }
  StatusRow(const StatusRow&) = delete;
  StatusRow& operator=(const StatusRow&) = delete;
  ~StatusRow() { p_destroy_w(window_); }

  void show();

 private:
  const char* task_;
  const DataFile& counted_;
  int window_ = 0;
};

// A form with the keys of the shop in its last row: "Page Down stores" and so on.
Form mask(const char* title, WindowPlace place, std::span<const FormField> fields,
          const char* help_key, DataFile* file = nullptr);

}  // namespace shop
