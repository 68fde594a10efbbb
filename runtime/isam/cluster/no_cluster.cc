// SPDX-License-Identifier: GPL-3.0-or-later
// Stands in for the engine of clusters in a build without it.
#include "runtime/isam/cluster/cluster_engine.h"
#include "runtime/isam/common/reason.h"

namespace marigold::inner::isam {
namespace {

int refuse_all() {
  return refuse(kIsServer, "this build of the runtime has no files on database clusters");
}

int build(const std::string& /*base*/, const std::string& /*like*/, int /*record_length*/,
          const KeyDescription& /*primary*/, const OpenMode& /*mode*/, OpenIsamPointer& /*built*/) {
  return refuse_all();
}

int open(const std::string& /*base*/, const OpenMode& /*mode*/, OpenIsamPointer& /*opened*/) {
  return refuse_all();
}

int begin_snapshots(std::span<OpenIsam* const> /*files*/) {
  return refuse_all();
}

int rebuild(const std::string& /*base*/, IsRebuildReport& /*report*/, const IsWatch& /*watch*/) {
  return refuse_all();
}

int recover(const std::string& /*base*/, int /*record_length*/,
            std::span<const KeyDescription> /*keys*/, IsRecoverReport& /*report*/,
            const IsWatch& /*watch*/) {
  return refuse_all();
}

int compact(const std::string& /*base*/, IsCompactReport& /*report*/, const IsWatch& /*watch*/) {
  return refuse_all();
}

}  // namespace

constinit const IsamEngine kClusterEngine{.build = build,
                                          .open = open,
                                          .begin_snapshots = begin_snapshots,
                                          .rebuild = rebuild,
                                          .recover = recover,
                                          .compact = compact};

int text_read(const std::string& /*address*/, std::string& /*text*/) {
  return refuse_all();
}

int text_write(const std::string& /*address*/, const std::string& /*text*/) {
  return refuse_all();
}

int list_files(const std::string& /*directory*/, std::vector<std::string>& /*files*/) {
  return refuse_all();
}

int exchange(std::span<const IsExchange> /*steps*/) {
  return refuse_all();
}

int holders_of(const std::string& /*address*/, std::vector<IsHolder>& /*holders*/) {
  return refuse_all();
}

int set_indexes(OpenIsam& /*file*/, bool /*wanted*/) {
  return refuse_all();
}

int table_name(OpenIsam& /*file*/, std::string& /*name*/) {
  return refuse_all();
}

int run_sql(OpenIsam& /*file*/, const std::string& /*text*/) {
  return refuse_all();
}

int change_set(std::span<const SetChange> /*changes*/, std::size_t& /*locked*/) {
  return refuse_all();
}

int load(OpenIsam& /*file*/, const std::function<bool(char* record)>& /*next*/,
         const std::function<bool(std::uint64_t records)>& /*watch*/) {
  return refuse_all();
}

}  // namespace marigold::inner::isam
