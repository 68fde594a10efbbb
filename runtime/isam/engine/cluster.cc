// SPDX-License-Identifier: GPL-3.0-or-later
// The operations of clusters, with the descriptors of this process.

#include "runtime/isam/common/cluster.h"

#include <vector>

#include "runtime/isam/cluster/cluster_engine.h"
#include "runtime/isam/engine/descriptors.h"

namespace marigold::inner {

using namespace isam;

bool iscluster(int number) {
  const Descriptor* const descriptor = held_descriptor_at(number);
  return descriptor != nullptr && descriptor->engine == &kClusterEngine;
}

int istext_read(const std::string& address, std::string& text) {
  return operation("ISTEXT", [&] { return finish(text_read(address, text)); });
}

int istext_write(const std::string& address, const std::string& text) {
  return operation("ISTEXT", [&] { return finish(text_write(address, text)); });
}

int islist(const std::string& directory, std::vector<std::string>& files) {
  return operation("ISLIST", [&] { return finish(list_files(directory, files)); });
}

int isexchange(std::span<const IsExchange> steps) {
  return operation("ISEXCHAN", [&] { return finish(exchange(steps)); });
}

int istable(int number, std::string& name) {
  return with_file("ISTABLE", number, [&](OpenIsam& file) {
    return iscluster(number) ? table_name(file, name) : kIsBadArgument;
  });
}

int issql(int number, const std::string& statements) {
  return with_file("ISSQL", number, [&](OpenIsam& file) {
    return iscluster(number) ? run_sql(file, statements) : kIsBadArgument;
  });
}

int isholders(const std::string& address, std::vector<IsHolder>& holders) {
  return operation("ISHOLDER", [&] { return finish(holders_of(address, holders)); });
}

int isset(std::span<const IsSetChange> changes, std::size_t& locked) {
  return operation("ISSET", [&] {
    std::vector<SetChange> of_files;
    for (const IsSetChange& change : changes) {
      OpenIsam* const file = file_at(change.number);
      if (file == nullptr || !file->mode().writes) return finish(kIsNotOpen);
      if (!iscluster(change.number)) return finish(kIsBadArgument);
      of_files.push_back({.file = file, .deletes = change.deletes, .record = change.record});
    }
    return finish(change_set(of_files, locked));
  });
}

int isindexes(int number, bool wanted) {
  return with_writable("ISINDEX", number, [&](OpenIsam& file) {
    return iscluster(number) ? set_indexes(file, wanted) : kIsBadArgument;
  });
}

int isload(int number, const std::function<bool(char* record)>& next,
           const std::function<bool(std::uint64_t records)>& watch) {
  return with_writable("ISLOAD", number, [&](OpenIsam& file) {
    return iscluster(number) ? load(file, next, watch) : kIsBadArgument;
  });
}

}  // namespace marigold::inner
