// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/windows/posix_names.h"

#include <stdlib.h>

#include <string>

int setenv(const char* name, const char* value, int /*overwrite*/) {
  return _putenv_s(name, value);
}

int unsetenv(const char* name) {
  return _putenv_s(name, "");
}

int clearenv() {
  while (_environ != nullptr && *_environ != nullptr) {
    const std::string entry = *_environ;
    if (unsetenv(entry.substr(0, entry.find('=', 1)).c_str()) != 0) return -1;
  }
  return 0;
}
