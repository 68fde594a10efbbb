#include "runtime/data/data_fatal.h"

#include <cstdio>

#include "runtime/core/current_operation.h"
#include "runtime/core/user_interface.h"

namespace marigold {
namespace {

constexpr int kFirstOfEngine = 100;
constexpr int kFirstOfSystem = 1000;

}  // namespace

void data_fatal(const char* name, int error) {
  std::fprintf(stderr, "\nstr: %s\n", *name == '\0' ? current_operation() : name);
  raise_fatal(error < kFirstOfEngine ? kFirstOfSystem + error : error);
}

}  // namespace marigold
