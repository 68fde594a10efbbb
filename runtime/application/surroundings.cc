// SPDX-License-Identifier: GPL-3.0-or-later
// What an application needs beside it. The sentences are English: the texts may be what is missing.
#include <algorithm>
#include <initializer_list>
#include <string>

#include "marigold/application.h"
#include "runtime/core/settings.h"
#include "runtime/data/definition/definition_set.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/path.h"

namespace marigold {

using namespace inner;

namespace {

bool has_text(const char* id) {
  const int handle = txt_open(nullptr, "textdb");
  const bool found = txt_fetch(handle, id) != nullptr;
  txt_close(handle);
  return found;
}

bool are_there(const std::string& directory, std::initializer_list<const char*> names) {
  return std::ranges::all_of(names, [&directory](const char* name) {
    return file_exists(path_join(directory, name).c_str());
  });
}

// The defaults, and the definition files of lists: the installation's own or the plain ones.
bool has_lists(const std::string& directory) {
  return are_there(directory, {"DEFAULT.DAT"}) &&
         (are_there(directory, {"LISTEN.dat", "LISTEN.idx", "BLOECKE.dat", "BLOECKE.idx"}) ||
          are_there(directory, {"ILISTEN.dat", "ILISTEN.idx", "IBLOECKE.dat", "IBLOECKE.idx"}));
}

}  // namespace

std::string runtime_missing(const Surroundings& needed) {
  settings_read();
  const std::string program = std::string(needed.program) + ": ";
  if (*needed.text_id != '\0' && !has_text(needed.text_id))
    return program + "No text database with the texts of this program was found for " +
           settings().language_identifier.c_str() +
           ". Start the program in its folder, or set LANGUAGE_SEARCHPATH.";
  const std::string set = needed.definition_set;
  if (!set.empty() && !file_exists(definition_set_path(set).c_str()))
    return program + settings().definition_directory.c_str() + " has no FILE" + set +
           ".DES. Start the program in its folder, or set DEFINITION_DIRECTORY.";
  const std::string print = settings().print_directory.c_str();
  if (needed.lists && !has_lists(print))
    return program + "The lists are missing in " + print +
           ". Compile them (marigold lists compile lists/*.list -o " + print +
           ") and put DEFAULT.DAT beside them, or set PRINT_DIRECTORY.";
  return "";
}

}  // namespace marigold
