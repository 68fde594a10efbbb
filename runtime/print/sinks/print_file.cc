// SPDX-License-Identifier: GPL-3.0-or-later
// The file that a list is printed into (marigold/output.h).

#include "marigold/output.h"
#include "runtime/core/output_file.h"

namespace marigold {

using namespace inner;

namespace {

constexpr std::size_t kBuffer = std::size_t{64} << 10;

struct State {
  OutputFile file;
  std::string bytes;
  std::string problem;
};
State state;

void send() {
  if (state.problem.empty() && !state.bytes.empty()) state.file.write(state.bytes, state.problem);
  state.bytes.clear();
}

}  // namespace

bool print_file_open(const std::string& path, std::string& reason) {
  state = {};
  return state.file.open(path, reason);
}

void print_file_write(std::string_view bytes) {
  state.bytes.append(bytes);
  if (state.bytes.size() >= kBuffer) send();
}

void print_file_fail(std::string_view reason) {
  if (state.problem.empty()) state.problem = reason;
}

int print_file_close() {
  send();
  if (state.problem.empty()) state.file.finish(state.problem);
  state.file = {};
  return state.problem.empty() ? 0 : 1;
}

const std::string& print_file_problem() {
  return state.problem;
}

}  // namespace marigold
