// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/shared_library.h"

#include <dlfcn.h>

namespace marigold::inner {

void* shared_library_load(const char* name, std::string& reason) {
  void* const library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) reason = dlerror();
  return library;
}

void* shared_library_function(void* library, const char* name) {
  return dlsym(library, name);
}

}  // namespace marigold::inner
