// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace shop {

// The list of customers, in which the operator looks for, changes, adds and deletes customers.
void maintain_customers();

// Lets the operator choose a customer. False if the operator leaves the list.
bool choose_customer(int& number);

}  // namespace shop
