// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/cluster/directory.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <utility>

#include "runtime/isam/cluster/key_expression.h"
#include "runtime/platform/new_file_steps.h"

namespace marigold::inner::isam {
namespace {

// A name as SQL. Whatever characters it has, the server gets hexadecimal digits.
std::string name_literal(std::string_view name) {
  return "convert_from(" + bytes_literal(name) + ", 'UTF8')";
}

std::int64_t new_id() {
  std::uint64_t bits = 0;
  for (const unsigned char byte : random_bytes())
    bits = bits << 8 | byte;
  return static_cast<std::int64_t>(bits);
}

// Gives the rights on one table to another one, as far as the server lets this user.
int take_rights(Schema& schema, const std::string& like, const std::string& table,
                const std::string& sequence) {
  Statement find{.text =
                     "SELECT f.number, format('GRANT %s ON %s TO %s%s; GRANT USAGE, SELECT, "
                     "UPDATE ON SEQUENCE %s TO %s;', a.privilege_type, $2::text, g.name, "
                     "CASE WHEN a.is_grantable THEN ' WITH GRANT OPTION' ELSE '' END, "
                     "$3::text, g.name) FROM " +
                     schema.quoted("marigold_files") +
                     " f JOIN pg_class c ON c.relname = 'f' || f.number JOIN pg_namespace n ON "
                     "n.oid = c.relnamespace AND quote_ident(n.nspname) || '.' = $4::text, "
                     "aclexplode(c.relacl) a, LATERAL (SELECT CASE a.grantee WHEN 0 THEN "
                     "'PUBLIC' ELSE quote_ident(pg_get_userbyid(a.grantee)) END AS name) g "
                     "WHERE f.name = convert_from($1::bytea, 'UTF8') AND a.grantee <> c.relowner",
                 .once = true};
  std::string prefix = schema.quoted("");
  prefix.resize(prefix.size() - 2);
  const Step step{&find, {like, table, sequence, prefix}};
  Rows rows;
  if (const int failed = schema.session().ask({&step, 1}, {&rows, 1})) return failed;
  std::string grants;
  for (int row = 0; row < rows.count(); ++row)
    grants += rows.bytes(row, 1);
  if (grants.empty()) return 0;
  return schema.session().repeat(
      [&](Connection& connection) { return connection.command(grants); });
}

int next_number(Schema& schema, std::int64_t& number) {
  Statement next{
      .text = "SELECT nextval(" + Connection::quoted_text(schema.quoted("marigold_numbers")) + ")",
      .once = true};
  const Step step{&next, {}};
  Rows rows;
  const int failed = schema.session().ask({&step, 1}, {&rows, 1});
  if (failed == 0) number = rows.number(0, 0);
  return failed;
}

}  // namespace

int make_table(Table& file, const std::string& like, int record_length,
               const KeyDescription& primary) {
  Schema& schema = file.schema();
  std::int64_t number = 0;
  if (const int failed = next_number(schema, number)) return failed;
  const std::string id = std::to_string(new_id());
  const std::string table = schema.quoted("f" + std::to_string(number));
  const std::string sequence = schema.quoted("f" + std::to_string(number) + "_seq");
  const std::string text =
      "INSERT INTO " + schema.quoted("marigold_files") +
      " (name, number, id, record_length, keys) VALUES (" + name_literal(file.name()) + ", " +
      std::to_string(number) + ", " + id + ", " + std::to_string(record_length) + ", " +
      bytes_literal(pack_keys({&primary, 1})) + "); CREATE SEQUENCE " + sequence +
      "; CREATE TABLE " + table +
      " (k1 bytea NOT NULL, seq bigint NOT NULL, lock bigint NOT NULL, record bytea NOT NULL); "
      "CREATE UNIQUE INDEX ON " +
      table + " (k1 ASC); SELECT pg_try_advisory_lock" + (file.exclusive ? "" : "_shared") + "((" +
      id + ")::bigint)";
  const Number alone(file.exclusive ? 1 : 0);
  const Step find{&schema.find_file, {file.name()}};
  const Step lock{&schema.lock_file, {file.name(), alone.bytes()}};
  const int failed = schema.session().repeat([&](Connection& connection) {
    Rows rows;
    if (const int result = connection.run({&find, 1}, {&rows, 1})) return result;
    if (rows.count() == 0) {
      const int result = connection.command(text);
      if (result != 0) return result == kIsDuplicate ? EEXIST : result;
      const int found = connection.run({&find, 1}, {&rows, 1});
      return found != 0 ? found : file.take_shape(rows);
    }
    if (rows.number(0, kNumber) != number) return EEXIST;
    // Made by the attempt before, whose connection was lost, and its lock with it.
    if (const int result = connection.run({&lock, 1}, {&rows, 1})) return result;
    return rows.number(0, kGotLock) != 0 ? file.take_shape(rows) : kIsFileLocked;
  });
  return failed != 0 || like.empty() ? failed : take_rights(schema, like, table, sequence);
}

int unlock_file(Table& table, std::int64_t id) {
  const Number number(id);
  Schema& schema = table.schema();
  const Step step{table.exclusive ? &schema.unlock : &schema.unlock_shared, {number.bytes()}};
  Rows rows;
  return schema.session().ask({&step, 1}, {&rows, 1});
}

// ---- Exchanges

namespace {

struct Entry {
  std::int64_t number = 0;
  std::int64_t id = 0;
};

bool is_rename(const NamedExchange& step) {
  return step.kind == IsExchange::Kind::kRename || step.kind == IsExchange::Kind::kRenameNew;
}

// What a transaction of exchanges knows and does.
class Exchange {
 public:
  Exchange(Schema& schema, Connection& connection) : schema_(schema), connection_(connection) {}

  int run(const std::vector<NamedExchange>& steps, std::int64_t operation) {
    int failed = connection_.command("BEGIN");
    if (failed == 0) failed = find(steps);
    std::string text;
    if (failed == 0) failed = add_steps(steps, text);
    if (failed == 0) failed = connection_.command(text + schema_.note_text(operation));
    // The commit is the only step whose outcome can be in doubt.
    if (failed == 0) return connection_.command("SET LOCAL synchronous_commit = on; COMMIT");
    const int not_undone = connection_.command("ROLLBACK");
    if (failed == kDivided || failed == kIsDuplicate) failed = kIsFileLocked;
    return not_undone == kLost ? kLost : failed;
  }

 private:
  // Finds the entries of all names, and keeps others from changing them.
  int find(const std::vector<NamedExchange>& steps) {
    std::string names;
    for (const NamedExchange& step : steps) {
      for (const std::string& name : {step.from, step.to})
        names.append(names.empty() ? "" : ", ").append(name_literal(name));
    }
    Statement select{.text = "SELECT convert_to(name, 'UTF8'), number, id FROM " +
                             schema_.quoted("marigold_files") + " WHERE name IN (" + names +
                             ") ORDER BY name FOR UPDATE",
                     .once = true};
    const Step step{&select, {}};
    Rows rows;
    if (const int failed = connection_.run({&step, 1}, {&rows, 1})) return failed;
    for (int row = 0; row < rows.count(); ++row)
      entries_[std::string(rows.bytes(row, 0))] = {rows.number(row, 1), rows.number(row, 2)};
    const bool is_taken = std::ranges::any_of(steps, [&](const NamedExchange& one) {
      return one.kind == IsExchange::Kind::kRenameNew && entries_.contains(one.to);
    });
    return is_taken ? EEXIST : 0;
  }

  // Fails with a division by zero when another process has the file open.
  static std::string lock(const Entry& entry) {
    return "SELECT 1 / pg_try_advisory_xact_lock(" + std::to_string(entry.id) + ")::integer; ";
  }

  std::string remove(const std::string& name) {
    const auto found = entries_.find(name);
    if (found == entries_.end()) return "";
    const std::string number = std::to_string(found->second.number);
    std::string text = lock(found->second) + "DELETE FROM " + schema_.quoted("marigold_files") +
                       " WHERE number = " + number + "; DROP TABLE " +
                       schema_.quoted("f" + number) + "; DROP SEQUENCE " +
                       schema_.quoted("f" + number + "_seq") + "; ";
    entries_.erase(found);
    return text;
  }

  // The name `from` has an entry.
  std::string rename(const std::string& from, const std::string& to) {
    if (from == to) return "";
    const auto found = entries_.find(from);
    std::string text = remove(to) + lock(found->second) + "UPDATE " +
                       schema_.quoted("marigold_files") + " SET name = " + name_literal(to) +
                       " WHERE number = " + std::to_string(found->second.number) + "; ";
    auto entry = entries_.extract(found);
    entry.key() = to;
    entries_.insert(std::move(entry));
    return text;
  }

  std::string text_of(const NamedExchange& step) {
    const std::string texts = schema_.quoted("marigold_texts");
    const std::string from = name_literal(step.from);
    switch (step.kind) {
      case IsExchange::Kind::kRename:
      case IsExchange::Kind::kRenameNew:
        return rename(step.from, step.to);
      case IsExchange::Kind::kRemove:
        return remove(step.from);
      case IsExchange::Kind::kRemoveText:
        return "DELETE FROM " + texts + " WHERE name = " + from + "; ";
      case IsExchange::Kind::kWriteText:
        return "INSERT INTO " + texts + " VALUES (" + from + ", " + bytes_literal(step.text) +
               ") ON CONFLICT (name) DO UPDATE SET text = excluded.text; ";
    }
    return "";
  }

  int add_steps(const std::vector<NamedExchange>& steps, std::string& text) {
    for (const NamedExchange& step : steps) {
      if (is_rename(step) && !entries_.contains(step.from))
        return connection_.refuse(ENOENT, "there is no file " + step.from);
      text += text_of(step);
    }
    return 0;
  }

  Schema& schema_;
  Connection& connection_;
  std::map<std::string, Entry> entries_;
};

// An open table whose name is another file's now can only be closed.
void retire(Schema& schema, const std::string& name) {
  const auto found = schema.tables().find(name);
  if (found == schema.tables().end()) return;
  found->second->retired = true;
  schema.tables().erase(found);
}

}  // namespace

int exchange_names(Schema& schema, const std::vector<NamedExchange>& steps) {
  if (const int failed = schema.make()) return failed;
  if (const int failed = schema.begin_changes()) return failed;
  const std::int64_t operation = schema.operation();
  bool done_before = false;
  const int failed = schema.change_by(
      [&](Connection& connection) { return Exchange(schema, connection).run(steps, operation); },
      nullptr, 0, done_before);
  if (failed != 0) return failed;
  schema.acknowledge();
  for (const NamedExchange& step : steps) {
    if (is_rename(step) || step.kind == IsExchange::Kind::kRemove) retire(schema, step.from);
    if (is_rename(step)) retire(schema, step.to);
  }
  return 0;
}

// ---- Holders

// Each session holds its own lock besides that of the file, and so leads to its row.
int file_holders(Schema& schema, const std::string& name, std::vector<IsHolder>& holders) {
  const std::string held =
      "locktype = 'advisory' AND granted AND objsubid = 1 AND database = (SELECT oid FROM "
      "pg_database WHERE datname = current_database())";
  const std::string number = "((%.classid::bigint << 32) | %.objid::bigint)";
  const auto number_of = [&](const char* table) {
    std::string text = number;
    for (std::size_t at = 0; (at = text.find('%')) != std::string::npos;)
      text.replace(at, 1, table);
    return text;
  };
  Statement select{
      .text =
          "SELECT process, convert_to(host, 'UTF8'), of_file.mode = 'ExclusiveLock' FROM "
          "(SELECT * FROM pg_locks WHERE " +
          held +
          ") of_file JOIN (SELECT * FROM pg_locks "
          "WHERE " +
          held + ") own ON own.pid = of_file.pid JOIN " + schema.quoted("marigold_sessions") +
          " ON session = " + number_of("own") + " WHERE " + number_of("of_file") +
          " = (SELECT id FROM " + schema.quoted("marigold_files") +
          " WHERE name = convert_from($1::bytea, 'UTF8')) ORDER BY host, process",
      .once = true};
  const Step step{&select, {name}};
  Rows rows;
  const int failed = schema.session().repeat([&](Connection& connection) {
    const int result = connection.run({&step, 1}, {&rows, 1});
    return result == kNoTable ? ENOENT : result;
  });
  for (int row = 0; failed == 0 && row < rows.count(); ++row)
    holders.push_back({.process = static_cast<long>(rows.number(row, 0)),
                       .host = std::string(rows.bytes(row, 1)),
                       .exclusive = rows.number(row, 2) != 0});
  return failed;
}

}  // namespace marigold::inner::isam
