// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace shop {

// Adds up the orders and payments of a year by months and prints the totals.
void print_turnover();

}  // namespace shop
