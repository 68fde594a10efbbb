// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/missing_page.h"

namespace marigold::inner {

// The system cuts no mapped file, and reserves the disk space of its pages. So no page is missing,
// but one that the disk cannot read: that ends the process.
bool run_until_missing_page(void (*body)(void* context), void* context) {
  body(context);
  return true;
}

}  // namespace marigold::inner
