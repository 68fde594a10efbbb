// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/private_descriptors.h"

#include <pthread.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace marigold::inner {
namespace {

struct State {
  // Never freed: connections can end after the destructors of this file.
  std::vector<int>* descriptors = nullptr;
  unsigned owner = 0;  // counts the forks on the way to this process
};
State state;

// Runs in a child before fork returns, so it makes only system calls that are allowed in a signal
// handler. Their numbers may soon be those of the child's own files, which a child of the child
// keeps.
void close_all() {
  for (const int descriptor : *state.descriptors)
    close(descriptor);
  state.descriptors->clear();
  ++state.owner;
}

}  // namespace

void private_descriptor_add(int descriptor) {
  if (state.descriptors == nullptr) {
    state.descriptors = new std::vector<int>;
    // Without this handler a forked child would keep the connection unnoticed, so a failure ends
    // the process.
    if (pthread_atfork(nullptr, nullptr, close_all) != 0) std::abort();
  }
  state.descriptors->push_back(descriptor);
}

void private_descriptor_remove(int descriptor) {
  if (state.descriptors != nullptr) std::erase(*state.descriptors, descriptor);
}

unsigned private_descriptor_owner() {
  return state.owner;
}

}  // namespace marigold::inner
