// SPDX-License-Identifier: GPL-3.0-or-later
#include <cerrno>
#include <vector>

#include "runtime/data/access/isam_access.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/stop_signals.h"
#include "tools/common/progress.h"
#include "tools/data/commands.h"
#include "tools/records/record_walk.h"

namespace marigold::inner {
namespace {

std::string reason_for(const DataTarget& target, int failed) {
  const std::string data = target.base + ".dat";
  switch (failed) {
    case ENOENT:
      return file_exists((target.base + ".idx").c_str()) ? half_pair_text(target)
                                                         : data_error(data, failed);
    case kIsBadFile:
      return data + ": nothing in it looks like a record of " +
             std::to_string(target.definition->record_length) + " bytes";
    case kIsBadArgument:
    case kIsBadKey:
      return data + ": its header is whole and has other " +
             (failed == kIsBadKey ? "keys" : "records") + " than " + target.set_path +
             "; use the definition with which it was written";
    default:
      return data_error(failed == kIsFileLocked ? target.base : data, failed);
  }
}

std::string summary(const DataTarget& target, const IsRecoverReport& report) {
  std::string text =
      target.base + ": " + counted(static_cast<std::size_t>(report.records), "record");
  if (report.lost > 0) text += ", " + std::to_string(report.lost) + " lost";
  if (report.superseded > 0)
    text += ", " + std::to_string(report.superseded) + " left out for later ones of the same key";
  if (report.undecided > 0)
    text += ", " + std::to_string(report.undecided) +
            " deleted without evidence that the deletion was final";
  if (!report.checked) text += ", none of which could be checked for damage";
  if (!report.kept.empty()) text += "; the damaged file stays as " + report.kept;
  return text + "\n";
}

}  // namespace

int data_recover(const DataRecover& options) {
  DataTarget target;
  Problems problems;
  if (!find_data_file(options.file, target, problems)) return report_unusable(problems);
  if (target.in_cluster())
    return report_unusable(
        {only_in_directories(target, "pg_restore brings back what pg_dump has kept")});
  const FileDefinition& definition = *target.definition;
  if (definition.type != FileType::kIsam)
    return report_unusable({target.base + ": a random file has no header"});
  if (!take_class(target, problems)) return report_unusable(problems);
  std::vector<KeyDescription> keys;
  for (int key = 1; key <= definition.keys.key_count; ++key)
    keys.push_back(isam_key(definition, key));
  const StopSignalsHold hold;
  IsRecoverReport recovered;
  Progress progress(target.base);
  const auto watch = [&progress](std::uint64_t done, std::uint64_t all) { progress.at(done, all); };
  const int failed =
      isrecover(target.base.c_str(), definition.record_length, keys, recovered, watch) == 0
          ? 0
          : iserrno;
  progress.hide();
  if (failed != 0) return report_unusable({reason_for(target, failed)});
  const std::string misfit = misfit_of(target);
  if (!misfit.empty()) report(misfit);
  const bool certain = recovered.lost == 0 && recovered.undecided == 0 && recovered.checked;
  return write_output(summary(target, recovered),
                      certain && misfit.empty() ? kExitClean : kExitFindings);
}

}  // namespace marigold::inner
