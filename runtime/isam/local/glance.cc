// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/glance.h"

#include <algorithm>
#include <cstring>

#include "runtime/isam/local/change.h"
#include "runtime/isam/local/count_text.h"
#include "runtime/isam/local/data_headers.h"

namespace marigold::inner::isam {
namespace {

// The first whole copy of the header opens the file; the other one must be there for the day when
// that copy is damaged.
void look_at_headers(const File& file, std::vector<std::string>& findings) {
  const std::span<const std::byte> head(file.data.memory(), kDataStart);
  const auto first = whole_header(head, kDataHeaders[0]);
  const auto second = whole_header(head, kDataHeaders[1]);
  if (!first || !second) {
    findings.push_back(std::string("the ") + (first ? "second" : "first") +
                       " copy of the data file's header is damaged");
  } else if (std::memcmp(&*first, &*second, sizeof(DataHeader)) != 0) {
    findings.emplace_back("the two copies of the data file's header differ");
  }
}

void look_at_counts(const File& file, const Contents& contents,
                    std::vector<std::string>& findings) {
  if (contents.record_count > contents.slot_count)
    findings.push_back(records_text(contents.record_count) + " in " +
                       count_text(contents.slot_count, "slot", "slots"));
  if (contents.free_pages >= contents.page_count)
    findings.push_back(count_text(contents.free_pages, "free page", "free pages") +
                       " in a file of " + count_text(contents.page_count, "page", "pages"));
  for (std::size_t tree = 0; tree < file.trees.size(); ++tree) {
    const TreeHeader& root = contents.trees[tree];
    const std::string key = "key " + std::to_string(tree + 1) + ": ";
    if (root.entries != contents.record_count)
      findings.push_back(key + entries_text(root.entries) + " for " +
                         records_text(contents.record_count));
    if (root.root == 0 || root.root >= contents.page_count || root.levels < 1)
      findings.push_back(key + "its root is outside the file");
  }
}

// Reads the contents of one moment between two changes.
int read_contents(File& file, Contents& contents) {
  std::uint64_t changes = 0;
  do {
    if (const int failed = read_begin(file, changes)) return failed;
    contents = file.contents();
  } while (!read_was_whole(file, changes));
  return 0;
}

}  // namespace

int file_glance(File& file, std::vector<std::string>& findings) {
  Contents contents;
  if (const int failed = read_contents(file, contents)) return failed;
  look_at_headers(file, findings);
  look_at_counts(file, contents, findings);
  return 0;
}

int file_fill(File& file, double& fill) {
  Contents contents;
  if (const int failed = read_contents(file, contents)) return failed;
  const std::uint64_t pages = std::min(contents.page_count, file.index_space / kPageSize);
  std::uint64_t used = 0;
  std::uint64_t nodes = 0;
  for (std::uint64_t page = kUndoStart + file.header().undo_pages; page < pages; ++page) {
    PageHeader header;
    std::memcpy(&header, file.page(page), sizeof header);
    if (header.kind != kLeaf && header.kind != kInner) continue;
    used += std::min<std::uint64_t>(node_space(header), kNodeSpace);
    ++nodes;
  }
  fill = nodes == 0 ? 0 : static_cast<double>(used) / static_cast<double>(nodes * kNodeSpace);
  return 0;
}

}  // namespace marigold::inner::isam
