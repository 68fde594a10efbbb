// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <string_view>
#include <unordered_set>

#include "runtime/platform/stream.h"
#include "runtime/print/files/list_install.h"
#include "tools/lists/commands.h"
#include "tools/lists/load.h"

namespace marigold::inner {
namespace {

// A kept list cannot have a block without code.
void check_kept(const std::string& directory, const StoredList& list, Problems& problems) {
  for (const StoredBlock& block : list.blocks) {
    if (block.fault.empty()) continue;
    problems.push_back(directory + ": list " + list.name + ", block " + block.name + ": " +
                       block.fault + "; compile this list, too");
  }
}

// Returns the lists that the directory will have.
std::vector<StoredList> merged(const std::string& directory, std::vector<StoredList> old_lists,
                               const std::vector<StoredList>& lists, Problems& problems) {
  std::vector<StoredList> result = lists;
  std::unordered_set<std::string_view> compiled;
  for (const StoredList& list : lists)
    compiled.insert(list.name);
  for (StoredList& list : old_lists) {
    if (compiled.contains(list.name)) continue;
    check_kept(directory, list, problems);
    result.push_back(std::move(list));
  }
  std::ranges::sort(result, {}, &StoredList::name);
  return result;
}

int install(const ListsCompile& options, const std::vector<StoredList>& lists) {
  working_on(options.output);
  const ListFiles& files = options.own ? kOwnListFiles : kPlainListFiles;
  ListInstallation installation(options.output, files);
  std::string problem;
  std::vector<StoredList> old_lists;
  if (!installation.begin(problem) || !stored_lists_read(options.output, files, old_lists, problem))
    return report_unusable({problem});
  Problems problems;
  const std::vector<StoredList> all = merged(options.output, std::move(old_lists), lists, problems);
  if (!problems.empty()) return report_unusable(problems);
  if (!installation.put_in_place(all, problem)) return report_unusable({problem});
  if (options.verbose || stream_is_terminal(Stream::kError))
    report(options.output + ": " + counted(all.size(), "list") + ", " +
           std::to_string(lists.size()) + " of them compiled now");
  return kExitClean;
}

}  // namespace

int lists_compile(const ListsCompile& options) {
  const LoadedSources loaded = load_sources(options.sources);
  for (const std::string& message : loaded.messages)
    report(message);
  if (!loaded.unreadable.empty()) return report_unusable(loaded.unreadable);
  return loaded.errors ? kExitFindings : install(options, loaded.lists);
}

}  // namespace marigold::inner
