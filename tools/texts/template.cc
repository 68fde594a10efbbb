// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>

#include "runtime/core/output_file.h"
#include "runtime/texte/sysmsg.h"
#include "tools/common/report.h"
#include "tools/texts/commands.h"
#include "tools/texts/po_file.h"
#include "tools/texts/text_id.h"

namespace marigold::inner {
namespace {

// Adds every entry of the catalogue that the program's own file lacks.
void add_system_texts(PoFile& file) {
  for (const CatalogueEntry& known : sysmsg_entries()) {
    PoEntry entry;
    entry.id = std::string(kSystemPrefix).append(known.key);
    entry.text = known.built_in;
    const auto same_id = [&entry](const PoEntry& other) { return other.id == entry.id; };
    if (std::ranges::none_of(file.entries, same_id)) file.entries.push_back(std::move(entry));
  }
}

}  // namespace

int texts_template(const TextsTemplate& options) {
  PoFile file;
  Problems problems;
  if (!options.reference.empty() && !po_load(options.reference, file, problems))
    return report_unusable(problems);
  if (options.system) add_system_texts(file);
  const std::string output = po_template(file.entries);
  std::string reason;
  if (options.output.empty()) return write_output(output, kExitClean);
  return write_file(options.output, output, reason) ? kExitClean : report_unusable({reason});
}

}  // namespace marigold::inner
