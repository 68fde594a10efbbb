// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/isam_workload.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace marigold::inner::bench {
namespace {

constexpr std::uint64_t kSeed = 20240229;
constexpr std::uint64_t kStride = 0x9E3779B97F4A7C15;

enum class Stream : std::uint64_t {
  kOrder = 1,
  kNames,
  kDates,
  kGets,
  kMisses,
  kNameGets,
  kReplacements,
  kDeletions
};

std::uint64_t mix(std::uint64_t z) {
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
  return z ^ (z >> 31);
}

class Generator {
 public:
  explicit Generator(std::uint64_t state) : state_(state) {}
  explicit Generator(Stream stream) : state_(kSeed * 1000 + static_cast<std::uint64_t>(stream)) {}
  std::uint64_t next() { return mix(state_ += kStride); }
  std::uint64_t below(std::uint64_t bound) { return next() % bound; }

 private:
  std::uint64_t state_;
};

void put_primary(char* to, std::uint64_t value) {
  for (int i = 7; i >= 0; --i, value /= 10)
    to[i] = static_cast<char>('0' + value % 10);
}

void put_name(char* to, std::uint64_t id) {
  std::uint64_t rest = mix(id + kStride);
  for (int i = 0; i < 12; ++i, rest /= 26)
    to[i] = static_cast<char>('A' + rest % 26);
  std::memset(to + 12, ' ', 8);
}

void put_date(char* to, Generator& dates) {
  auto value = static_cast<std::uint32_t>(static_cast<std::int32_t>(dates.below(3650)) - 1825);
  for (int i = 3; i >= 0; --i, value >>= 8)
    to[i] = static_cast<char>(value & 0xFF);
}

void put_filler(Record& record, std::uint64_t number) {
  Generator filler(number << 8);
  for (std::size_t at = 32; at < record.bytes.size(); at += 8) {
    const std::uint64_t word = filler.next();
    std::memcpy(record.bytes.data() + at, &word, sizeof word);
  }
}

const std::array<std::uint64_t, 16> kMultipliers = [] {
  std::array<std::uint64_t, 16> odd{};
  Generator generator(kSeed);
  for (std::uint64_t& value : odd)
    value = generator.next() | 1;
  return odd;
}();

}  // namespace

std::string Record::key(int number) const {
  if (number == 0) return {bytes.data(), 8};
  if (number == 1) return {bytes.data() + 8, 20};
  std::string key(bytes.data() + 28, 4);
  key[0] = static_cast<char>(key[0] ^ 0x80);
  return key;
}

std::uint64_t hash(const Record& record) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < kMultipliers.size(); ++i) {
    std::uint64_t word = 0;
    std::memcpy(&word, record.bytes.data() + 8 * i, sizeof word);
    sum += word * kMultipliers[i];
  }
  return mix(sum);
}

std::uint64_t hash_name(const Record& record) {
  Record name;
  std::copy_n(record.bytes.begin() + 8, 20, name.bytes.begin());
  return hash(name);
}

Workload::Workload(std::uint64_t n) : count(n), records(n) {
  const std::uint64_t quarter = n / 4;
  std::vector<std::uint32_t> order(n);
  std::iota(order.begin(), order.end(), 0U);
  Generator shuffle(Stream::kOrder);
  for (std::uint64_t i = n; i > 1; --i)
    std::swap(order[i - 1], order[shuffle.below(i)]);
  Generator name_ids(Stream::kNames);
  Generator dates(Stream::kDates);
  for (std::uint64_t i = 0; i < n; ++i) {
    char* bytes = records[i].bytes.data();
    put_primary(bytes, 2 * std::uint64_t{order[i]});
    put_name(bytes + 8, name_ids.below(quarter));
    put_date(bytes + 28, dates);
    put_filler(records[i], i);
  }
  Generator get(Stream::kGets);
  for (std::uint64_t i = 0; i < n; ++i)
    gets.push_back(static_cast<std::uint32_t>(get.below(n)));
  Generator miss(Stream::kMisses);
  misses.resize(quarter);
  for (Key8& key : misses)
    put_primary(key.data(), 2 * miss.below(n) + 1);
  Generator name(Stream::kNameGets);
  names.resize(quarter);
  for (Key20& key : names)
    std::copy_n(records[name.below(n)].bytes.begin() + 8, 20, key.begin());
  Generator replace(Stream::kReplacements);
  for (std::uint64_t i = 0; i < quarter; ++i) {
    replaced.push_back(static_cast<std::uint32_t>(replace.below(n)));
    replacements.push_back(records[replaced.back()]);
    put_name(replacements.back().bytes.data() + 8, replace.below(quarter));
    put_date(replacements.back().bytes.data() + 28, replace);
  }
  Generator remove(Stream::kDeletions);
  std::iota(order.begin(), order.end(), 0U);
  for (std::uint64_t i = 0; i < quarter; ++i) {
    std::swap(order[i], order[i + remove.below(n - i)]);
    deleted.push_back(order[i]);
  }
}

}  // namespace marigold::inner::bench
