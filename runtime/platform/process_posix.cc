#include "runtime/platform/process.h"

#include <unistd.h>

#include <array>

namespace marigold {

long process_number() {
  return getpid();
}

std::string host_name() {
  std::array<char, 256> name{};
  if (gethostname(name.data(), name.size() - 1) != 0) return "";
  const std::string whole = name.data();
  return whole.substr(0, whole.find('.'));
}

}  // namespace marigold
