// SPDX-License-Identifier: GPL-3.0-or-later
// Gives each test of this program a database of its own, on a server that all of them share.

#include "bench/database/database_server.h"
#include "tests/isam/support.h"

namespace marigold::inner::test {
namespace {

class NewDatabase : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo& /*test*/) override {
    if (!DatabaseServer::is_installed()) return;
    DatabaseServer& server = shared_server();
    test_in_cluster(server.address(server.make_database()) + "/schema");
  }
};

class OnCluster : public testing::Environment {
  void SetUp() override {
    if (!DatabaseServer::is_installed()) GTEST_SKIP() << DatabaseServer::kMissing;
  }
};

[[maybe_unused]] const testing::Environment* const kOnCluster = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new NewDatabase);
  return testing::AddGlobalTestEnvironment(new OnCluster);
}();

}  // namespace
}  // namespace marigold::inner::test
