#include "runtime/isam/fatal.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "runtime/isam/isam.h"

namespace marigold::isam {
namespace {

constexpr const char* kReportFile = "disam.err";
constexpr const char* kVersion = "version 3.4 (325.1)";
constexpr std::size_t kDeepestNest = 8;

struct State {
  std::array<const char*, kDeepestNest> active{};
  std::size_t depth = 0;
};

constinit State state;

void write_report(std::FILE* to, const std::string& base, const char* module, int line) {
  std::fprintf(to, "\nFATAL: %s", base.c_str());
  std::fprintf(to, "\nerror %d in %s line %d ( version %s )\n", iserrno, module, line, kVersion);
  for (std::size_t i = 0; i < state.depth && i < kDeepestNest; ++i)
    std::fprintf(to, "%.8s ", state.active[i]);
  std::fputc('\n', to);
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
  write_report(stderr, base, module, line);
  if (std::FILE* file = std::fopen(kReportFile, "a")) {
    write_report(file, base, module, line);
    std::fclose(file);
  }
  std::exit(EXIT_FAILURE);
}

}  // namespace marigold::isam
