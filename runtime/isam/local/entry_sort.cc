// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/entry_sort.h"

#include <algorithm>
#include <array>
#include <new>
#include <string>
#include <utility>

#include "runtime/isam/common/isam.h"

namespace marigold::inner::isam {

std::size_t sort_run_bytes = 0;

namespace {

// Memory of all runs at one time: one run of each tree, two that are handed over, and one that is
// being sorted, which takes up to four times its bytes.
constexpr std::size_t kMemory = std::size_t{96} << 20;
constexpr std::size_t kRunsInWork = 6;
// Longer runs leave the processor's cache and sort more slowly.
constexpr std::size_t kLongestRun = std::size_t{8} << 20;

// Bytes that are merged at a time, and that are read ahead of each run within the memory for that.
constexpr std::size_t kBlock = std::size_t{1} << 20;
constexpr std::size_t kReadAhead = std::size_t{256} << 10;
constexpr std::size_t kLeastReadAhead = std::size_t{8} << 10;

constexpr std::size_t kWord = sizeof(std::uint64_t);

// Reads up to 8 bytes as a number that orders as they do.
std::uint64_t word_of(const std::byte* from, std::size_t bytes) {
  std::uint64_t word = 0;
  std::memcpy(&word, from, bytes < kWord ? bytes : kWord);
  return __builtin_bswap64(word);
}

// Sort key of an entry: its first two words, by which most comparisons end.
struct SortKey {
  std::uint64_t first;
  std::uint64_t second;
  std::uint32_t index;

  SortKey(const std::byte* entry, std::size_t compared, std::uint32_t at)
      : first(word_of(entry, compared)),
        second(compared > kWord ? word_of(entry + kWord, compared - kWord) : 0),
        index(at) {}
};

// Sorts the entries. Throws bad_alloc when memory is short.
void sort_entries(EntryBytes& entries, std::size_t compared) {
  const std::size_t size = compared + kNumberLength;
  const std::size_t count = entries.size() / size;
  std::vector<SortKey> keys;
  keys.reserve(count);
  for (std::size_t i = 0; i < count; ++i)
    keys.emplace_back(entries.data() + i * size, compared, static_cast<std::uint32_t>(i));
  const std::byte* base = entries.data();
  std::ranges::sort(keys, [=](const SortKey& a, const SortKey& b) {
    if (a.first != b.first) return a.first < b.first;
    if (a.second != b.second) return a.second < b.second;
    if (compared <= 2 * kWord) return a.index < b.index;
    const int order = std::memcmp(base + a.index * size + 2 * kWord,
                                  base + b.index * size + 2 * kWord, compared - 2 * kWord);
    return order != 0 ? order < 0 : a.index < b.index;
  });
  EntryBytes sorted(entries.size());
  std::byte* to = sorted.data();
  for (const SortKey& key : keys) {
    std::memcpy(to, base + key.index * size, size);
    to += size;
  }
  entries.swap(sorted);
}

}  // namespace

SortRoom::SortRoom(std::size_t sorts, std::string beside)
    : run_bytes(sort_run_bytes != 0 ? sort_run_bytes
                                    : std::min(kLongestRun, kMemory / (sorts + kRunsInWork))),
      path(std::move(beside)) {}

SortRoom::~SortRoom() = default;

// ---- Merging

// Merges the runs of a sort.
class EntryMerge {
 public:
  EntryMerge(EntrySort& sort, std::size_t read_ahead) : sort_(sort) {
    sources_.reserve(sort.spilled_.size() + 1);
    for (const auto& run : sort.spilled_)
      sources_.push_back({.left = run.bytes, .offset = run.offset, .read = EntryBytes(read_ahead)});
    sources_.push_back({.left = 0,
                        .offset = 0,
                        .at = sort.run_.data(),
                        .end = sort.run_.data() + sort.run_.size()});
  }

  int start() {
    for (Source& source : sources_) {
      if (const int failed = load_next(source)) return failed;
    }
    losers_.assign(sources_.size(), kNone);
    for (std::uint32_t i = 0; i < sources_.size(); ++i)
      replay(i);
    return 0;
  }

  // Fills the block with the next entries; the last block is shorter.
  int fill(EntryBytes& block, std::size_t bytes) {
    const std::size_t size = sort_.entry_size();
    block.resize(bytes / size * size);
    std::size_t filled = 0;
    for (; filled < block.size(); filled += size) {
      Source& source = sources_[winner_];
      if (source.ended) break;
      std::memcpy(block.data() + filled, source.at, size);
      source.at += size;
      if (const int failed = load_next(source)) return failed;
      replay(winner_);
    }
    block.resize(filled);
    return 0;
  }

 private:
  static constexpr std::uint32_t kNone = ~std::uint32_t{0};

  struct Source {
    std::uint64_t left;    // bytes in the file
    std::uint64_t offset;  // of the first of these bytes
    EntryBytes read = {};
    const std::byte* at = nullptr;  // the next entry
    const std::byte* end = nullptr;
    std::uint64_t first = 0;  // as in SortKey
    std::uint64_t second = 0;
    bool ended = false;
  };

  // Moves on to the next entry, and reads more from the file when the entries in memory are used
  // up.
  int load_next(Source& source) {
    if (source.at == source.end && source.left > 0) {
      const std::size_t size = sort_.entry_size();
      const std::size_t bytes =
          std::min<std::uint64_t>(source.left, source.read.size() / size * size);
      const std::span<std::byte> to(source.read.data(), bytes);
      if (const int failed = sort_.room_.file.read(source.offset, to)) return failed;
      source.offset += bytes;
      source.left -= bytes;
      source.at = to.data();
      source.end = to.data() + bytes;
    }
    source.ended = source.at == source.end;
    if (source.ended) return 0;
    const std::size_t compared = sort_.compared_;
    source.first = word_of(source.at, compared);
    source.second = compared > kWord ? word_of(source.at + kWord, compared - kWord) : 0;
    return 0;
  }

  [[nodiscard]] bool is_before(std::uint32_t left, std::uint32_t right) const {
    const Source& a = sources_[left];
    const Source& b = sources_[right];
    if (a.ended || b.ended) return !a.ended;
    if (a.first != b.first) return a.first < b.first;
    if (a.second != b.second) return a.second < b.second;
    const std::size_t compared = sort_.compared_;
    if (compared <= 2 * kWord) return left < right;
    const int order = std::memcmp(a.at + 2 * kWord, b.at + 2 * kWord, compared - 2 * kWord);
    return order != 0 ? order < 0 : left < right;
  }

  // Plays a tournament: each node keeps its loser, and the winner goes up. At the start the first
  // player at a node waits there for an opponent.
  void replay(std::uint32_t player) {
    for (std::size_t node = (player + losers_.size()) / 2; node > 0; node /= 2) {
      std::uint32_t& loser = losers_[node];
      if (loser == kNone) {
        loser = player;
        return;
      }
      if (is_before(loser, player)) std::swap(loser, player);
    }
    winner_ = player;
  }

  EntrySort& sort_;
  std::vector<Source> sources_;
  std::vector<std::uint32_t> losers_;  // the nodes from 1 on
  std::uint32_t winner_ = 0;
};

// ---- Runs

EntrySort::EntrySort(SortRoom& room, std::size_t compared, std::uint64_t expected)
    : room_(room),
      compared_(compared),
      full_(std::max<std::size_t>(room.run_bytes / entry_size(), 2) * entry_size()) {
  run_.reserve(std::min<std::uint64_t>(full_, expected * entry_size()));
}

EntrySort::~EntrySort() {
  room_.worker.wait();
}

// Hands the run over to the second thread, which sorts and writes it.
bool EntrySort::spill() {
  if (!room_.file.is_made()) {
    const int failed = room_.file.make(room_.path.c_str());
    if (failed != 0) room_.failed = failed;
  }
  if (room_.failed != 0) return false;
  const auto run = std::make_shared<EntryBytes>();
  run->reserve(full_);
  run->swap(run_);
  const std::uint64_t offset = room_.spilled;
  spilled_.push_back({offset, run->size()});
  room_.spilled += run->size();
  room_.worker.run([&room = room_, compared = compared_, run, offset] {
    int failed = 0;
    try {
      sort_entries(*run, compared);
      failed = room.file.write(offset, *run);
    } catch (const std::bad_alloc&) {
      failed = kIsNoMemory;
    }
    EntryBytes().swap(*run);
    if (failed != 0) room.failed = failed;
  });
  return true;
}

int EntrySort::sort() {
  if (spilled_.empty()) {
    sort_entries(run_, compared_);
    return 0;
  }
  room_.worker.run([this] {
    try {
      sort_entries(run_, compared_);
    } catch (const std::bad_alloc&) {
      room_.failed = kIsNoMemory;
    }
  });
  return 0;
}

int EntrySort::start_merge() {
  room_.worker.wait();
  if (room_.failed != 0) return room_.failed;
  const std::size_t share = kMemory / 2 / spilled_.size();
  merge_.reset();
  merge_ = std::make_unique<EntryMerge>(
      *this, std::max(std::clamp(share, kLeastReadAhead, kReadAhead), entry_size()));
  if (const int failed = merge_->start()) return failed;
  order_block();
  return 0;
}

// Lets the second thread fill the block after the caller's.
void EntrySort::order_block() {
  room_.worker.run([this] {
    try {
      if (const int failed = merge_->fill(ahead_, kBlock)) room_.failed = failed;
    } catch (const std::bad_alloc&) {
      room_.failed = kIsNoMemory;
    }
  });
}

std::span<const std::byte> EntrySort::next_block() {
  room_.worker.wait();
  block_.swap(ahead_);
  if (block_.empty() || room_.failed != 0) {
    merge_.reset();
    return {};
  }
  order_block();
  return block_;
}

}  // namespace marigold::inner::isam
