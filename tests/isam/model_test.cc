// The engine against sorted lists in memory: random operations over several keys, every read mode,
// and the walk over the whole file again and again.

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <tuple>

#include "tests/isam/support.h"

namespace marigold::test {
namespace {

constexpr int kRecordLength = 240;
constexpr std::uint64_t kBehindEquals = ~std::uint64_t{0};
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Layout: int4 primary at 0; 3 characters at 4; double at 8; int2 at 16; 200 zeros at 20, which
// make one key so long that its tree has many levels; the rest filler.
const std::array<KeyDescription, 3> kKeys = {
    KeyDescription{.flags = 0, .part_count = 1, .parts = {{{0, 4, kIsInt4}}}},
    KeyDescription{.flags = 1,
                   .part_count = 3,
                   .parts = {{{4, 3, kIsCharacters}, {20, 200, kIsCharacters}, {16, 2, kIsInt2}}}},
    KeyDescription{.flags = 1, .part_count = 1, .parts = {{{8, 8, kIsDouble}}}}};

// Where a record stands in the order of a key: by two numbers that order as the key's parts do, and
// then as it was written, counted from 1.
using Spot = std::tuple<double, double, std::uint64_t>;
using Spots = std::array<Spot, kKeys.size()>;

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
    position_ = kBeforeAll;
  }

  // Grows for a while, then shrinks: trees divide their nodes, and join them again.
  void step() {
    if (below(1500) == 0) growing_ = !growing_;
    const unsigned writes = growing_ ? 40 : 8;
    const unsigned what = below(100);
    draw_value();
    if (what < writes) return write();
    if (what < writes + 4) return replace();
    if (what < 48) return erase();
    if (what >= 55) return read(static_cast<int>(below(8)));
    key_ = below(kKeys.size());
    expect(ISSTART(file_, kKeys[key_], 0, record_.data(), kIsEqual), kIsEqual);
  }

  void check() {
    EXPECT_EQ(walk(file_), "");
    EXPECT_EQ(iscount(file_), static_cast<std::int64_t>(orders_[0].size()));
  }

 private:
  using Order = std::map<Spot, std::string>;
  static constexpr Spot kBeforeAll{-kInfinity, 0, 0};
  static constexpr Spot kBehindAll{kInfinity, 0, 0};

  unsigned below(std::size_t bound) { return static_cast<unsigned>(random_() % bound); }

  // A random record, and where it would stand in each order if it were written now.
  void draw_value() {
    static constexpr std::array kAmounts = {-1e300, -2.5, -0.0, 0.0, 1e-300, 3.25, 7e77};
    // Now and then what the position stands at.
    const double at = std::get<0>(position_);
    const bool same = key_ == 0 && std::isfinite(at) && below(8) == 0;
    const auto number =
        same ? static_cast<std::int32_t>(at) : static_cast<std::int32_t>(below(3000)) - 1500;
    const auto small = static_cast<std::int16_t>(static_cast<int>(below(5)) - 2);
    const double amount = kAmounts[below(kAmounts.size())];
    const unsigned first = below(3) * 100;
    const unsigned second = below(4) * 80;  // characters compare unsigned, whatever char is here
    record_.assign(kRecordLength, '\0');
    for (char& byte : record_)
      byte = static_cast<char>(random_());
    isst_int4(number, record_.data());
    record_.replace(4, 3, {static_cast<char>(first), static_cast<char>(second), 'x'});
    isst_double(amount, record_.data() + 8);
    isst_int2(small, record_.data() + 16);
    record_.replace(20, 200, 200, '\0');
    spots_ = {Spot{number, 0, written_ + 1}, Spot{first * 256 + second, small, written_ + 1},
              Spot{amount, 0, written_ + 1}};
  }

  // The first one that has the drawn value of a key; the end when there is none.
  [[nodiscard]] Order::const_iterator equal(std::size_t key) const {
    const auto& [a, b, written] = spots_[key];
    const auto found = orders_[key].lower_bound({a, b, 0});
    const bool same = found != orders_[key].end() && std::get<0>(found->first) == a &&
                      std::get<1>(found->first) == b;
    return same ? found : orders_[key].end();
  }

  void store() {
    // By its primary key a record that is written anew is the one that the position stands at.
    const std::uint64_t at = std::get<2>(position_);
    if (key_ == 0 && at != 0 && at != kBehindEquals &&
        std::get<0>(position_) == std::get<0>(spots_[0]))
      position_ = spots_[0];
    ++written_;
    for (std::size_t key = 0; key < kKeys.size(); ++key)
      orders_[key][spots_[key]] = record_;
  }

  // Takes the record with the drawn primary key out, if there is one.
  bool take_out() {
    const auto there = equal(0);
    if (there == orders_[0].end()) return false;
    const std::uint64_t written = std::get<2>(there->first);
    for (Order& order : orders_)
      std::erase_if(order, [&](const auto& one) { return std::get<2>(one.first) == written; });
    return true;
  }

  void write() {
    const bool fresh = equal(0) == orders_[0].end();
    EXPECT_EQ(error_of(ISWRITE(file_, record_.data())), fresh ? 0 : kIsDuplicate);
    if (fresh) store();
  }

  void replace() {
    const bool there = take_out();
    EXPECT_EQ(error_of(ISREPLACE(file_, record_.data())), there ? 0 : kIsNoRecord);
    if (there) store();
  }

  void erase() {
    const bool there = take_out();
    EXPECT_EQ(error_of(ISDELETE(file_, record_.data())), there ? 0 : kIsNoRecord);
  }

  [[nodiscard]] Order::const_iterator find(int mode) const {
    const Order& order = orders_[key_];
    const auto before = [&](Order::const_iterator place) {
      return place == order.begin() ? order.end() : std::prev(place);
    };
    const auto& [a, b, written] = spots_[key_];
    if (mode == kIsFirst) return order.begin();
    if (mode == kIsLast) return before(order.end());
    if (mode == kIsNext) return order.upper_bound(position_);
    if (mode == kIsPrevious) return before(order.lower_bound(position_));
    if (mode == kIsCurrent) return order.find(position_);
    if (mode == kIsEqual) return equal(key_);
    return order.lower_bound({a, b, mode == kIsGreater ? kBehindEquals : 0});
  }

  // Compares a result with what must come of the mode, and moves the model's position.
  Order::const_iterator expect(int result, int mode) {
    const auto expected = find(mode);
    const bool found = expected != orders_[key_].end();
    const int beside = mode < kIsCurrent ? kIsEndOfFile : kIsNoRecord;
    const int missing = mode == kIsCurrent ? kIsNoCurrent : beside;
    EXPECT_EQ(error_of(result), found ? 0 : missing) << "mode " << mode << " key " << key_;
    if (found) {
      position_ = expected->first;
    } else if (mode > kIsCurrent) {
      // Between those that are less and those that are not; behind its equals when greater ones
      // were looked for.
      std::get<2>(position_ = spots_[key_]) = mode == kIsGreater ? kBehindEquals : 0;
    } else if (mode < kIsCurrent) {
      position_ = mode == kIsNext || mode == kIsLast ? kBehindAll : kBeforeAll;
    }
    return expected;
  }

  void read(int mode) {
    const std::string before_reading = record_;
    const int result = ISREAD(file_, record_.data(), mode);
    const auto expected = expect(result, mode);
    EXPECT_EQ(record_, expected == orders_[key_].end() ? before_reading : expected->second)
        << "mode " << mode << " key " << key_;
  }

  std::mt19937 random_;
  int file_ = -1;
  std::size_t key_ = 0;
  std::array<Order, kKeys.size()> orders_;
  std::uint64_t written_ = 0;
  Spot position_ = kBeforeAll;  // of a record, perhaps deleted since; or between records
  bool growing_ = true;
  std::string record_;
  Spots spots_;
};

TEST(IsamModelTest, RandomOperationsAgreeWithListsInMemory) {
  for (const unsigned seed : {1U, 2U, 3U}) {
    SCOPED_TRACE(seed);
    const WorkDirectory directory;
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
}  // namespace marigold::test
