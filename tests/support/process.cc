// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/process.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace marigold::inner::test {

static const ChildBody* newest = nullptr;

ChildBody::ChildBody(const char* name, Run body) : name_(name), body_(body), next_(newest) {
  for (const ChildBody* other = newest; other != nullptr; other = other->next_) {
    if (std::strcmp(other->name_, name) != 0) continue;
    std::fprintf(stderr, "two bodies of children have the name %s\n", name);
    std::abort();
  }
  newest = this;
}

int ChildBody::run(const std::string& name, const Words& words) {
  for (const ChildBody* body = newest; body != nullptr; body = body->next_) {
    if (body->name_ == name) return body->body_(words) && !testing::Test::HasFailure() ? 0 : 1;
  }
  std::fprintf(stderr, "there is no child %s\n", name.c_str());
  return 2;
}

}  // namespace marigold::inner::test
