// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/cluster/cluster_engine.h"

#include <array>
#include <cerrno>
#include <utility>
#include <vector>

#include "runtime/isam/cluster/cluster_file.h"
#include "runtime/isam/cluster/directory.h"
#include "runtime/isam/cluster/key_expression.h"
#include "runtime/isam/cluster/table_change.h"
#include "runtime/isam/common/cluster_address.h"
#include "runtime/isam/common/reason.h"
#include "runtime/platform/mapped_file.h"
#include "runtime/platform/new_file_steps.h"

namespace marigold::inner::isam {
namespace {

constexpr const char* kOnlyOnDisk = "files of a database cluster need no such work";

// ---- Opening

// Looks the file up and takes its lock. The look after the lock finds out whether another file has
// got the name meanwhile.
int lock_table(Table& table, bool exclusive) {
  Schema& schema = table.schema();
  const Number alone(exclusive ? 1 : 0);
  const Step steps[] = {{&schema.lock_file, {table.name(), alone.bytes()}},
                        {&schema.find_file, {table.name()}}};
  for (;;) {
    std::array<Rows, 2> rows;
    const int failed = schema.session().repeat([&](Connection& connection) {
      const int result = connection.run(steps, rows);
      return result == kNoTable ? ENOENT : result;
    });
    if (failed != 0) return failed;
    const auto& [locked, after] = rows;
    if (locked.count() == 0) return ENOENT;
    const bool got = locked.number(0, kGotLock) != 0;
    const bool same = after.count() == 1 && after.number(0, kNumber) == locked.number(0, kNumber);
    if (got && same) {
      const int unfit = table.take_shape(after);
      table.exclusive = exclusive;
      if (unfit != 0) static_cast<void>(unlock_file(table, locked.number(0, kId)));
      return unfit;
    }
    if (same) return kIsFileLocked;
    table.exclusive = exclusive;
    if (got) static_cast<void>(unlock_file(table, locked.number(0, kId)));
  }
}

// Runs `body(address, schema)` with the schema of an address, whose session is connected.
template <typename Body>
int with_schema(const std::string& base, Body body) {
  ClusterAddress address;
  const std::string reason = cluster_parse(base, address);
  if (!reason.empty()) return refuse(kIsBadArgument, reason);
  Schema* schema = nullptr;
  const int failed = Session::find(address, schema);
  return failed != 0 || schema == nullptr ? failed : body(address, *schema);
}

// Gives the file to its caller, who has it locked.
int take(std::shared_ptr<Table> table, const OpenMode& mode, const ClusterAddress& address,
         OpenIsamPointer& opened) {
  const int failed = mode.writes ? table->schema().begin_changes() : 0;
  if (failed != 0) {
    if (table->users == 0) static_cast<void>(unlock_file(*table, table->id()));
    return failed;
  }
  opened = std::make_unique<ClusterFile>(std::move(table), mode, address.read_ahead);
  return 0;
}

std::shared_ptr<Table>& table_of(Schema& schema, const std::string& name) {
  std::shared_ptr<Table>& table = schema.tables()[name];
  if (table == nullptr) table = std::make_shared<Table>(schema, name);
  return table;
}

int open(const std::string& base, const OpenMode& mode, OpenIsamPointer& opened) {
  return with_schema(base, [&](const ClusterAddress& address, Schema& schema) -> int {
    const std::shared_ptr<Table>& table = table_of(schema, address.file);
    if (table->users > 0 && (table->exclusive || mode.exclusive)) return kIsFileLocked;
    const int failed = table->users > 0 ? table->fault() : lock_table(*table, mode.exclusive);
    return failed == 0 ? take(table, mode, address, opened) : failed;
  });
}

// ---- Building

int build(const std::string& base, const std::string& like, int record_length,
          const KeyDescription& primary, const OpenMode& mode, OpenIsamPointer& built) {
  return with_schema(base, [&](const ClusterAddress& address, Schema& schema) -> int {
    if (const int failed = schema.make()) return failed;
    const std::shared_ptr<Table>& table = table_of(schema, address.file);
    if (table->users > 0) return EEXIST;
    const std::string like_name = like.empty() ? "" : cluster_file_name(like);
    table->exclusive = mode.exclusive;
    const int failed = make_table(*table, like_name, record_length, primary);
    return failed == 0 ? take(table, mode, address, built) : failed;
  });
}

int begin_snapshots(std::span<OpenIsam* const> files) {
  const auto table_of_file = [](OpenIsam* file) -> Table& {
    return static_cast<ClusterFile*>(file)->table();
  };
  Session& session = table_of_file(files.front()).schema().session();
  const auto moment = std::make_shared<Moment>(session.connection());
  std::vector<std::unique_ptr<TableSnapshot>> snapshots;
  int failed = moment->begin();
  for (std::size_t i = 0; failed == 0 && i < files.size(); ++i) {
    Table& table = table_of_file(files[i]);
    if (&table.schema().session() != &session)
      return refuse(kIsBadArgument, "the files of a snapshot lie in different databases");
    snapshots.push_back(std::make_unique<TableSnapshot>(moment, table));
    failed = table.fault();
    if (failed == 0) failed = snapshots.back()->begin();
  }
  for (std::size_t i = 0; failed == 0 && i < files.size(); ++i)
    static_cast<ClusterFile*>(files[i])->begin(std::move(snapshots[i]));
  return failed;
}

int rebuild(const std::string& /*base*/, IsRebuildReport& /*report*/, const IsWatch& /*watch*/) {
  return refuse(kIsBadArgument, kOnlyOnDisk);
}

int recover(const std::string& /*base*/, int /*record_length*/,
            std::span<const KeyDescription> /*keys*/, IsRecoverReport& /*report*/,
            const IsWatch& /*watch*/) {
  return refuse(kIsBadArgument, kOnlyOnDisk);
}

int compact(const std::string& /*base*/, IsCompactReport& /*report*/, const IsWatch& /*watch*/) {
  return refuse(kIsBadArgument, kOnlyOnDisk);
}

}  // namespace

constinit const IsamEngine kClusterEngine{.build = build,
                                          .open = open,
                                          .begin_snapshots = begin_snapshots,
                                          .rebuild = rebuild,
                                          .recover = recover,
                                          .compact = compact};

// ---- Short texts

int text_read(const std::string& base, std::string& text) {
  return with_schema(base, [&](const ClusterAddress& address, Schema& schema) -> int {
    Statement select{.text = "SELECT text FROM " + schema.quoted("marigold_texts") +
                             " WHERE name = convert_from($1::bytea, 'UTF8')",
                     .once = true};
    const Step step{&select, {address.file}};
    Rows rows;
    const int failed = schema.session().repeat([&](Connection& connection) {
      const int result = connection.run({&step, 1}, {&rows, 1});
      return result == kNoTable ? ENOENT : result;
    });
    if (failed != 0) return failed;
    if (rows.count() == 0) return ENOENT;
    text = rows.bytes(0, 0);
    return 0;
  });
}

int text_write(const std::string& base, const std::string& text) {
  const IsExchange step{.kind = IsExchange::Kind::kWriteText, .from = base, .text = text};
  return exchange({&step, 1});
}

// ---- The directory

int list_files(const std::string& directory, std::vector<std::string>& files) {
  files.clear();
  return with_schema(cluster_join(directory, "*"), [&](const ClusterAddress&, Schema& schema) {
    Statement select{.text = "SELECT convert_to(name, 'UTF8') FROM " +
                             schema.quoted("marigold_files") + " ORDER BY name COLLATE \"C\"",
                     .once = true};
    const Step step{&select, {}};
    Rows rows;
    const int failed = schema.session().repeat([&](Connection& connection) {
      const int result = connection.run({&step, 1}, {&rows, 1});
      return result == kNoTable ? 0 : result;
    });
    for (int row = 0; failed == 0 && row < rows.count(); ++row)
      files.emplace_back(rows.bytes(row, 0));
    return failed;
  });
}

int exchange(std::span<const IsExchange> steps) {
  if (steps.empty()) return 0;
  return with_schema(steps.front().from, [&](const ClusterAddress& address, Schema& schema) -> int {
    std::vector<NamedExchange> named;
    for (const IsExchange& step : steps) {
      ClusterAddress from;
      ClusterAddress to = address;
      std::string reason = cluster_parse(step.from, from);
      if (reason.empty() && !step.to.empty()) reason = cluster_parse(step.to, to);
      if (!reason.empty()) return refuse(kIsBadArgument, reason);
      for (const ClusterAddress* each : {&from, &to}) {
        if (each->server != address.server || each->schema != address.schema)
          return refuse(kIsBadArgument, "the files lie in different schemas");
      }
      named.push_back({.kind = step.kind,
                       .from = from.file,
                       .to = step.to.empty() ? "" : to.file,
                       .text = step.text});
    }
    return exchange_names(schema, named);
  });
}

int set_indexes(OpenIsam& file, bool wanted) {
  Table& table = static_cast<ClusterFile&>(file).table();
  if (const int fault = table.fault()) return fault;
  return table.exclusive ? table_set_indexes(table, wanted) : kIsNotExclusive;
}

int table_name(OpenIsam& file, std::string& name) {
  name = static_cast<ClusterFile&>(file).table().quoted_table();
  return 0;
}

int run_sql(OpenIsam& file, const std::string& text) {
  Table& table = static_cast<ClusterFile&>(file).table();
  if (const int fault = table.fault()) return fault;
  return table.schema().session().repeat([&](Connection& connection) {
    const int result = connection.command(text);
    return result == kNoTable || result == kDivided ? connection.refuse(kIsServer, text) : result;
  });
}

int holders_of(const std::string& base, std::vector<IsHolder>& holders) {
  holders.clear();
  return with_schema(base, [&](const ClusterAddress& address, Schema& schema) {
    return file_holders(schema, address.file, holders);
  });
}

}  // namespace marigold::inner::isam
