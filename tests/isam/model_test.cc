// The engine against a sorted list in memory: random operations over several keys, every read mode,
// and the walk over the whole file again and again.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <string>

#include "runtime/isam/isam.h"
#include "tests/support/support.h"

namespace marigold {
namespace {

constexpr int kRecordLength = 240;

// Layout: int4 primary at 0; 3 characters at 4; double at 8; int2 at 16; 200 zeros at 20, which
// make one key so long that its tree has many levels; the rest filler.
KeyDescription make_key(std::int16_t flags, std::initializer_list<KeyPart> parts) {
  KeyDescription key;
  key.flags = flags;
  for (const KeyPart& part : parts)
    key.parts[static_cast<std::size_t>(key.part_count++)] = part;
  return key;
}

const KeyDescription kKeys[] = {
    make_key(0, {{0, 4, kIsInt4}}),
    make_key(1, {{4, 3, kIsCharacters}, {20, 200, kIsCharacters}, {16, 2, kIsInt2}}),
    make_key(1, {{8, 8, kIsDouble}})};

struct Value {
  std::int32_t number = 0;
  std::string letters;
  double amount = 0;
  std::int16_t small = 0;

  // The order of each key, as a person would write it.
  [[nodiscard]] bool less(const Value& other, int key) const {
    if (key == 0) return number < other.number;
    if (key == 2) return amount < other.amount;
    return letters != other.letters ? letters < other.letters : small < other.small;
  }
};

struct Entry {
  Value value;
  std::uint64_t written = 0;
  std::string record;
};

std::string to_record(const Value& value, std::mt19937& random) {
  std::string record(kRecordLength, '\0');
  for (char& byte : record)
    byte = static_cast<char>(random());
  isst_int4(value.number, record.data());
  std::fill_n(record.begin() + 20, 200, '\0');
  std::memcpy(record.data() + 4, value.letters.data(), 3);
  isst_double(value.amount, record.data() + 8);
  isst_int2(value.small, record.data() + 16);
  return record;
}

enum class Place { kBeforeAll, kAt, kBetween, kBehindAll };

class Model {
 public:
  explicit Model(unsigned seed) : random_(seed) {
    file_ = ISBUILD("model", kRecordLength, kKeys[0], kIsInputOutput | kIsExclusive);
    EXPECT_EQ(ISADDINDEX(file_, kKeys[1]), 0);
    EXPECT_EQ(ISADDINDEX(file_, kKeys[2]), 0);
  }
  ~Model() { EXPECT_EQ(ISCLOSE(file_), 0); }

  void reopen(int lock_mode) {
    ASSERT_EQ(ISCLOSE(file_), 0);
    file_ = ISOPEN("model", kIsInputOutput | lock_mode);
    ASSERT_GE(file_, 0) << iserrno;
    key_ = 0;
    position_ = {};
  }

  // Grows for a while, then shrinks: trees divide their nodes, and join them again.
  void step() {
    if (below(1500) == 0) growing_ = !growing_;
    const unsigned often = 40;
    const unsigned seldom = 8;
    const unsigned writes = growing_ ? often : seldom;
    const unsigned what = below(100);
    if (what < writes) {
      write();
    } else if (what < writes + 4) {
      replace();
    } else if (what < often + seldom) {
      erase();
    } else if (what < 55) {
      start();
    } else {
      read(static_cast<int>(below(8)));
    }
  }

  void check() {
    std::vector<std::string> findings;
    ASSERT_EQ(ischeck(file_, findings), 0);
    EXPECT_EQ(findings, std::vector<std::string>{});
    EXPECT_EQ(iscount(file_), static_cast<std::int64_t>(entries_.size()));
  }

 private:
  unsigned below(unsigned bound) { return static_cast<unsigned>(random_()) % bound; }

  Value random_value() {
    static constexpr double kAmounts[] = {-1e300, -2.5, -0.0, 0.0, 1e-300, 3.25, 7e77};
    Value value;
    value.number = static_cast<std::int32_t>(below(3000)) - 1500;
    value.letters = {static_cast<char>(below(3) * 100), static_cast<char>(below(4) * 80), 'x'};
    value.amount = kAmounts[below(7)];
    value.small = static_cast<std::int16_t>(below(5)) - 2;
    return value;
  }

  // The entries in the order of the current key: by value, equal ones as they were written.
  std::vector<const Entry*> ordered() const {
    std::vector<const Entry*> order;
    for (const auto& [number, entry] : entries_)
      order.push_back(&entry);
    std::ranges::sort(order, [this](const Entry* a, const Entry* b) { return before(*a, *b); });
    return order;
  }
  bool before(const Entry& a, const Entry& b) const {
    if (unsigned_less(a.value, b.value)) return true;
    return !unsigned_less(b.value, a.value) && !is_same(a, b) && a.written < b.written;
  }
  // By its primary key a record that was written anew is the one that the position stands at.
  bool is_same(const Entry& a, const Entry& b) const {
    return key_ == 0 && position_.place == Place::kAt && a.value.number == b.value.number;
  }
  // Characters are compared unsigned, whatever char is here.
  bool unsigned_less(const Value& a, const Value& b) const {
    if (key_ != 1) return a.less(b, key_);
    const int order = std::memcmp(a.letters.data(), b.letters.data(), 3);
    return order != 0 ? order < 0 : a.small < b.small;
  }

  void write() {
    const Value value = random_value();
    const std::string record = to_record(value, random_);
    const bool fresh = !entries_.contains(value.number);
    EXPECT_EQ(ISWRITE(file_, record.data()), fresh ? 0 : -1);
    if (!fresh) {
      EXPECT_EQ(iserrno, kIsDuplicate);
      return;
    }
    entries_[value.number] = {value, ++written_, record};
  }

  void replace() {
    Value value = random_value();
    if (below(2) == 0) value.number = position_.entry.value.number;
    const std::string record = to_record(value, random_);
    const auto entry = entries_.find(value.number);
    EXPECT_EQ(ISREPLACE(file_, record.data()), entry != entries_.end() ? 0 : -1);
    if (entry != entries_.end()) {
      entry->second = {value, ++written_, record};
    } else {
      EXPECT_EQ(iserrno, kIsNoRecord);
    }
  }

  void erase() {
    const Value value = random_value();
    const std::string record = to_record(value, random_);
    const bool there = entries_.erase(value.number) > 0;
    EXPECT_EQ(ISDELETE(file_, record.data()), there ? 0 : -1);
    if (!there) {
      EXPECT_EQ(iserrno, kIsNoRecord);
    }
  }

  void start() {
    key_ = static_cast<int>(below(3));
    const Value value = random_value();
    const std::string record = to_record(value, random_);
    const int result = ISSTART(file_, kKeys[key_], 0, record.data(), kIsEqual);
    const Entry* found = find_by_value(value, kIsEqual);
    EXPECT_EQ(result, found != nullptr ? 0 : -1);
    if (found == nullptr) {
      EXPECT_EQ(iserrno, kIsNoRecord);
    }
    stand(found, value, kIsEqual);
  }

  const Entry* find_by_value(const Value& value, int mode) const {
    for (const Entry* entry : ordered()) {
      const bool less = unsigned_less(entry->value, value);
      const bool greater = unsigned_less(value, entry->value);
      if (mode == kIsEqual && !less && !greater) return entry;
      if (mode == kIsGreater && greater) return entry;
      if (mode == kIsGreaterOrEqual && !less) return entry;
    }
    return nullptr;
  }

  void stand(const Entry* found, const Value& value, int mode) {
    if (found != nullptr) {
      position_ = {Place::kAt, *found};
    } else {
      // Between those that are less and those that are not; behind its equals when greater ones
      // were looked for.
      position_ = {Place::kBetween, Entry{value, mode == kIsGreater ? ~std::uint64_t{0} : 0, ""}};
    }
  }

  [[nodiscard]] const Entry* next() const {
    const auto order = ordered();
    if (order.empty() || position_.place == Place::kBehindAll) return nullptr;
    if (position_.place == Place::kBeforeAll) return order.front();
    const auto found = std::ranges::find_if(
        order, [&](const Entry* entry) { return before(position_.entry, *entry); });
    return found == order.end() ? nullptr : *found;
  }

  [[nodiscard]] const Entry* previous() const {
    auto order = ordered();
    if (order.empty() || position_.place == Place::kBeforeAll) return nullptr;
    if (position_.place == Place::kBehindAll) return order.back();
    std::ranges::reverse(order);
    const auto found = std::ranges::find_if(
        order, [&](const Entry* entry) { return before(*entry, position_.entry); });
    return found == order.end() ? nullptr : *found;
  }

  [[nodiscard]] const Entry* current() const {
    if (position_.place != Place::kAt) return nullptr;
    const auto same = entries_.find(position_.entry.value.number);
    const bool there = same != entries_.end() && (is_same(same->second, position_.entry) ||
                                                  same->second.written == position_.entry.written);
    return there ? &same->second : nullptr;
  }

  [[nodiscard]] const Entry* expect_for(int mode, const Value& value) const {
    const auto order = ordered();
    switch (mode) {
      case kIsFirst:
        return order.empty() ? nullptr : order.front();
      case kIsLast:
        return order.empty() ? nullptr : order.back();
      case kIsNext:
        return next();
      case kIsPrevious:
        return previous();
      case kIsCurrent:
        return current();
      default:
        return find_by_value(value, mode);
    }
  }

  void read(int mode) {
    const Value value = random_value();
    std::string record = to_record(value, random_);
    const std::string before_reading = record;
    const Entry* expected = expect_for(mode, value);
    const int result = ISREAD(file_, record.data(), mode);
    ASSERT_EQ(result, expected != nullptr ? 0 : -1)
        << "mode " << mode << " key " << key_ << " iserrno " << iserrno;
    if (expected == nullptr) {
      EXPECT_EQ(iserrno, mode == kIsCurrent  ? kIsNoCurrent
                         : mode < kIsCurrent ? kIsEndOfFile
                                             : kIsNoRecord);
      EXPECT_EQ(record, before_reading);
      if (mode == kIsNext || mode == kIsLast) position_ = {Place::kBehindAll, {}};
      if (mode == kIsPrevious || mode == kIsFirst) position_ = {Place::kBeforeAll, {}};
    } else {
      EXPECT_EQ(record, expected->record) << "mode " << mode << " key " << key_;
    }
    if (mode >= kIsEqual || expected != nullptr) stand(expected, value, mode);
  }

  std::mt19937 random_;
  int file_ = -1;
  int key_ = 0;
  std::map<std::int32_t, Entry> entries_;
  std::uint64_t written_ = 0;
  struct {
    Place place = Place::kBeforeAll;
    Entry entry;  // stood at, perhaps deleted since; or a value between entries
  } position_;
  bool growing_ = true;
};

TEST(IsamModelTest, RandomOperationsAgreeWithAListInMemory) {
  for (const unsigned seed : {1U, 2U, 3U}) {
    SCOPED_TRACE(seed);
    const test::WorkDirectory directory;
    Model model(seed);
    const int lock_modes[] = {kIsExclusive, kIsManualLock, kIsAutoLock, 0};
    for (int round = 0; round < 12 && !testing::Test::HasFailure(); ++round) {
      for (int i = 0; i < 700 && !testing::Test::HasFailure(); ++i)
        model.step();
      model.check();
      model.reopen(lock_modes[round % 4]);
      model.check();
    }
  }
}

}  // namespace
}  // namespace marigold
