// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/conversion/file_swap.h"

#include "runtime/data/access/data_path.h"
#include "runtime/data/access/version.h"
#include "runtime/data/conversion/cluster_swap.h"
#include "runtime/data/conversion/directory_swap.h"
#include "runtime/isam/common/cluster_address.h"

namespace marigold::inner {

std::unique_ptr<FileSwap> FileSwap::of(const std::string& base, FileType type) {
  if (is_cluster_address(base)) return std::make_unique<ClusterSwap>(base, type);
  return std::make_unique<DirectorySwap>(base, type);
}

std::string FileSwap::new_base() const {
  return data_path_with(base_, ".converting");
}

std::string FileSwap::kept_base(double version) const {
  return data_path_with(base_, ".version-" + version_text(version));
}

}  // namespace marigold::inner
