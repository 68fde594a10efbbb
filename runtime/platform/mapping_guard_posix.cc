#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>

#include "runtime/platform/mapping_guard.h"

namespace marigold {
namespace {

struct State {
  int guards = 0;
  struct sigaction action_before {};
  std::uintptr_t page_size = 0;
  volatile std::sig_atomic_t hit = 0;
};
State state;

// Puts a page of zeros in the place of the one that is gone, and the reading goes on. Anything else
// happens again when this returns, to the handler that was there before.
void on_bus_error(int, siginfo_t* info, void*) {
  const auto address = reinterpret_cast<std::uintptr_t>(info->si_addr);
  void* const page = reinterpret_cast<void*>(address - address % state.page_size);
  const bool beyond_end = info->si_code == BUS_ADRERR;
  const int flags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED;
  if (beyond_end && mmap(page, state.page_size, PROT_READ, flags, -1, 0) == page) {
    state.hit = 1;
  } else {
    sigaction(SIGBUS, &state.action_before, nullptr);
  }
}

std::int64_t size_of(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 ? status.st_size : 0;
}

}  // namespace

MappingGuard::MappingGuard(int descriptor) : descriptor_(descriptor), size_(size_of(descriptor)) {
  if (state.guards++ > 0) return;
  state.hit = 0;
  state.page_size = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  struct sigaction action {};
  action.sa_sigaction = on_bus_error;
  action.sa_flags = SA_SIGINFO;
  sigaction(SIGBUS, &action, &state.action_before);
}

MappingGuard::~MappingGuard() {
  if (--state.guards == 0) sigaction(SIGBUS, &state.action_before, nullptr);
}

bool MappingGuard::was_hit() {
  return state.hit != 0;
}

bool MappingGuard::file_is_shorter() const {
  return size_of(descriptor_) < size_;
}

}  // namespace marigold
