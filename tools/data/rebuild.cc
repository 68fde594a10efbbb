// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/common/isam.h"
#include "tools/common/progress.h"
#include "tools/data/commands.h"
#include "tools/records/record_walk.h"

namespace marigold::inner {
int data_rebuild(const DataRebuild& options) {
  DataTarget target;
  Problems problems;
  if (!find_data_file(options.file, target, problems)) return report_unusable(problems);
  if (target.in_cluster())
    return report_unusable({only_in_directories(target, "its server rebuilds indexes (REINDEX)")});
  if (target.definition->type != FileType::kIsam)
    return report_unusable({target.base + ": a random file has no indexes"});
  if (!take_class(target, problems)) return report_unusable(problems);
  IsRebuildReport rebuilt;
  Progress progress(target.base);
  const auto watch = [&progress](std::uint64_t done, std::uint64_t all) { progress.at(done, all); };
  const bool made = isrebuild(target.base.c_str(), rebuilt, watch) == 0;
  progress.hide();
  if (!made) {
    const std::string at_fault = iserrno == kIsFileLocked ? target.base : target.base + ".dat";
    std::string problem = data_error(at_fault, iserrno);
    if (iserrno == kIsBadFile)
      problem += "; \"marigold data recover " + std::string(target.definition->name.view()) +
                 "\" looks for whole records in it";
    return report_unusable({problem});
  }
  std::string summary =
      target.base + ": " + counted(static_cast<std::size_t>(rebuilt.records), "record");
  if (rebuilt.lost > 0) {
    summary += ", " + std::to_string(rebuilt.lost) + " lost; the damaged file stays as ";
    summary += rebuilt.kept;
  }
  const std::string reason = misfit_of(target);  // a conversion may repair it
  if (!reason.empty()) report(reason);
  const bool clean = rebuilt.lost == 0 && reason.empty();
  return write_output(summary + "\n", clean ? kExitClean : kExitFindings);
}

}  // namespace marigold::inner
