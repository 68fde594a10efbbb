// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace shop {

// The mask of a payment, for this order or, with 0, for one that the operator names.
void enter_payment(int order);

}  // namespace shop
