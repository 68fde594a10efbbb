// SPDX-License-Identifier: GPL-3.0-or-later
// In the place of the reader of PO files, where its library is missing.
#include "tools/texts/po_file.h"

namespace marigold::inner {

bool po_load(const std::string& path, PoFile& file, Problems& problems) {
  file = PoFile{path, {}};
  problems.push_back(path +
                     ": this build of marigold cannot read PO files. Build the text database on "
                     "Linux and copy it; all systems read the same databases");
  return false;
}

}  // namespace marigold::inner
