// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/files/list_files.h"

#include "runtime/core/settings.h"
#include "runtime/data/access/data_handle.h"
#include "runtime/data/definition/definition_set.h"
#include "runtime/platform/path.h"

namespace marigold::inner {
namespace {

// A list's page is given in lines (PL, EZ, LZ), columns (ES) and characters per inch (CPI); NAME is
// the name of its output, ABRTXT the last text of a list that was aborted. A block has its offset
// in the store (OFF), "J" in SAME if it stays on one page, its number of repetitions (REP), its
// lines as a footer (ZEIL) and its length in lines (BLEN).
constexpr std::string_view kDefinitions = R"(
BEGINFILE NAME ILISTEN VERSION 1 PATH 0 LEN 160 TYPE ISAM
BEGINFIELD
  FIELD LISTE  TYPE STRING 20 PREVAL NIL
  FIELD PL     TYPE INT       PREVAL 72
  FIELD ES     TYPE INT       PREVAL 1
  FIELD EZ     TYPE INT       PREVAL 1
  FIELD LZ     TYPE INT       PREVAL 72
  FIELD CPI    TYPE INT       PREVAL 10
  FIELD NAME   TYPE STRING 40 PREVAL NIL
  FIELD ABRTXT TYPE STRING 80 PREVAL NIL
ENDFIELD
BEGINKEY KEY 1 SEGMENT 1 IS LISTE ENDKEY
ENDFILE
BEGINFILE NAME IBLOECKE VERSION 1 PATH 0 LEN 64 TYPE ISAM
BEGINFIELD
  FIELD LISTE TYPE STRING 20 PREVAL NIL
  FIELD BLOCK TYPE STRING 20 PREVAL NIL
  FIELD OFF   TYPE LONGINT   PREVAL 0
  FIELD SAME  TYPE CHAR      PREVAL 'N'
  FIELD REP   TYPE INT       PREVAL 0
  FIELD ZEIL  TYPE INT       PREVAL 0
  FIELD BLEN  TYPE INT       PREVAL 0
ENDFIELD
BEGINKEY KEY 1 SEGMENT 1 IS LISTE KEY 1 SEGMENT 2 IS BLOCK ENDKEY
ENDFILE
END.)";

struct State {
  std::string directory;
};
State state;

FileDefinition plain_twin(std::string_view text, std::size_t index) {
  FileDefinition definition =
      std::move(*scan_definitions(text, AfterScanError::kStop).files.at(index).definition);
  definition.name = DefinitionName(DefinitionName(definition.name).view().substr(1));
  return definition;
}

// The files lie beside the block store, where the compiler puts them.
void define(FileDefinition definition) {
  const DefinitionName name = definition.name;
  if (definition_add(std::move(definition)))
    data_file(name.view()).explicit_path = path_join(list_directory(), name.view());
}

}  // namespace

void list_files_define() {
  DefinitionScan own = scan_definitions(kDefinitions, AfterScanError::kStop);
  for (std::size_t index = 0; index < own.files.size(); ++index) {
    define(plain_twin(kDefinitions, index));
    define(std::move(*own.files[index].definition));
  }
}

void list_files_use(std::string_view directory) {
  state.directory = directory;
  list_files_define();
  for (const ListFiles& files : {kOwnListFiles, kPlainListFiles}) {
    for (const std::string_view name : {files.lists, files.blocks})
      data_file(name).explicit_path = path_join(list_directory(), name);
  }
}

std::string list_directory() {
  return state.directory.empty() ? std::string(settings().print_directory.view()) : state.directory;
}

std::string list_store_path(const ListFiles& files) {
  return path_join(list_directory(), files.store);
}

}  // namespace marigold::inner
