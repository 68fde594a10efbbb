// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <sstream>

#include "runtime/core/new_files.h"
#include "runtime/platform/named_file.h"
#include "runtime/print/files/list_install.h"
#include "runtime/texte/code_set.h"
#include "tools/common/json_text.h"
#include "tools/common/report.h"
#include "tools/list_language/source.h"
#include "tools/lists/commands.h"

namespace marigold::inner {
namespace {

std::string utf8(const CodeSet& code_set, const std::string& bytes) {
  std::string text;
  code_set.to_text(bytes, text);
  return text;
}

Json source_lines(const std::string& source) {
  Json lines = Json::array();
  std::istringstream stream(source);
  for (std::string line; std::getline(stream, line);)
    lines.push_back(line);
  return lines;
}

Json as_json(const StoredList& list) {
  CodeSet latin1;
  std::string reason;
  latin1.open("8859", reason);
  Json blocks = Json::array();
  for (const StoredBlock& block : list.blocks) {
    const std::string same(block.same == '\0' ? 0 : 1, block.same);
    blocks.push_back(Json::object({{"BLOCK", utf8(latin1, block.name)},
                                   {"SAME", utf8(latin1, same)},
                                   {"REP", block.repeat},
                                   {"ZEIL", block.footer_lines},
                                   {"BLEN", block.length},
                                   {"source", source_lines(show_block(block, list))}}));
  }
  return Json::object({{"LISTE", utf8(latin1, list.name)},
                       {"PL", list.page_length},
                       {"EZ", list.first_line},
                       {"LZ", list.last_line},
                       {"ES", list.start_column},
                       {"CPI", list.pitch},
                       {"NAME", utf8(latin1, list.output_name)},
                       {"ABRTXT", utf8(latin1, list.abort_text)},
                       {"blocks", blocks}});
}

// Returns the requested lists, in the order of their names.
std::vector<StoredList> chosen(const ListsShow& options, const std::string& path,
                               std::vector<StoredList> lists, Problems& problems) {
  if (options.lists.empty()) return lists;
  for (const std::string& name : options.lists) {
    if (std::ranges::find(lists, name, &StoredList::name) == lists.end())
      problems.push_back(std::string(path).append(": has no list ").append(name));
  }
  std::erase_if(lists, [&](const StoredList& list) {
    return std::ranges::find(options.lists, list.name) == options.lists.end();
  });
  return lists;
}

void leave_out_damaged(const std::string& path, StoredList& list, Problems& problems) {
  for (const StoredBlock& block : list.blocks) {
    if (!block.fault.empty())
      problems.push_back(path + ": list " + list.name + ", block " + block.name + ": " +
                         block.fault);
  }
  std::erase_if(list.blocks, [](const StoredBlock& block) { return !block.fault.empty(); });
}

}  // namespace

int lists_show(const ListsShow& options) {
  const ListFiles& files = options.own ? kOwnListFiles : kPlainListFiles;
  const std::string path = list_file_path(options.directory, files.lists);
  working_on(path);
  std::string problem;
  ListFilesHold hold;
  if (!hold.begin(options.directory, files, problem)) return report_unusable({problem});
  constexpr int kNoSuchFile = 2;
  if (!file_exists((path + ".dat").c_str()))
    return report_unusable({file_error(path, kNoSuchFile)});
  std::vector<StoredList> lists;
  if (!stored_lists_read(options.directory, files, lists, problem))
    return report_unusable({problem});
  Problems missing;
  lists = chosen(options, path, std::move(lists), missing);
  if (!missing.empty()) return report_unusable(missing);
  Problems damaged;
  std::string output;
  for (StoredList& list : lists) {
    leave_out_damaged(path, list, damaged);
    if (options.json) {
      output += as_json(list).line();
    } else {
      output.append(output.empty() ? "" : "\n").append(show_list(list));
    }
  }
  for (const std::string& line : damaged)
    report(line);
  return write_output(output, damaged.empty() ? kExitClean : kExitFindings);
}

}  // namespace marigold::inner
