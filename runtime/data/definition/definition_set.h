// SPDX-License-Identifier: GPL-3.0-or-later
// Definition sets: the text files that define an application's data files. Each file holds one set.
//
// The set DATA is the file FILEDATA.DES in the definitions directory (DEFINITION_DIRECTORY).
// docs/formats/definitions.md describes the language, scan_tokens.h its tokens. One grammar serves
// the runtime, which stops at the first error, and the author's checker, which reports all errors.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "marigold/data.h"  // IWYU pragma: export
#include "runtime/data/definition/definition.h"
#include "runtime/data/definition/scan_tokens.h"

namespace marigold::inner {

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
  std::vector<ScannedFile> files;  // the files without an error
  std::vector<ScanError> errors;
};

enum class AfterScanError { kStop, kNextDefinition };

// Scans the text of a set into a result of its own, and neither reads nor changes the list of
// definitions. Raises and prints nothing. The length of the text bounds the cost, whatever numbers
// the text holds.
DefinitionScan scan_definitions(std::string_view text, AfterScanError after_error);

// Returns the path of a set's file, from the settings.
std::string definition_set_path(std::string_view set_name);

// Of the set loaded last: "FILE" and the set's name, and the line of the error; 1 without one.
std::string_view definition_set_name();
int definition_set_line();

// Whether the runtime gives the line of this error to the user interface (fault_in_line) before it
// raises the error. It does not for errors of the grammar. Users know both forms from other
// programs of the platform.
bool definition_set_line_shown(int error_number);

}  // namespace marigold::inner
