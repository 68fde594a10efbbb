// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/common/isam.h"
#include "runtime/platform/stop_signals.h"
#include "tools/common/progress.h"
#include "tools/data/commands.h"
#include "tools/records/record_walk.h"

namespace marigold::inner {
namespace {

std::string reason_for(const DataTarget& target, int failed) {
  const std::string name(target.definition->name.view());
  std::string text = data_error(target.base, failed);
  if (failed == kIsBadFile) text += "; \"marigold data check " + name + "\" reports the damage";
  return text;
}

std::string change_of(std::uint64_t before, std::uint64_t after) {
  return std::to_string(before) + " -> " + std::to_string(after) + " bytes";
}

}  // namespace

int data_compact(const DataCompact& options) {
  DataTarget target;
  Problems problems;
  if (!find_data_file(options.file, target, problems)) return report_unusable(problems);
  if (target.in_cluster())
    return report_unusable(
        {only_in_directories(target, "its server gives space back (VACUUM FULL)")});
  // A random file stays as it is: without the deleted records at its end, new records would get
  // their numbers, by which other files may still refer to the old ones.
  if (target.definition->type != FileType::kIsam)
    return report_unusable({target.base + ": the numbers of a random file's records are their "
                                          "places, none of which can be given back"});
  if (!take_class(target, problems)) return report_unusable(problems);
  std::string unfinished;
  if (!finish_changes(target, unfinished)) return report_unusable({unfinished});
  const StopSignalsHold hold;
  IsCompactReport compacted;
  Progress progress(target.base);
  const auto watch = [&progress](std::uint64_t done, std::uint64_t all) { progress.at(done, all); };
  const int failed = iscompact(target.base.c_str(), compacted, watch) == 0 ? 0 : iserrno;
  progress.hide();
  if (failed != 0) return report_unusable({reason_for(target, failed)});
  const std::string misfit = misfit_of(target);
  if (!misfit.empty()) report(misfit);
  return write_output(target.base + ": " +
                          counted(static_cast<std::size_t>(compacted.records), "record") + ", " +
                          change_of(compacted.data_before, compacted.data_after) + ", indexes " +
                          change_of(compacted.index_before, compacted.index_after) + "\n",
                      misfit.empty() ? kExitClean : kExitFindings);
}

}  // namespace marigold::inner
