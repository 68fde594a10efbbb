#include "runtime/data/isam_access.h"
#include "runtime/platform/file.h"
#include "tools/data_commands.h"
#include "tools/progress.h"
#include "tools/record_walk.h"

namespace marigold {
namespace {

// What is still the matter with a file whose indexes have been made; "" for nothing.
std::string misfit(const DataTarget& target) {
  OpenKeyedFile file;
  IsamInfo info;
  int failed = file.open(target.base, kIsInput | kIsReadOnly | kIsManualLock);
  if (failed == 0) failed = file.info(info);
  if (failed != 0) return data_error(target.base, failed);
  std::string reason;
  if (check_version(target, reason) && isam_fits(*target.definition, info, reason)) return "";
  return target.base + ": " + reason;
}

}  // namespace

int data_rebuild(const DataRebuild& options) {
  DataTarget target;
  Problems problems;
  if (!find_data_file(options.file, target, problems)) return report_unusable(problems);
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
    return report_unusable({data_error(at_fault, iserrno)});
  }
  std::string summary =
      target.base + ": " + counted(static_cast<std::size_t>(rebuilt.records), "record");
  if (rebuilt.lost > 0) {
    summary += ", " + std::to_string(rebuilt.lost) + " lost; the damaged file stays as ";
    summary += rebuilt.kept;
  }
  // Indexes are made from what the file says of itself; whether its definition is that is another
  // matter, which a conversion may put right.
  const std::string reason = misfit(target);
  if (!reason.empty()) report(reason);
  const bool clean = rebuilt.lost == 0 && reason.empty();
  return write_output(summary + "\n", clean ? kExitClean : kExitFindings);
}

}  // namespace marigold
