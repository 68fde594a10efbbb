// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/data/definition/definition_set.h"

#include <utility>

#include "runtime/core/settings.h"
#include "runtime/core/user_interface.h"
#include "runtime/data/definition/definition_scanner.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/path.h"

namespace marigold {

using namespace inner;

namespace {

struct State {
  RuntimeString set_name;  // cut, because it is only shown
  int line = 1;
};

constinit State state;

[[noreturn]] void raise_at(int line, int number) {
  state.line = line;
  if (definition_set_line_shown(number))
    user_interface().fault_in_line(state.set_name.c_str(), state.line);
  raise_fatal(number);
}

// Refuses a set that defines a file again. Called before any file of the set enters the list.
void refuse_defined(const std::vector<ScannedFile>& files) {
  for (const ScannedFile& file : files) {
    if (definition_find(file.definition->name.view()) != nullptr) raise_at(file.line, kScanSyntax);
  }
}

}  // namespace

DefinitionScan inner::scan_definitions(std::string_view text, AfterScanError after_error) {
  return DefinitionScanner(text, after_error).run();
}

std::string inner::definition_set_path(std::string_view set_name) {
  const std::string name = std::string("FILE").append(set_name).append(".DES");
  return path_join(settings().definition_directory.view(), name);
}

void definition_set_load(std::string_view set_name) {
  state = State{};
  state.set_name.assign_cut("FILE");
  state.set_name.append_cut(set_name);
  std::string text;
  if (file_read(definition_set_path(set_name).c_str(), text) != 0) raise_at(1, kScanUnexpectedEnd);
  DefinitionScan scan = scan_definitions(text, AfterScanError::kStop);
  if (!scan.errors.empty()) raise_at(scan.errors[0].line, scan.errors[0].number);
  refuse_defined(scan.files);
  for (ScannedFile& file : scan.files)
    definition_add(std::move(*file.definition));
  definitions_mark_loaded();
}

std::string_view inner::definition_set_name() {
  return state.set_name.view();
}

int inner::definition_set_line() {
  return state.line;
}

bool inner::definition_set_line_shown(int error_number) {
  return error_number == kScanWordTooLong || error_number == kScanValueTooLong ||
         (error_number >= kScanIfdefUnexpected && error_number <= kScanBadQualifier);
}

}  // namespace marigold
