// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/common/reason.h"

#include <utility>

#include "runtime/isam/common/isam.h"

namespace marigold {

int iserrno = 0;

}  // namespace marigold

namespace marigold::inner::isam {
namespace {

std::string reason_noted;

}  // namespace

int refuse(int number, std::string reason) {
  reason_noted = std::move(reason);
  return number;
}

void forget_reason() {
  reason_noted.clear();
}

const char* noted_reason() {
  return reason_noted.c_str();
}

}  // namespace marigold::inner::isam
