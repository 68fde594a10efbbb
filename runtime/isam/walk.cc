#include "runtime/isam/walk.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "runtime/isam/record.h"
#include "runtime/isam/tree.h"

namespace marigold::isam {
namespace {

enum class Use : std::uint8_t { kNone, kNode, kFree };

class Walk {
 public:
  explicit Walk(File& file)
      : file_(file), pages_(file.contents().page_count), slots_(file.contents().slot_count + 1) {}

  std::vector<std::string> run() {
    walk_slots();
    for (std::size_t tree = 0; tree < file_.trees.size(); ++tree)
      walk_tree(tree);
    walk_free_pages();
    const std::uint64_t first = kUndoStart + file_.header().undo_pages;
    for (std::uint64_t page = first; page < pages_.size(); ++page) {
      if (pages_[page] == Use::kNone)
        say("page " + std::to_string(page) + " is neither in a tree nor free");
    }
    return std::move(findings_);
  }

 private:
  // A damaged file can have as many findings as bytes; these many tell enough.
  static constexpr std::size_t kMostFindings = 100;

  struct Node {
    PageNumber page;
    std::uint32_t level;
    const std::byte* least;     // null: no bound
    const std::byte* too_much;  // null: no bound
  };

  void say(const std::string& text) {
    if (findings_.size() < kMostFindings) findings_.push_back(text);
  }

  bool use_page(std::uint64_t page, Use use, const std::string& by) {
    if (page == 0 || page >= pages_.size() || pages_[page] != Use::kNone) {
      say(by + ": page " + std::to_string(page) + " is outside the file or used twice");
      return false;
    }
    pages_[page] = use;
    return true;
  }

  // ---- Slots

  void walk_slots() {
    const Contents& contents = file_.contents();
    for (std::uint64_t number = 1; number < slots_.size(); ++number) {
      if (!slot_is_live(file_, file_.slot(number))) continue;
      slots_[number] = Use::kNode;
      ++records_;
      if (record_sequence(file_.slot(number)) > contents.sequence) {
        say("slot " + std::to_string(number) + ": written later than the last record");
      }
    }
    if (records_ != contents.record_count) {
      say(std::to_string(records_) + " records, counted as " +
          std::to_string(contents.record_count));
    }
    const std::uint64_t unused = walk_free(contents.free_slot) +
                                 walk_gone(contents.gone, contents.epoch, "gone slot ") +
                                 walk_gone(contents.ripe, contents.epoch - 1, "ripe slot ");
    if (unused + records_ + 1 != slots_.size()) {
      say(std::to_string(slots_.size() - 1 - unused - records_) +
          " slots hold no whole record and are not free");
    }
  }

  // The number of slots in a chain.
  template <typename Look>
  std::uint64_t walk_chain(std::uint64_t number, const char* what, Look look) {
    std::uint64_t count = 0;
    for (; number != 0; ++count) {
      if (number >= slots_.size() || slots_[number] != Use::kNone) {
        say(what + std::to_string(number) + " is outside the file or used twice");
        break;
      }
      slots_[number] = Use::kFree;
      const auto* header = reinterpret_cast<const SlotHeader*>(file_.slot(number));
      if (!look(number, *header)) say(what + std::to_string(number) + " is damaged");
      number = header->next;
    }
    return count;
  }

  std::uint64_t walk_free(std::uint64_t first) {
    return walk_chain(first, "free slot ", [](std::uint64_t, const SlotHeader& header) {
      return header.state == kSlotGone || header.state == kSlotFree;
    });
  }

  // Slots that were given up in an epoch, and still hold what they held.
  std::uint64_t walk_gone(const SlotChain& chain, std::uint32_t epoch, const char* what) {
    std::uint64_t last = 0;
    const auto look = [&](std::uint64_t number, const SlotHeader& header) {
      last = number;
      return header.state == kSlotGone &&
             (header.check ^ slot_check(file_, file_.slot(number))) == epoch;
    };
    const std::uint64_t count = walk_chain(chain.first, what, look);
    if (count != chain.count || (count > 0 && last != chain.last)) {
      say(what + std::to_string(chain.first) + " begins a chain of " + std::to_string(count) +
          ", noted as one of " + std::to_string(chain.count));
    }
    return count;
  }

  // ---- Trees

  void walk_tree(std::size_t tree) {
    const TreeHeader& root = file_.contents().trees[tree];
    entries_ = 0;
    last_leaf_ = 0;
    if (root.levels < 1 || root.levels > kMostLevels)
      return say(name(tree) + ": impossible number of levels");
    walk_node(tree, {root.root, root.levels - 1, nullptr, nullptr});
    if (last_leaf_ != 0 && page_header(file_, last_leaf_).next != 0)
      say(name(tree) + ": the last leaf has a neighbour");
    if (entries_ != root.entries || entries_ != records_) {
      say(name(tree) + ": " + std::to_string(entries_) + " entries, counted as " +
          std::to_string(root.entries) + ", for " + std::to_string(records_) + " records");
    }
  }

  void walk_node(std::size_t tree, const Node& node) {
    if (!use_page(node.page, Use::kNode, name(tree))) return;
    if (!page_is_sound(file_, node.page, node.level == 0 ? kLeaf : kInner, tree)) {
      return say(name(tree) + ": page " + std::to_string(node.page) + " is damaged");
    }
    const bool is_root = node.page == file_.contents().trees[tree].root;
    const std::uint32_t count = page_header(file_, node.page).count;
    if (count == 0 && (!is_root || node.level > 0)) say(where(tree, node.page) + " is empty");
    if (count == 1 && is_root && node.level > 0)
      say(where(tree, node.page) + ": a root with one child");
    check_order(tree, node, count);
    if (node.level == 0) {
      check_leaf(tree, node.page, count);
    } else {
      walk_children(tree, node, count);
    }
  }

  // The first entry of an inner node stands for "less than everything" and is not looked at.
  void check_order(std::size_t tree, const Node& node, std::uint32_t count) {
    const std::uint32_t length = file_.trees[tree].compare_length;
    for (std::uint32_t i = node.level == 0 ? 0 : 1; i < count; ++i) {
      const std::byte* entry = entry_at(file_, tree, {node.page, i});
      const bool has_left = i > (node.level == 0 ? 0U : 1U);
      const bool ordered =
          !has_left || std::memcmp(entry_at(file_, tree, {node.page, i - 1}), entry, length) < 0;
      const bool inside =
          (node.least == nullptr || std::memcmp(node.least, entry, length) <= 0) &&
          (node.too_much == nullptr || std::memcmp(entry, node.too_much, length) < 0);
      if (!ordered || !inside)
        say(where(tree, node.page) + ": entry " + std::to_string(i) + " is out of order");
    }
  }

  void walk_children(std::size_t tree, const Node& node, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::byte* entry = entry_at(file_, tree, {node.page, i});
      const std::byte* next =
          i + 1 < count ? entry_at(file_, tree, {node.page, i + 1}) : node.too_much;
      walk_node(tree, {entry_number(file_.trees[tree], entry), node.level - 1,
                       i == 0 ? node.least : entry, next});
    }
  }

  void check_leaf(std::size_t tree, PageNumber page, std::uint32_t count) {
    const PageHeader& header = page_header(file_, page);
    if (header.previous != last_leaf_ ||
        (last_leaf_ != 0 && page_header(file_, last_leaf_).next != page)) {
      say(where(tree, page) + ": wrong neighbours");
    }
    last_leaf_ = page;
    entries_ += count;
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::byte* entry = entry_at(file_, tree, {page, i});
      const SlotNumber slot = entry_number(file_.trees[tree], entry);
      if (slot == 0 || slot >= slots_.size() || slots_[slot] != Use::kNode) {
        say(where(tree, page) + ": entry " + std::to_string(i) + " has no record");
        continue;
      }
      if (!is_entry_of(file_, tree, entry, file_.slot(slot))) {
        say(where(tree, page) + ": entry " + std::to_string(i) + " is not its record's");
      }
    }
  }

  // ---- Free pages

  void walk_free_pages() {
    std::uint64_t free = 0;
    for (std::uint64_t page = file_.contents().free_page; page != 0; ++free) {
      if (!use_page(page, Use::kFree, "free pages")) return;
      const PageHeader& header = page_header(file_, static_cast<PageNumber>(page));
      if (header.kind != kFreePage) say("free page " + std::to_string(page) + " is a node");
      page = header.next;
    }
    if (free != file_.contents().free_pages) {
      say(std::to_string(free) + " free pages, counted as " +
          std::to_string(file_.contents().free_pages));
    }
  }

  static std::string name(std::size_t tree) { return "key " + std::to_string(tree + 1); }
  static std::string where(std::size_t tree, PageNumber page) {
    return name(tree) + ", page " + std::to_string(page);
  }

  File& file_;
  std::vector<Use> pages_;
  std::vector<Use> slots_;
  std::vector<std::string> findings_;
  std::uint64_t records_ = 0;
  std::uint64_t entries_ = 0;
  PageNumber last_leaf_ = 0;
};

}  // namespace

std::vector<std::string> walk_file(File& file) {
  return Walk(file).run();
}

}  // namespace marigold::isam
