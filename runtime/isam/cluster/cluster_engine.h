// SPDX-License-Identifier: GPL-3.0-or-later
// The engine whose files are tables of a database cluster.
//
// Results: 0, or the number for iserrno.
#pragma once

#include "runtime/isam/common/cluster.h"
#include "runtime/isam/common/engine.h"

namespace marigold::inner::isam {

extern const IsamEngine kClusterEngine;

// The operations of cluster.h.
int text_read(const std::string& base, std::string& text);
int text_write(const std::string& base, const std::string& text);
int list_files(const std::string& directory, std::vector<std::string>& files);
int exchange(std::span<const IsExchange> steps);
int holders_of(const std::string& base, std::vector<IsHolder>& holders);
int set_indexes(OpenIsam& file, bool wanted);
int table_name(OpenIsam& file, std::string& name);
int run_sql(OpenIsam& file, const std::string& text);
struct SetChange {
  OpenIsam* file;
  bool deletes;
  const char* record;
};
int change_set(std::span<const SetChange> changes, std::size_t& locked);
int load(OpenIsam& file, const std::function<bool(char* record)>& next,
         const std::function<bool(std::uint64_t records)>& watch);

}  // namespace marigold::inner::isam
