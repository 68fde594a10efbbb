// SPDX-License-Identifier: GPL-3.0-or-later
#include "tools/lists/load.h"

#include <algorithm>
#include <map>

#include "runtime/core/new_files.h"
#include "runtime/core/settings.h"
#include "runtime/data/definition/definition_set.h"
#include "runtime/platform/named_file.h"
#include "tools/records/data_target.h"

namespace marigold::inner {
namespace {

bool load_fields(const std::string& set, KnownFields& fields, Problems& problems) {
  const std::string path = definition_path_of(set);
  DefinitionScan scan;
  if (!scan_set(path, scan, problems)) return false;
  for (const ScannedFile& file : scan.files) {
    for (const FieldDefinition& field : file.definition->fields) {
      int& elements = fields[std::string(field.name.view())];
      elements = std::max(elements, static_cast<int>(field.times));
    }
  }
  return true;
}

class Loader {
 public:
  explicit Loader(LoadedSources& loaded) : loaded_(loaded) {}

  void load(const std::string& path, const KnownFields* fields) {
    working_on(path);
    std::string text;
    if (const int error = file_read(path.c_str(), text)) {
      loaded_.unreadable.push_back(file_error(path, error));
      return;
    }
    CompiledSource source = compile_lists(text, fields);
    check_names(path, source);
    for (const SourceNote& note : source.notes)
      loaded_.messages.push_back(as_message(path, note));
    std::size_t blocks = 0;
    for (const SourceList& list : source.lists)
      blocks += list.list.blocks.size();
    if (source.has_errors()) {
      loaded_.errors = true;
    } else {
      loaded_.summaries.push_back(path + ": " + counted(source.lists.size(), "list") + ", " +
                                  counted(blocks, "block"));
    }
    for (SourceList& list : source.lists)
      loaded_.lists.push_back(std::move(list.list));
  }

 private:
  // Notes lists of this source that an earlier source has. Lists twice in one source are noted
  // already.
  void check_names(const std::string& path, CompiledSource& source) {
    for (const SourceList& list : source.lists) {
      const auto earlier = places_.find(list.list.name);
      if (earlier == places_.end() || list.list.name.empty()) continue;
      source.notes.push_back({.line = list.line,
                              .column = 1,
                              .warning = false,
                              .message = "this list is in " + earlier->second + " already"});
    }
    for (const SourceList& list : source.lists)
      places_.emplace(list.list.name, path + ":" + std::to_string(list.line));
    std::ranges::stable_sort(source.notes, {}, &SourceNote::line);
  }

  LoadedSources& loaded_;
  std::map<std::string, std::string> places_;
};

}  // namespace

LoadedSources load_sources(const ListsSources& sources) {
  settings_read();
  LoadedSources loaded;
  KnownFields fields;
  const bool all_known = sources.definitions.empty();
  if (!all_known && !load_fields(sources.definitions, fields, loaded.unreadable)) return loaded;
  Loader loader(loaded);
  for (const std::string& path : sources.paths)
    loader.load(path, all_known ? nullptr : &fields);
  return loaded;
}

}  // namespace marigold::inner
