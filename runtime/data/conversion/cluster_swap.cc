// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/conversion/cluster_swap.h"

#include <algorithm>
#include <vector>

#include "runtime/data/access/data_fatal.h"
#include "runtime/data/access/random_file.h"
#include "runtime/data/access/version.h"
#include "runtime/data/conversion/conversion_step.h"
#include "runtime/isam/common/cluster.h"
#include "runtime/isam/common/cluster_address.h"

namespace marigold::inner {
namespace {

using enum IsExchange::Kind;

IsExchange record_step(const std::string& base, double version) {
  return {
      .kind = kWriteText, .from = version_file_record(base), .text = version_record_text(version)};
}

}  // namespace

std::string cluster_table(const std::string& base, FileType type) {
  return type == FileType::kIsam ? base : random_table(base);
}

bool ClusterSwap::has(const std::string& base) const {
  std::vector<std::string> files;
  if (islist(cluster_directory(base), files) != 0) data_fatal(base.c_str(), iserrno);
  return std::ranges::binary_search(files, cluster_file_name(cluster_table(base, type_)));
}

std::string ClusterSwap::record_in_force() const {
  return version_file_record(base_);
}

int ClusterSwap::discard() {
  failed_path_ = cluster_table(new_base(), type_);
  if (const int failed = conversion_step("remove")) return failed;
  const IsExchange remove{.kind = kRemove, .from = failed_path_};
  return isexchange({&remove, 1}) == 0 ? 0 : iserrno;
}

int cluster_replace(std::span<const ClusterReplacement> files, bool keep,
                    const std::string& class_record, double class_version) {
  std::vector<IsExchange> steps;
  for (const ClusterReplacement& file : files) {
    const std::string table = cluster_table(file.swap->base(), file.type);
    const std::string kept = file.swap->kept_base(file.from);
    if (keep) {
      steps.push_back({.kind = kRename, .from = table, .to = cluster_table(kept, file.type)});
      steps.push_back(record_step(kept, file.from));
    }
    steps.push_back(
        {.kind = kRename, .from = cluster_table(file.swap->new_base(), file.type), .to = table});
    steps.push_back(record_step(file.swap->base(), file.to));
  }
  if (!class_record.empty())
    steps.push_back(
        {.kind = kWriteText, .from = class_record, .text = version_record_text(class_version)});
  if (steps.empty()) return 0;
  if (const int failed = conversion_step("exchange")) return failed;
  return isexchange(steps) == 0 ? 0 : iserrno;
}

}  // namespace marigold::inner
