// SPDX-License-Identifier: GPL-3.0-or-later
// The data files of the shop and their keys (definitions/FILESHOP.DES).
#pragma once

#include <marigold/data.h>

#include <string>

namespace shop {

inline marigold::DataFile& customers() {
  return marigold::data_file("CUSTOMER");
}
inline marigold::DataFile& articles() {
  return marigold::data_file("ARTICLE");
}
inline marigold::DataFile& orders() {
  return marigold::data_file("ORDERS");
}
inline marigold::DataFile& lines() {
  return marigold::data_file("ORDLINE");
}
inline marigold::DataFile& payments() {
  return marigold::data_file("PAYMENT");
}
inline marigold::DataFile& numbers() {
  return marigold::data_file("NUMBERS");
}

// Keys. Those of orders and payments have the first name that comes with the file.
inline constexpr int kPrimary = 1;
inline constexpr int kCustomerByName = 2;
inline constexpr int kCustomerByTown = 3;
inline constexpr int kArticleByText = 2;
inline constexpr int kOrderByCustomer = 2;
inline constexpr int kPaymentByOrder = 2;

// Opens all files. False if another program keeps one of them for itself and the operator does not
// want to wait.
bool open_files();

// Gives back the record locks of all files.
void release_files();

// Reads a record without a lock. False if there is none; the buffer is clear then.
bool find_customer(int number);
bool find_article(const std::string& code);
bool find_order(int number);

// The name of a customer, or an empty text. Leaves the buffer of other files alone.
std::string customer_name(int number);

// Who works here, for the status line and for the orders.
std::string operator_name();

}  // namespace shop
