// SPDX-License-Identifier: GPL-3.0-or-later
// Runs measurements in processes of their own.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace marigold::inner::bench {

// Runs a body in a process of its own, so that its memory and caches do not count in the next one.
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

// Runs a benchmark with the arguments NAME [COUNT] [DIRECTORY]: measures in a new directory below
// the given one, removes that directory and returns the exit status.
template <typename Measure>
int in_own_directory(const char* name, int argc, char** argv, Measure measure) {
  const std::uint64_t count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 1'000'000;
  const std::string parent = argc > 2 ? argv[2] : std::filesystem::temp_directory_path().string();
  std::string directory = parent + "/" + name + ".XXXXXX";
  if (count < 1 || mkdtemp(directory.data()) == nullptr) return 1;
  const bool done = measure(directory + "/file", count);
  std::filesystem::remove_all(directory);
  return done ? 0 : 1;
}

}  // namespace marigold::inner::bench
