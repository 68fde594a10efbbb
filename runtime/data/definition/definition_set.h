// Definition sets: the text files that define an application's data files, one set a file.
//
// The set DATA is the file FILEDATA.DES in the definitions directory (DEFINITION_DIRECTORY). The
// language: docs/formats/definitions.md; its tokens: scan_tokens.h. One grammar serves the runtime,
// which ends at the first error, and the author's checker, which wants them all.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "marigold/data.h"  // IWYU pragma: export
#include "runtime/data/definition/definition.h"
#include "runtime/data/definition/scan_tokens.h"

namespace marigold {

struct ScanError {
  int number = 0;  // of the system error, see ScanErrorNumber
  int line = 0;    // from 1
  std::string expected;
  std::string found;  // the token at fault or a part of it; empty at the end of the set
};

struct ScannedFile {
  std::unique_ptr<FileDefinition> definition;
  int line = 0;  // of its BEGINFILE
};

struct DefinitionScan {
  std::vector<ScannedFile> files;  // those without an error
  std::vector<ScanError> errors;
};

enum class AfterScanError { kStop, kNextDefinition };

// Scans the text of a set into a result of its own; the list of definitions is neither looked at
// nor changed. Raises and prints nothing. The cost is bounded by the length of the text, whatever
// numbers it holds.
DefinitionScan scan_definitions(std::string_view text, AfterScanError after_error);

// The path of a set's file, from the settings.
std::string definition_set_path(std::string_view set_name);

// Of the set loaded last: "FILE" and the set's name, and the line of the error; 1 without one.
std::string_view definition_set_name();
int definition_set_line();

// Whether the user interface is given the line of this error (fault_in_line) before it is raised.
// Not for those of the grammar; users know both forms from other programs of the platform.
bool definition_set_line_shown(int error_number);

}  // namespace marigold
