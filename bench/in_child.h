// A process of its own for what is measured.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

namespace marigold::bench {

// Runs a body in a process of its own, so that what it takes is not seen in the next one.
template <typename Body>
bool in_child(Body body) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    const bool done = body();
    std::fflush(nullptr);
    _exit(done ? 0 : 1);
  }
  int status = -1;
  return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

}  // namespace marigold::bench
