// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace shop {

// The mask of a new order. The operator leaves it when the order is booked, or dropped.
void enter_order();

// The list of orders, in which the operator looks for, prints, pays and cancels orders.
void maintain_orders();

// Lets the operator choose an order. False if the operator leaves the list.
bool choose_order(int& number);

}  // namespace shop
