// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/common/fatal.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "runtime/isam/common/isam.h"
#include "runtime/platform/last_words.h"
#include "runtime/platform/new_file.h"

namespace marigold::inner::isam {
namespace {

constexpr const char* kReportFile = "disam.err";
constexpr const char* kVersion = "version 3.4 (325.1)";
constexpr std::size_t kDeepestNest = 8;

struct State {
  std::array<const char*, kDeepestNest> active{};
  std::size_t depth = 0;
};

constinit State state;

std::string report_of(const std::string& base, const char* module, int line) {
  std::string text = "\nFATAL: " + base + "\nerror " + std::to_string(iserrno) + " in " + module +
                     " line " + std::to_string(line) + " ( version " + kVersion + " )\n";
  constexpr std::size_t kNameLength = 8;
  for (std::size_t i = 0; i < state.depth && i < kDeepestNest; ++i)
    text.append(std::string_view(state.active[i]).substr(0, kNameLength)).append(" ");
  return text + "\n";
}

}  // namespace

OperationScope::OperationScope(const char* name) {
  if (state.depth < kDeepestNest) state.active[state.depth] = name;
  ++state.depth;
}

OperationScope::~OperationScope() {
  --state.depth;
}

void fatal_inconsistency(const std::string& base, const char* module, int line) {
  last_words_begin();
  const std::string report = report_of(base, module, line);
  std::fputs(report.c_str(), stderr);
  static_cast<void>(file_append(kReportFile, report));  // standard error has the report as well
  std::exit(EXIT_FAILURE);
}

}  // namespace marigold::inner::isam
