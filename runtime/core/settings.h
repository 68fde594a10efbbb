// SPDX-License-Identifier: GPL-3.0-or-later
// Runtime settings from the environment: screen, languages, users and debugging.
//
// Process-wide. The process reads these settings once at start-up and once more at the first use of
// the text databases, so a later change of a variable has no effect. An unset variable counts as
// empty.
#pragma once

#include "runtime/core/runtime_string.h"

namespace marigold::inner {

struct Settings {
  bool screen_dump = false;                 // SCREEN_DUMP is "ENABLED"
  bool assigned_function_keys_only = true;  // FUNCTION_KEYS is anything but "DISPLAY_ALL"
  RuntimeString language_searchpath;        // LANGUAGE_SEARCHPATH
  RuntimeString language_identifier;        // LANGUAGE_IDENTIFIER
  bool multi_user = false;                  // IS_MULTIUSER is "TRUE"
  bool debug = false;                       // DEBUG is "TRUE"
  bool debug_function_keys = false;         // with DEBUG only: DEBUGFUNCTIONKEYS is "TRUE"
  bool debug_timer = false;            // with DEBUG only: DEBUGTIMER is "TRUE"; nothing reads it
  RuntimeString definition_directory;  // DEFINITION_DIRECTORY: definition sets, version tables
  RuntimeString data_directory;        // DATA_DIRECTORY: of a path class, its number for "%p"
  RuntimeString print_directory;       // PRINT_DIRECTORY: block stores, runtime defaults
};

// The open parts of the runtime. Each part sets its own flag; the orderly shutdown closes the
// flagged parts.
struct OpenSubsystems {
  bool window_system = false;
  bool status_file = false;
  bool path_locks = false;
  bool data_files = false;
  bool print_engine = false;
  bool print_output = false;
};

inline constexpr const char* kDefaultSearchpath =
    "./locale/%l/%t/%c/%N;./locale/%l/%c/%N;./locale/%l/%t/%N;./locale/%l/%N;./locale/default/%N";
inline constexpr const char* kDefaultIdentifier = "english_us.8859";

// Version of the runtime that a full application passes to the window system.
inline constexpr const char* kRuntimeVersion = "SYSTEM  V1.62 (13.02.1994)";

// Fills the settings from the environment and clears all flags of OpenSubsystems. Call it before
// anything else of the runtime. A value of 250 characters or more is system error 17, and the
// function does not return.
void settings_read();

// Returns the settings as last read; before that, the defaults of the record with empty texts.
const Settings& settings();

OpenSubsystems& open_subsystems();

// Copies the value of one environment variable, or an empty text if it is not set. Fails as
// settings_read does.
void settings_read_variable(const char* name, RuntimeString& target);

}  // namespace marigold::inner
