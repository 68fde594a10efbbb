// SPDX-License-Identifier: GPL-3.0-or-later
// An engine against sorted lists in memory: random operations over several keys, every read mode,
// and a verification of the whole file again and again.

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <tuple>

#include "tests/isam/support.h"

namespace marigold::inner::test {
namespace {

constexpr std::uint64_t kBehindEquals = ~std::uint64_t{0};
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// Layout: int4 primary key at 0; 3 characters at 4; double at 8; int2 at 16; 200 zeros at 20, which
// make one key so long that its tree has many levels, unless most entries of a node have a common
// prefix; the rest filler.
constexpr std::array<KeyDescription, 3> kKeys = {
    {{0, 1, {{{0, 4, kIsInt4}}}},
     {1, 3, {{{4, 3, kIsCharacters}, {20, 200, kIsCharacters}, {16, 2, kIsInt2}}}},
     {1, 1, {{{8, 8, kIsDouble}}}}}};

// Position of a record in the order of a key: two numbers that order like the key's parts, then an
// even number that counts the records written. Odd numbers stand for positions between records.
using Spot = std::tuple<double, double, std::uint64_t>;
using Spots = std::array<Spot, kKeys.size()>;

class Model {
 public:
  explicit Model(unsigned seed) : random_(seed), base_(at("model" + std::to_string(seed))) {
    file_ = ISBUILD(base_.c_str(), kWideRecord, kKeys[0], kExclusiveMode);
    EXPECT_EQ(ISADDINDEX(file_, kKeys[1]), 0);
    EXPECT_EQ(ISADDINDEX(file_, kKeys[2]), 0);
  }
  ~Model() { EXPECT_EQ(ISCLOSE(file_), 0); }

  void reopen(int lock_mode) {
    check();
    ASSERT_EQ(ISCLOSE(file_), 0);
    file_ = ISOPEN(base_.c_str(), kIsInputOutput | lock_mode);
    ASSERT_GE(file_, 0) << iserrno;
    key_ = 0;
    position_ = kBeforeAll;
    check();
  }

  // Grows for a while, then shrinks: trees split their nodes, and merge them again.
  void step() {
    if (below(1500) == 0) growing_ = !growing_;
    const unsigned writes = growing_ ? 40 : 8;
    const unsigned what = below(100);
    draw_value();
    if (what < writes) return change(Does::kWrite);
    if (what < writes + 4) return change(Does::kReplace);
    if (what < 48) return change(Does::kDelete);
    if (what >= 55) return read(static_cast<int>(below(8)));
    key_ = below(kKeys.size());
    expect(ISSTART(file_, kKeys[key_], 0, record_.data(), kIsEqual), kIsEqual);
  }

 private:
  using Order = std::map<Spot, std::string>;
  static constexpr Spot kBeforeAll{-kInfinity, 0, 0};

  unsigned below(std::size_t bound) { return static_cast<unsigned>(random_() % bound); }

  void check() {
    EXPECT_EQ(verify(file_), "");
    EXPECT_EQ(iscount(file_), static_cast<std::int64_t>(orders_[0].size()));
  }

  // Makes a random record, and the position that it would get in each order if it were written now.
  void draw_value() {
    static constexpr std::array kAmounts = {-kInfinity, -1e300, -1.5,  -1e-310,   -0.0, 0.0,
                                            1e-310,     1.5,    1e300, kInfinity, kNan, -kNan};
    static constexpr std::array<std::int16_t, 7> kSmalls = {-32768, -256, -1, 0, 255, 256, 32767};
    // Now and then uses the record that the position stands at.
    const double at = std::get<0>(position_);
    const bool same = key_ == 0 && std::isfinite(at) && below(8) == 0;
    const auto number = static_cast<std::int32_t>(same ? at : (below(3000) - 1500.0) * 1'400'001);
    const std::int16_t small = kSmalls[below(kSmalls.size())];
    const double amount = kAmounts[below(kAmounts.size())];
    const unsigned first = below(2) == 0 ? below(3) * 100 : below(256);
    const unsigned second = below(4) * 80;  // characters compare unsigned, whatever char is here
    std::ranges::generate(record_, [this] { return static_cast<char>(random_()); });
    isst_int4(number, record_.data());
    record_.replace(4, 3, {static_cast<char>(first), static_cast<char>(second), 'x'});
    isst_double(amount, record_.data() + 8);
    isst_int2(small, record_.data() + 16);
    record_.replace(20, 200, 200, '\0');
    drawn_ += 2;
    spots_ = {Spot{number, 0, drawn_}, Spot{first * 256 + second, small, drawn_},
              // A NaN sorts after all numbers.
              std::isnan(amount) ? Spot{kInfinity, 1, drawn_} : Spot{amount, 0, drawn_}};
  }

  // Returns the first record with the drawn value of a key; the end when there is none.
  [[nodiscard]] Order::const_iterator equal(std::size_t key) const {
    const auto& [a, b, written] = spots_[key];
    const auto found = orders_[key].lower_bound({a, b, 0});
    return found == orders_[key].upper_bound({a, b, kBehindEquals}) ? orders_[key].end() : found;
  }

  void change(Does what) {
    const auto old = equal(0);
    const bool there = old != orders_[0].end();
    const int error = what == Does::kWrite ? (there ? kIsDuplicate : 0) : (there ? 0 : kIsNoRecord);
    EXPECT_EQ(error_of(perform(what, file_, record_)), error);
    if (error != 0) return;
    const std::uint64_t written = there ? std::get<2>(old->first) : 0;
    for (std::size_t key = 0; key < kKeys.size(); ++key) {
      std::erase_if(orders_[key],
                    [&](const auto& one) { return std::get<2>(one.first) == written; });
      if (what != Does::kDelete) orders_[key][spots_[key]] = record_;
    }
    // By its primary key, a record that is written again is the one that the position stands at.
    const auto& [number, none, stands_at] = position_;
    if (what != Does::kDelete && key_ == 0 && stands_at != 0 && stands_at != kBehindEquals &&
        number == std::get<0>(spots_[0]))
      position_ = spots_[0];
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

  // Compares a result with the one that the mode must have, and moves the model's position.
  Order::const_iterator expect(int result, int mode) {
    const auto expected = find(mode);
    const bool found = expected != orders_[key_].end();
    const int beside = mode < kIsCurrent ? kIsEndOfFile : kIsNoRecord;
    const int missing = mode == kIsCurrent ? kIsNoCurrent : beside;
    EXPECT_EQ(error_of(result), found ? 0 : missing) << "mode " << mode << " key " << key_;
    if (found) {
      position_ = expected->first;
    } else if (mode > kIsCurrent) {
      // Between smaller and other records; after equal ones if the search was for greater ones.
      std::get<2>(position_ = spots_[key_]) = mode == kIsGreater ? kBehindEquals : 0;
    } else if (mode == kIsFirst || mode == kIsLast) {
      position_ = kBeforeAll;
    } else if (mode < kIsCurrent) {
      stand_beside(mode == kIsNext);
    }
    return expected;
  }

  // Stands after or before the record of the position, if the position is at one. By the primary
  // key also beside a record that replaces it.
  void stand_beside(bool behind) {
    std::uint64_t& written = std::get<2>(position_);
    if (written == 0 || written % 2 != 0) return;
    const std::uint64_t beside = behind ? written + 1 : written - 1;
    written = key_ != 0 ? beside : behind ? kBehindEquals : 0;
  }

  void read(int mode) {
    const std::string before_reading = record_;
    const int result = ISREAD(file_, record_.data(), mode);
    const auto expected = expect(result, mode);
    EXPECT_EQ(record_, expected == orders_[key_].end() ? before_reading : expected->second)
        << "mode " << mode << " key " << key_;
  }

  std::mt19937 random_;
  std::string base_;
  int file_ = -1;
  std::size_t key_ = 0;
  std::array<Order, kKeys.size()> orders_;
  std::uint64_t drawn_ = 0;
  Spot position_ = kBeforeAll;  // of a record, perhaps deleted since; or between records
  bool growing_ = true;
  std::string record_ = std::string(kWideRecord, '\0');
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
      model.reopen(lock_modes[round % 4]);
    }
  }
}

}  // namespace
}  // namespace marigold::inner::test
