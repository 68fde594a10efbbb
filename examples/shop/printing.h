// SPDX-License-Identifier: GPL-3.0-or-later
// Everything that the shop prints: on the screen, on the printer, or into a file.
#pragma once

#include <functional>
#include <string>

namespace shop {

// Asks the operator where to print and prints a list there. The list's name is a text, so that each
// language has lists of its own (lists/*.list). `blocks` prints the blocks and returns false if the
// list is not to be kept, for example because the operator has interrupted it. The operator learns
// how it ended.
void print(const char* list_id, const std::string& file_name, const std::function<bool()>& blocks);

enum class OrderPaper { kInvoice, kDeliveryNote };
void print_order(int number, OrderPaper paper);

// What customers have still to pay.
void print_open_amounts();

}  // namespace shop
