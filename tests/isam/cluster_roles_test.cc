// SPDX-License-Identifier: GPL-3.0-or-later
// Each role that docs/cluster_roles.sql makes may do what docs/cluster.md says of it, and no more.

#include <algorithm>
#include <cstdlib>

#include "bench/database/database_server.h"
#include "runtime/isam/common/cluster_address.h"
#include "tests/isam/support.h"

namespace marigold::inner::test {
namespace {

// Columns, indexes and settings of the runtime's tables in a schema.
std::string shape_of(SqlSession& sql, const std::string& schema) {
  return sql.run(
      "SELECT string_agg(line, E'\\n' ORDER BY line) FROM (SELECT concat_ws(' ', table_name, "
      "column_name, data_type, is_nullable, column_default) AS line FROM information_schema.columns "
      "WHERE table_schema = '" +
      schema +
      "' AND table_name LIKE 'marigold%' UNION ALL SELECT "
      "concat_ws(' ', relname, relkind, reloptions) FROM pg_class WHERE relname LIKE 'marigold%' "
      "AND relnamespace = to_regnamespace('" +
      schema + "')) lines");
}

TEST(ClusterRolesTest, EachMayDoItsPartAndNoMore) {
  const std::string database = shared_server().make_database();
  const std::string server = shared_server().address(database);
  SqlSession sql(server);
  const auto run_script = [&] {
    const std::string command = "psql -X -q -v schema=shop -f '" CLUSTER_ROLES "' '" + server + "'";
    return std::system(command.c_str());
  };
  ASSERT_EQ(run_script(), 0);
  const std::string user = database + "_user_";
  for (const char* const role : {"readers", "programs", "makers"}) {
    std::string statement = "CREATE USER " + user + role;
    sql.run(statement.append(" IN ROLE ").append(database).append("_").append(role));
  }
  sql.run("CREATE USER " + user + "others");
  sql.run("ALTER USER " + user + "makers SET role = " + database + "_makers");

  const auto base = [&](const std::string& role, const std::string& file) {
    return cluster_join(server + "/shop?user=" + user + role, file);
  };
  const auto outcome = [](int file) {
    if (file >= 0) {
      EXPECT_EQ(ISCLOSE(file), 0) << isreason();
      return std::string("done");
    }
    const std::string reason = isreason();
    return std::to_string(iserrno) + reason.substr(std::min(reason.rfind(": "), reason.size()));
  };
  const int made = ISBUILD(base("makers", "file").c_str(), 8, kPrimary, kExclusiveMode);
  ASSERT_GE(made, 0) << isreason();
  play(made, "w1x");
  EXPECT_EQ(ISADDINDEX(made, kLetter), 0) << isreason();
  ASSERT_EQ(ISCLOSE(made), 0);

  const std::string no_schema = "13: permission denied for schema shop";
  struct Row {
    std::string role, reads, changes, makes;
  };
  const Row rows[] = {
      {"others", no_schema, no_schema, no_schema},
      {"readers", "done", "13: permission denied for table marigold_sessions",
       "13: permission denied for sequence marigold_numbers"},
      {"programs", "done", "done", "13: permission denied for sequence marigold_numbers"},
      {"makers", "done", "done", "done"},
  };
  // The second run of the script finds all of it as it was.
  for (int round = 0; round < 2; ++round) {
    for (const auto& [role, reads, changes, makes] : rows) {
      SCOPED_TRACE(role);
      const std::string file = base(role, "file");
      const int reading = ISOPEN(file.c_str(), kIsInput | kIsReadOnly | kIsManualLock);
      if (reading >= 0) play(reading, "e1=1x");
      EXPECT_EQ(outcome(reading), reads);
      const int writing = ISOPEN(file.c_str(), kSharedMode);
      if (writing >= 0) play(writing, "w2y E2=2y d2 r");
      EXPECT_EQ(outcome(writing), changes);
      const std::string fresh = base(role, "new" + std::to_string(round));
      EXPECT_EQ(outcome(ISBUILD(fresh.c_str(), 8, kPrimary, kSharedMode)), makes);
    }
    for (const auto& [role, statement] : {std::pair{"programs", "DROP TABLE shop.f1"},
                                          {"programs", "DELETE FROM shop.marigold_files"},
                                          {"makers", "DROP TABLE shop.marigold_files"}})
      EXPECT_EQ(sql.state_of("SET ROLE " + database + "_" + role + "; " + statement), "42501");
    sql.run("RESET ROLE");
    EXPECT_EQ(run_script(), 0);
  }

  // The script's tables are those that the engine makes itself.
  const std::string alone = cluster_join(server + "/alone", "file");
  ASSERT_EQ(outcome(ISBUILD(alone.c_str(), 8, kPrimary, kSharedMode)), "done");
  EXPECT_EQ(shape_of(sql, "shop"), shape_of(sql, "alone"));
  EXPECT_NE(shape_of(sql, "alone").find("fillfactor"), std::string::npos);
}

}  // namespace
}  // namespace marigold::inner::test
