// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/growth_model.h"

#include <algorithm>

#include "bench/growth_store.h"

namespace marigold::inner::bench {
namespace {

std::uint64_t big_endian(const char* bytes, int count) {
  std::uint64_t value = 0;
  for (int i = 0; i < count; ++i)
    value = value << 8 | static_cast<unsigned char>(bytes[i]);
  return value;
}

std::vector<Key8> primary_keys(const Workload& workload, const std::vector<std::uint32_t>& used) {
  std::vector<Key8> keys(used.size());
  for (std::size_t i = 0; i < used.size(); ++i)
    std::copy_n(workload.records[used[i]].bytes.begin(), sizeof(Key8), keys[i].begin());
  return keys;
}

// Enough for a figure; changes of all ten million records would take most of the time.
constexpr std::size_t kMostChanges = 500'000;

Workload few_changes(Workload workload) {
  const std::size_t changes = std::min(workload.replaced.size(), kMostChanges);
  workload.replaced.resize(changes);
  workload.replacements.resize(changes);
  workload.replacements.shrink_to_fit();
  workload.deleted.resize(changes);
  return workload;
}

}  // namespace

GrowthModel::GrowthModel(std::uint64_t count)
    : workload_(few_changes(Workload(count))),
      gets_(primary_keys(workload_, workload_.gets)),
      deletes_(primary_keys(workload_, workload_.deleted)),
      now_(count) {
  reset();
}

void GrowthModel::reset() {
  for (std::size_t i = 0; i < now_.size(); ++i)
    now_[i] = &workload_.records[i];
}

void GrowthModel::replace_all() {
  for (std::size_t i = 0; i < workload_.replaced.size(); ++i)
    now_[workload_.replaced[i]] = &workload_.replacements[i];
}

void GrowthModel::delete_all() {
  for (const std::uint32_t number : workload_.deleted)
    now_[number] = nullptr;
}

GrowthModel::Entry GrowthModel::entry_of(int key, const char* bytes, std::uint32_t number) {
  if (key == 0) return {big_endian(bytes, 8), 0, number};
  if (key == 1)
    return {big_endian(bytes, 8), static_cast<std::uint32_t>(big_endian(bytes + 8, 4)), number};
  return {big_endian(bytes, 4) ^ 0x80000000, 0, number};  // negative numbers first
}

std::vector<GrowthModel::Entry> GrowthModel::sorted(int key) const {
  constexpr std::size_t kOffsets[] = {0, 8, 28};
  std::vector<Entry> entries;
  entries.reserve(now_.size());
  for (std::uint32_t i = 0; i < now_.size(); ++i) {
    if (now_[i] != nullptr) entries.push_back(entry_of(key, &now_[i]->bytes[kOffsets[key]], i));
  }
  std::ranges::sort(entries);
  return entries;
}

std::vector<std::uint32_t> GrowthModel::in_order() const {
  std::vector<std::uint32_t> numbers;
  for (const Entry& entry : sorted(0))
    numbers.push_back(entry.number);
  return numbers;
}

bool GrowthModel::gets_are_right(const std::vector<std::uint64_t>& digests) const {
  const auto is_right = [&](std::uint32_t number, std::uint64_t value) {
    return digest(*now_[number]) == value;
  };
  return std::ranges::equal(workload_.gets, digests, is_right);
}

bool GrowthModel::names_are_right(const std::vector<std::uint64_t>& digests) const {
  const std::vector<Entry> entries = sorted(1);
  const auto is_right = [&](const Key20& name, std::uint64_t value) {
    const Entry first = entry_of(1, name.data(), 0);
    for (auto i = std::ranges::lower_bound(entries, first);
         i != entries.end() && i->has_key_of(first); ++i) {
      if (digest(*now_[i->number]) == value) return true;
    }
    return false;
  };
  return std::ranges::equal(workload_.names, digests, is_right);
}

bool GrowthModel::walk_is_right(int key, std::vector<std::uint64_t> digests) const {
  const std::vector<Entry> entries = sorted(key);
  if (entries.size() != digests.size()) return false;
  std::vector<std::uint64_t> expected;
  for (std::size_t first = 0, last = 0; first < entries.size(); first = last) {
    expected.clear();
    for (; last < entries.size() && entries[last].has_key_of(entries[first]); ++last)
      expected.push_back(digest(*now_[entries[last].number]));
    const auto delivered = std::span(digests).subspan(first, last - first);
    std::ranges::sort(expected);
    std::ranges::sort(delivered);
    if (!std::ranges::equal(expected, delivered)) return false;
  }
  return true;
}

}  // namespace marigold::inner::bench
