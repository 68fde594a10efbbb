// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/posix/cluster.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <iterator>
#include <sstream>

#include "bench/database/database_server.h"
#include "tests/support/process.h"

namespace marigold::inner::test {
namespace {

struct Server : testing::Environment {
  void SetUp() override {
    if (!DatabaseServer::is_installed()) GTEST_SKIP() << DatabaseServer::kMissing;
  }
};

[[maybe_unused]] const testing::Environment* const kServer =
    testing::AddGlobalTestEnvironment(new Server);

}  // namespace

std::string cluster_database() {
  static const std::string address = shared_server().address(shared_server().make_database());
  return address;
}

std::string new_schemas() {
  static int count = 0;
  return cluster_database() + "/test_" + std::to_string(++count) + "_%p";
}

void forget_sessions_of_the_dead() {
  SqlSession session(shared_server().address());
  const std::string select =
      "SELECT string_agg(substr(application_name, 10), ' ') FROM pg_stat_activity "
      "WHERE application_name LIKE 'marigold %'";
  const auto is_dead = [](const std::string& process) { return kill(std::stoi(process), 0) != 0; };
  for (bool found = true; found; sleep_us(500)) {
    std::istringstream processes(session.run(select));
    using Word = std::istream_iterator<std::string>;
    found = std::any_of(Word(processes), Word(), is_dead);
  }
}

}  // namespace marigold::inner::test
