// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/rebuild.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "runtime/isam/common/change_step.h"
#include "runtime/isam/local/collisions.h"
#include "runtime/isam/local/entry_sort.h"
#include "runtime/isam/local/hit.h"
#include "runtime/isam/local/pairing.h"
#include "runtime/isam/local/record.h"
#include "runtime/isam/local/slot_set.h"
#include "runtime/isam/local/slots.h"
#include "runtime/isam/local/space.h"
#include "runtime/isam/local/tree_build.h"

namespace marigold::inner::isam {
namespace {

struct RebuildState {
  IsRebuildWatch watch;
};
RebuildState state;

// Bytes of slots that are read before they leave the process's memory.
constexpr std::uint64_t kPieceBytes = std::uint64_t{4} << 20;

// Returns a path in the directory of the data file.
std::string directory_of(const File& file) {
  return file.base.substr(file.base.starts_with('*') ? 1 : 0);
}

// Slots that the data file has space for.
std::uint64_t slots_with_space(const File& file) {
  return (file.data_space - kDataStart) / file.slot_size;
}

SlotHeader& header_at(const File& file, std::uint64_t slot) {
  return *reinterpret_cast<SlotHeader*>(file.slot(slot));
}

void forget_slots(const File& file, std::uint64_t first, std::uint64_t end) {
  file.data.forget(kDataStart + (first - 1) * file.slot_size, (end - first) * file.slot_size);
}

// Calls the body with each slot of a file, and `done` now and then with the number of slots so far.
// A result of the body other than 0 ends the loop.
template <typename Body, typename Done>
int each_slot(const File& file, std::uint64_t slots, Body body, Done done) {
  const std::uint64_t piece = std::max<std::uint64_t>(kPieceBytes / file.slot_size, 1);
  for (std::uint64_t first = 1; first <= slots; first += piece) {
    const std::uint64_t end = std::min(first + piece, slots + 1);
    for (std::uint64_t number = first; number < end; ++number) {
      if (const int failed = body(number)) return failed;
    }
    forget_slots(file, first, end);
    done(end - 1);
  }
  return 0;
}

// Length of an entry as it is sorted, in every tree: the key and the sequence; the slot follows. So
// entries with one value of the key stand side by side in the order of writing.
std::size_t sorted_length(const TreeShape& shape) {
  return shape.key_length + kSequenceLength;
}

bool add_entry(EntrySort& sort, const TreeShape& shape, const std::byte* slot, SlotNumber number) {
  std::byte* to = sort.add(number);
  if (to == nullptr) return false;
  key_from_record(shape.key, reinterpret_cast<const char*>(slot + sizeof(SlotHeader)), to);
  const std::uint64_t sequence = __builtin_bswap64(record_sequence(slot)) >> 16;
  std::memcpy(to + shape.key_length, &sequence, kSequenceLength);
  return true;
}

SlotNumber number_of(const std::byte* entry, const TreeShape& shape) {
  SlotNumber number = 0;
  std::memcpy(&number, entry + sorted_length(shape), sizeof number);
  return number;
}

// Calls the body with each entry of a sort, and `done` now and then with the number of entries so
// far.
template <typename Body, typename Done>
int each_entry(EntrySort& sort, Body body, Done done) {
  std::uint64_t count = 0;
  return sort.each_block([&](std::span<const std::byte> block) {
    const std::size_t size = sort.entry_size();
    for (std::size_t at = 0; at < block.size(); at += size) {
      if (const int failed = body(block.data() + at)) return failed;
    }
    count += block.size() / size;
    done(count);
    return 0;
  });
}

}  // namespace

class Rebuild::Work {
 public:
  Work(File& file, RebuildOptions options)
      : file_(file),
        options_(std::move(options)),
        slots_(slots_with_space(file)),
        all_(slots_ * (1 + file.trees.size())),
        live_(slots_ + 1),
        unchanged_(slots_ + 1),
        room_(file.trees.size(), directory_of(file)) {
    for (const TreeShape& shape : file.trees)
      sorts_.push_back(std::make_unique<EntrySort>(room_, sorted_length(shape), slots_));
  }

  int make_trees(RebuildStock& stock) {
    if (const int failed = lay_out()) return failed;
    if (const int failed = read_slots(stock)) return failed;
    for (const auto& sort : sorts_) {
      if (const int failed = sort->sort()) return failed;
    }
    for (std::size_t tree = 0; tree < file_.trees.size(); ++tree) {
      if (const int failed = make_tree(tree)) return failed;
      sorts_[tree].reset();
    }
    if (const int failed = resolve_collisions(file_, versions_, set_aside_, live_)) return failed;
    count();
    return 0;
  }

  int mark_slots() {
    std::uint64_t end = file_.contents().slot_count + 1;  // of the slots still in memory
    SlotNumber free = 0;                                  // the next one in the chain
    for (std::uint64_t number = file_.contents().slot_count; number > 0; --number) {
      if (live_.has(number) && unchanged_.has(number)) continue;
      mark_slot(number, free);
      if (!live_.has(number)) free = static_cast<SlotNumber>(number);
      if ((end - number) * file_.slot_size < kPieceBytes) continue;
      forget_slots(file_, number, end);
      end = number;
    }
    return must_last_ ? file_.data.sync() : 0;
  }

  void report_end() const { report_progress(all_); }

 private:
  // Lays out header and undo area, without a tree.
  int lay_out() {
    IndexHeader& header = file_.header();
    const std::uint64_t undo_pages = undo_pages_needed(file_.trees);
    header.contents = Contents{};
    header.kept = {};
    header.contents.page_count = kUndoStart + undo_pages;
    header.undo_pages = undo_pages;
    header.undo_used = 0;
    return file_grow_index(file_, kUndoStart + undo_pages + file_.trees.size());
  }

  int read_slots(RebuildStock& stock) {
    return each_slot(
        file_, slots_, [&](std::uint64_t number) { return read_slot(number, stock); },
        [&](std::uint64_t done) { report_progress(done); });
  }

  int read_slot(std::uint64_t number, RebuildStock& stock) {
    const std::byte* slot = file_.slot(number);
    const SlotHeader header = header_at(file_, number);
    if (header.state == kSlotUnused) return 0;
    used_ = number;
    const bool is_live = slot_is_live(file_, slot);
    if (!is_live && !slot_has_survived(file_, slot)) {
      stock.torn += header.state != kSlotFree && header.state != kSlotGone ? 1 : 0;
      return 0;
    }
    ++stock.survivors;
    sequence_ = std::max(sequence_, sequence_of(header));
    live_.add(number);
    if (is_live) unchanged_.add(number);
    must_last_ = must_last_ || !is_live;
    for (std::size_t tree = 0; tree < sorts_.size(); ++tree) {
      if (!add_entry(*sorts_[tree], file_.trees[tree], slot, static_cast<SlotNumber>(number)))
        return room_.failed;
    }
    return 0;
  }

  void mark_slot(std::uint64_t number, SlotNumber next_free) {
    SlotHeader header = header_at(file_, number);
    if (live_.has(number)) {
      header.state = kSlotLive;
      header.checksum = slot_checksum(file_, file_.slot(number));
    } else {
      header.state = kSlotFree;
      header.next = next_free;
    }
    // A store makes the page dirty, even if nothing changes.
    if (std::memcmp(&header, file_.slot(number), sizeof header) == 0) return;
    change_step();
    std::memcpy(file_.slot(number), &header, sizeof header);
  }

  int make_tree(std::size_t tree) {
    TreeBuilder builder(file_, tree);
    const auto done = [&](std::uint64_t entries) {
      report_progress((1 + tree) * slots_ + entries);
    };
    const int failed = tree == 0 ? add_latest(builder, done) : add_live(tree, builder, done);
    return failed != 0 ? failed : builder.finish();
  }

  // Adds the entries of tree 0: the last of those with one primary key wins.
  template <typename Done>
  int add_latest(TreeBuilder& builder, Done done) {
    const TreeShape& shape = file_.trees[0];
    std::vector<std::byte> latest;
    const auto add = [&] {
      return latest.empty() ? 0 : builder.add(latest.data(), number_of(latest.data(), shape));
    };
    const auto look = [&](const std::byte* entry) {
      if (!latest.empty() && std::memcmp(latest.data(), entry, shape.key_length) == 0) {
        const SlotNumber older = number_of(latest.data(), shape);
        versions_.push_back({.newer = number_of(entry, shape), .older = older});
        live_.remove(older);
        must_last_ = true;
      } else if (const int failed = add()) {
        return failed;
      }
      latest.assign(entry, entry + sorts_[0]->entry_size());
      return 0;
    };
    const int failed = each_entry(*sorts_[0], look, done);
    return failed != 0 ? failed : add();
  }

  // Adds the entries of another tree: the first of those with one value of a key without duplicates
  // stays. In a tree with duplicates only a damaged file has two equal entries.
  template <typename Done>
  int add_live(std::size_t tree, TreeBuilder& builder, Done done) {
    const TreeShape& shape = file_.trees[tree];
    std::vector<std::byte> before;
    const auto look = [&](const std::byte* entry) {
      const SlotNumber number = number_of(entry, shape);
      if (!live_.has(number)) return 0;
      if (!before.empty() && std::memcmp(before.data(), entry, shape.compare_length) == 0) {
        set_aside_.push_back(number);
        live_.remove(number);
        must_last_ = true;
        return 0;
      }
      before.assign(entry, entry + shape.compare_length);
      return builder.add(entry, number);
    };
    return each_entry(*sorts_[tree], look, done);
  }

  // Counts the records, and finds the first free slot of the chain that mark_slots makes.
  void count() {
    Contents& contents = file_.contents();
    contents.epoch = settled_epoch(file_) + 1;
    contents.sequence = sequence_;  // of all survivors: no number is given twice
    contents.slot_count = used_;
    while (options_.give_back && contents.slot_count > 0 && !live_.has(contents.slot_count))
      --contents.slot_count;
    for (std::uint64_t number = contents.slot_count; number > 0; --number) {
      contents.record_count += live_.has(number) ? 1 : 0;
      if (!live_.has(number)) contents.free_slot = number;
    }
  }

  void report_progress(std::uint64_t done) const {
    if (options_.watch) {
      options_.watch(done, all_);
    } else if (state.watch) {
      state.watch(file_.base, done, all_);
    }
  }

  File& file_;
  RebuildOptions options_;
  std::uint64_t slots_;
  std::uint64_t all_;  // steps of the whole work
  SlotSet live_;
  SlotSet unchanged_;       // live as they stand
  std::uint64_t used_ = 0;  // last slot that was ever used
  std::uint64_t sequence_ = 0;
  bool must_last_ = false;  // some survivors are no records, or not as they stand
  Versions versions_;
  std::vector<SlotNumber> set_aside_;
  SortRoom room_;
  std::vector<std::unique_ptr<EntrySort>> sorts_;
};

Rebuild::Rebuild(File& file, RebuildOptions options) : file_(file), options_(std::move(options)) {}

Rebuild::~Rebuild() = default;

int Rebuild::make_trees(RebuildStock& stock) {
  struct Scope {
    File& file;
    explicit Scope(File& opened) : file(opened) { set(false); }
    ~Scope() { set(true); }
    void set(bool logging) const {
      file.logging = logging;
      file.saved_pages.clear();
    }
  };
  const Scope scope(file_);
  int failed = 0;
  try {
    work_ = std::make_unique<Work>(file_, options_);
    failed = work_->make_trees(stock);
    if (was_hit(file_)) failed = after_hit(file_);
  } catch (const std::bad_alloc&) {
    failed = kIsNoMemory;
  }
  if (work_ != nullptr) work_->report_end();
  return failed;
}

int Rebuild::mark_slots() {
  const int failed = work_->mark_slots();
  return was_hit(file_) ? after_hit(file_) : failed;
}

void watch_rebuilds(IsRebuildWatch watch) {
  state.watch = std::move(watch);
}

int rebuild_indexes(File& file, const RebuildOptions& options) {
  if (const int failed = put_in_use(file, kStateRebuild)) return failed;
  Rebuild rebuild(file, options);
  RebuildStock stock;
  int failed = rebuild.make_trees(stock);
  if (failed == 0) failed = rebuild.mark_slots();
  // Remembered places are void. The count is odd after a failure: the trees then have no meaning,
  // and the next process that wants to read or change them starts over.
  file.header().changes = (file.header().changes / 2 + 1) * 2 + (failed != 0 ? 1 : 0);
  if (failed != 0) return failed;
  file.header().state = kStateInUse;
  return options.give_back ? give_back_space(file) : 0;
}

int has_duplicates(const File& file, const TreeShape& shape, bool& found) {
  try {
    const std::uint64_t slots = file.contents().slot_count;
    SortRoom room(1, directory_of(file));
    EntrySort sort(room, sorted_length(shape), slots);
    const auto read = [&](std::uint64_t number) {
      const std::byte* slot = file.slot(number);
      const bool full = slot_is_live(file, slot) &&
                        !add_entry(sort, shape, slot, static_cast<SlotNumber>(number));
      return full ? room.failed.load() : 0;
    };
    const auto ignore = [](std::uint64_t) {};
    if (const int failed = each_slot(file, slots, read, ignore)) return failed;
    if (const int failed = sort.sort()) return failed;
    std::vector<std::byte> before;
    found = false;
    const auto look = [&](const std::byte* entry) {
      found =
          found || (!before.empty() && std::memcmp(before.data(), entry, shape.key_length) == 0);
      before.assign(entry, entry + shape.key_length);
      return 0;
    };
    return each_entry(sort, look, ignore);
  } catch (const std::bad_alloc&) {
    return kIsNoMemory;
  }
}

}  // namespace marigold::inner::isam
