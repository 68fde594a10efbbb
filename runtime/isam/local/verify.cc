// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/isam/local/verify.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "runtime/isam/local/count_text.h"
#include "runtime/isam/local/record.h"
#include "runtime/isam/local/slots.h"
#include "runtime/isam/local/tree.h"

namespace marigold::inner::isam {
namespace {

enum class Use : std::uint8_t { kNone, kUsed, kFree };

class Verification {
 public:
  Verification(File& file, const IsWatch& watch)
      : file_(file),
        watch_(watch),
        pages_(file.contents().page_count),
        slots_(file.contents().slot_count + 1) {}

  std::vector<std::string> run() {
    verify_slots();
    for (std::size_t tree = 0; tree < file_.trees.size(); ++tree)
      verify_tree(tree);
    verify_free_pages();
    const std::uint64_t first = kUndoStart + file_.header().undo_pages;
    for (std::uint64_t page = first; page < pages_.size(); ++page) {
      if (pages_[page] == Use::kNone)
        report("page " + std::to_string(page) + " is neither in a tree nor free");
    }
    return std::move(findings_);
  }

 private:
  // A damaged file can have as many findings as bytes.
  static constexpr std::size_t kMostFindings = 100;

  struct Visit {
    PageNumber page;
    std::uint32_t level;
    const Probe* least;  // null: no bound
    const Probe* limit;  // null: no bound
  };

  void report(const std::string& text) {
    if (findings_.size() < kMostFindings) findings_.push_back(text);
  }

  bool use_page(std::uint64_t page, Use use, const std::string& by) {
    if (page == 0 || page >= pages_.size() || pages_[page] != Use::kNone) {
      report(by + ": page " + std::to_string(page) + " is outside the file or used twice");
      return false;
    }
    pages_[page] = use;
    return true;
  }

  // ---- Slots

  void verify_slots() {
    const Contents& contents = file_.contents();
    for (std::uint64_t number = 1; number < slots_.size(); ++number) {
      if (!slot_is_live(file_, file_.slot(number))) continue;
      slots_[number] = Use::kUsed;
      ++records_;
      if (record_sequence(file_.slot(number)) > contents.sequence) {
        report("slot " + std::to_string(number) + " was written later than the last record");
      }
    }
    if (records_ != contents.record_count) {
      report(records_text(records_) + header_counts(contents.record_count));
    }
    verify_unused_slots();
    const std::uint64_t unused = verify_free(contents.free_slot) +
                                 verify_gone(contents.gone, contents.epoch, "gone slot ") +
                                 verify_gone(contents.ripe, contents.epoch - 1, "ripe slot ") +
                                 verify_kept(file_.header().kept);
    if (unused + records_ + 1 != slots_.size()) {
      report(count_text(slots_.size() - 1 - unused - records_,
                        "slot holds no whole record and is not free",
                        "slots hold no whole record and are not free"));
    }
  }

  // Records there belong to a newer index. They are read by calls: on a full disk the mapped memory
  // may have no page for them.
  void verify_unused_slots() {
    constexpr std::uint64_t kAtOnce = 256;
    std::vector<std::byte> piece(kAtOnce * file_.slot_size);
    for (std::uint64_t number = slots_.size(); number <= file_.slots; number += kAtOnce) {
      const std::uint64_t count = std::min(kAtOnce, file_.slots - number + 1);
      const std::uint64_t offset = kDataStart + (number - 1) * file_.slot_size;
      const std::span bytes = std::span(piece).first(count * file_.slot_size);
      if (file_.data.read(offset, bytes) != 0)
        return report("the end of the data file cannot be read");
      for (std::uint64_t i = 0; i < count; ++i) {
        const auto* header = reinterpret_cast<const SlotHeader*>(&piece[i * file_.slot_size]);
        if (header->state != kSlotUnused)
          report("slot " + std::to_string(number + i) + ", after the last one, is not empty");
      }
    }
  }

  // Verifies the slots of a chain and returns their number.
  template <typename Look>
  std::uint64_t verify_chain(std::uint64_t number, const char* what, Look look) {
    std::uint64_t count = 0;
    for (; number != 0; ++count) {
      if (number >= slots_.size() || slots_[number] != Use::kNone) {
        report(what + std::to_string(number) + " is outside the file or used twice");
        break;
      }
      slots_[number] = Use::kFree;
      const auto* header = reinterpret_cast<const SlotHeader*>(file_.slot(number));
      if (!look(number, *header)) report(what + std::to_string(number) + " is damaged");
      number = header->next;
    }
    return count;
  }

  std::uint64_t verify_free(std::uint64_t first) {
    return verify_chain(first, "free slot ", [](std::uint64_t, const SlotHeader& header) {
      return header.state == kSlotGone || header.state == kSlotFree;
    });
  }

  std::uint64_t verify_kept(const SlotChain& chain) {
    const std::uint64_t count = verify_chain(
        chain.first, "kept slot ",
        [](std::uint64_t, const SlotHeader& header) { return header.state == kSlotGone; });
    if (count != chain.count)
      report(count_text(count, "kept slot", "kept slots") + header_counts(chain.count));
    return count;
  }

  // Verifies slots that were deleted in an epoch and still hold their records.
  std::uint64_t verify_gone(const SlotChain& chain, std::uint32_t epoch, const char* what) {
    std::uint64_t last = 0;
    const auto look = [&](std::uint64_t number, const SlotHeader& header) {
      last = number;
      return header.state == kSlotGone &&
             (header.checksum ^ slot_checksum(file_, file_.slot(number))) == epoch;
    };
    const std::uint64_t count = verify_chain(chain.first, what, look);
    if (count != chain.count || (count > 0 && last != chain.last)) {
      report(what + std::to_string(chain.first) + " begins a chain of " + slots_text(count) +
             " that ends with " + std::to_string(last) + "; the header has " +
             slots_text(chain.count) + " and " + std::to_string(chain.last));
    }
    return count;
  }

  // ---- Trees

  void verify_tree(std::size_t tree) {
    const TreeHeader& root = file_.contents().trees[tree];
    entries_ = 0;
    last_leaf_ = 0;
    last_next_ = 0;
    if (root.levels < 1 || root.levels > kMostLevels)
      return report(name(tree) + ": impossible number of levels");
    verify_node(tree, {root.root, root.levels - 1, nullptr, nullptr});
    if (last_next_ != 0) report(name(tree) + ": the last leaf has a right neighbour");
    if (entries_ != root.entries || entries_ != records_) {
      report(name(tree) + ": " + entries_text(entries_) + " for " + records_text(records_) +
             header_counts(root.entries));
    }
  }

  void verify_node(std::size_t tree, const Visit& visit) {
    if (!use_page(visit.page, Use::kUsed, name(tree))) return;
    Node node;
    if (!read_node(file_, visit.page, visit.level == 0 ? kLeaf : kInner, tree, node)) {
      return report(name(tree) + ": page " + std::to_string(visit.page) + " is damaged");
    }
    const bool is_root = visit.page == file_.contents().trees[tree].root;
    const std::uint32_t count = node.header.count;
    if (count == 0 && (!is_root || visit.level > 0)) report(where(tree, visit.page) + " is empty");
    if (count == 1 && is_root && visit.level > 0)
      report(where(tree, visit.page) + ": a root with one child");
    verify_order(tree, visit, node);
    if (visit.level == 0) {
      verify_leaf(tree, visit.page, node);
    } else {
      verify_children(tree, visit, node);
    }
  }

  // Returns an entry with the zeros that an inner node leaves out.
  static Probe whole_entry(const Node& node, std::uint32_t index) {
    Probe entry;
    node_entry(node, index, entry);
    std::fill(entry.begin() + node.header.prefix + node.header.kept, entry.end(), std::byte{0});
    return entry;
  }

  // The first entry of an inner node stands for "less than everything" and is never compared.
  void verify_order(std::size_t tree, const Visit& visit, const Node& node) {
    const std::uint32_t length = file_.trees[tree].compare_length;
    const auto is_less = [length](const Probe& a, const Probe& b) {
      return std::memcmp(a.data(), b.data(), length) < 0;
    };
    const std::uint32_t first = visit.level == 0 ? 0 : 1;
    Probe before;
    for (std::uint32_t i = first; i < node.header.count; ++i) {
      const Probe entry = whole_entry(node, i);
      const bool ordered = i == first || is_less(before, entry);
      const bool inside = (visit.least == nullptr || !is_less(entry, *visit.least)) &&
                          (visit.limit == nullptr || is_less(entry, *visit.limit));
      if (!ordered || !inside)
        report(where(tree, visit.page) + ": entry " + std::to_string(i) + " is out of order");
      before = entry;
    }
  }

  void verify_children(std::size_t tree, const Visit& visit, const Node& node) {
    const std::uint32_t count = node.header.count;
    for (std::uint32_t i = 0; i < count; ++i) {
      const Probe entry = whole_entry(node, i);
      const Probe next = i + 1 < count ? whole_entry(node, i + 1) : Probe{};
      verify_node(tree, {node.number(i), visit.level - 1, i == 0 ? visit.least : &entry,
                         i + 1 < count ? &next : visit.limit});
    }
  }

  void verify_leaf(std::size_t tree, PageNumber page, const Node& node) {
    if (node.header.previous != last_leaf_ || (last_leaf_ != 0 && last_next_ != page))
      report(where(tree, page) + ": wrong neighbours");
    last_leaf_ = page;
    last_next_ = node.header.next;
    entries_ += node.header.count;
    if (watch_) watch_(tree * records_ + entries_, file_.trees.size() * records_);
    for (std::uint32_t i = 0; i < node.header.count; ++i) {
      const SlotNumber slot = node.number(i);
      if (slot == 0 || slot >= slots_.size() || slots_[slot] != Use::kUsed) {
        report(where(tree, page) + ": entry " + std::to_string(i) + " has no record");
        continue;
      }
      if (!is_entry_of(file_, tree, whole_entry(node, i), file_.slot(slot))) {
        report(where(tree, page) + ": entry " + std::to_string(i) + " does not match its record");
      }
    }
  }

  // ---- Free pages

  void verify_free_pages() {
    std::uint64_t free = 0;
    for (std::uint64_t page = file_.contents().free_page; page != 0; ++free) {
      if (!use_page(page, Use::kFree, "free pages")) return;
      const auto& header = *reinterpret_cast<const PageHeader*>(file_.page(page));
      if (header.kind != kFreePage) report("free page " + std::to_string(page) + " is a node");
      page = header.next;
    }
    if (free != file_.contents().free_pages) {
      report(count_text(free, "free page", "free pages") +
             header_counts(file_.contents().free_pages));
    }
  }

  static std::string header_counts(std::uint64_t count) {
    return "; the header counts " + std::to_string(count);
  }
  static std::string slots_text(std::uint64_t count) { return count_text(count, "slot", "slots"); }
  static std::string name(std::size_t tree) { return "key " + std::to_string(tree + 1); }
  static std::string where(std::size_t tree, PageNumber page) {
    return name(tree) + ", page " + std::to_string(page);
  }

  File& file_;
  const IsWatch& watch_;
  std::vector<Use> pages_;
  std::vector<Use> slots_;
  std::vector<std::string> findings_;
  std::uint64_t records_ = 0;
  std::uint64_t entries_ = 0;
  PageNumber last_leaf_ = 0;
  PageNumber last_next_ = 0;  // its right neighbour
};

}  // namespace

std::vector<std::string> verify_file(File& file, const IsWatch& watch) {
  return Verification(file, watch).run();
}

}  // namespace marigold::inner::isam
