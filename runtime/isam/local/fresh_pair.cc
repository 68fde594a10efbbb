// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/fresh_pair.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <random>
#include <system_error>

#include "runtime/isam/common/change_step.h"
#include "runtime/isam/local/hit.h"
#include "runtime/isam/local/rebuild.h"
#include "runtime/isam/local/slots.h"
#include "runtime/isam/local/space.h"
#include "runtime/platform/library_path.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/new_file.h"
#include "runtime/platform/stop_signals.h"
#include "runtime/platform/system_error.h"

namespace marigold::inner::isam {
namespace {

bool is_link(const std::string& path) {
  std::error_code unknown;
  return std::filesystem::is_symlink(library_path(path), unknown);
}

std::uint64_t draw_id() {
  std::random_device source;
  return static_cast<std::uint64_t>(source()) << 32 | source();
}

void remove_abandoned(const std::string& path) {
  for (const std::string& left : new_files_abandoned(path))
    static_cast<void>(file_remove(left.c_str()));  // a leftover does no harm
}

int install(std::string& from, const std::string& to) {
  change_step();
  if (const int failed = file_replace(from.c_str(), to.c_str())) return failed;
  from.clear();
  change_step();
  return 0;
}

}  // namespace

FreshPair::FreshPair(const OpenRequest& request)
    : index_path_(request.index_path),
      data_path_(request.data_path),
      fresh_index_(new_file_name(index_path_)),
      fresh_data_(new_file_name(data_path_)) {
  remove_abandoned(index_path_);
  remove_abandoned(data_path_);
  file_.base = request.base;
  file_.writable = true;
  file_.exclusive = true;
}

FreshPair::~FreshPair() {
  file_.index.close();
  file_.data.close();
  for (const std::string& path : {fresh_index_, fresh_data_}) {
    if (!path.empty()) file_remove(path.c_str());
  }
}

int FreshPair::create(std::uint32_t record_length, std::span<const TreeShape> trees,
                      std::uint64_t id) {
  if (is_link(data_path_)) return system_result(ELOOP);
  int failed = file_.index.create(fresh_index_.c_str(), NewFileAccess::kOwnerOnly);
  if (failed == 0) failed = file_.index.lock(kUseLock, true);  // not abandoned
  if (failed == 0) failed = file_.data.create(fresh_data_.c_str(), NewFileAccess::kOwnerOnly);
  if (failed == 0) failed = file_.data.lock(kUseLock, true);
  // An index that is missing, or a link, has no permissions of its own; those of the data file are
  // as strict as wanted.
  const bool own = file_exists(index_path_.c_str()) && !is_link(index_path_);
  const std::string& like = own ? index_path_ : data_path_;
  if (failed == 0) failed = file_.index.take_access(like.c_str());
  if (failed == 0) failed = file_.data.take_access(data_path_.c_str());
  if (failed == 0) failed = write_index_header(file_, id == 0 ? draw_id() : id);
  if (failed == 0) failed = grow(file_.data, kDataStart, file_.data_space);
  file_.record_length = record_length;
  return failed == 0 ? file_write_keys(file_, trees) : failed;
}

int FreshPair::add(const std::byte* record, std::uint64_t sequence) {
  const std::uint64_t number = added_ + 1;
  const std::uint64_t needed = kDataStart + number * file_.slot_size;
  if (const int failed = grow(file_.data, needed, file_.data_space)) return failed;
  std::byte* slot = file_.slot(number);
  auto* header = reinterpret_cast<SlotHeader*>(slot);
  std::memcpy(slot + sizeof(SlotHeader), record, file_.record_length);
  set_sequence(*header, sequence);
  header->state = kSlotLive;
  header->checksum = slot_checksum(file_, slot);
  added_ = number;
  change_step();
  return 0;
}

int FreshPair::finish(const IsWatch& watch) {
  change_step();
  int failed = note_space(file_);
  if (failed == 0)
    failed = unless_hit(file_, rebuild_indexes(file_, {.give_back = true, .watch = watch}));
  if (failed == 0) {
    records_ = file_.contents().record_count;
    data_bytes_ = file_.data_space;
    index_bytes_ = file_.index_space;
  }
  if (failed == 0) failed = unless_hit(file_, file_close(file_));
  change_step();
  return failed == 0 && stop_signals_pending() ? EINTR : failed;
}

int FreshPair::install_data() {
  return install(fresh_data_, data_path_);
}

int FreshPair::install_index() {
  return install(fresh_index_, index_path_);
}

}  // namespace marigold::inner::isam
