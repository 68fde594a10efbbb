// SPDX-License-Identifier: GPL-3.0-or-later
#include "marigold/texts.h"
#include "runtime/core/settings.h"
#include "runtime/platform/stream.h"
#include "runtime/texte/syserr.h"
#include "runtime/texte/sysmsg.h"

namespace marigold {

using namespace inner;

void texte_start(const char* module) {
  stream_start();
  syserr_start();
  settings_read();
  sysmsg_init();
  if (module != nullptr) textdb_setup(module);
}

}  // namespace marigold
