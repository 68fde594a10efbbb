// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/common/reason.h"

#include "runtime/isam/common/isam.h"

namespace marigold {

int iserrno = 0;

}  // namespace marigold

namespace marigold::inner::isam {
namespace {

const char* reason_noted = "";

}  // namespace

int refuse(int number, const char* reason) {
  reason_noted = reason;
  return number;
}

void forget_reason() {
  reason_noted = "";
}

const char* noted_reason() {
  return reason_noted;
}

}  // namespace marigold::inner::isam
