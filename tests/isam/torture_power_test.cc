// SPDX-License-Identifier: GPL-3.0-or-later
// Power losses, played: of the sectors stored since the last sync any may have reached the disk, in
// any form that they had, and any may not.

#include <random>
#include <set>
#include <sstream>
#include <utility>

#include "runtime/isam/local/entry_sort.h"
#include "runtime/isam/local/file.h"
#include "runtime/platform/mapped_file.h"
#include "tests/isam/support.h"

namespace marigold::inner::test {
namespace {

constexpr std::size_t kSector = 512;

// The durable content of a file, and the content that the system would write next.
struct Disk {
  std::string durable;
  std::string seen;  // some moment between the last sync and now
};

struct Power {
  std::mt19937 random{1};
  Disk data;
  Disk index;
  // For each number, the records that may be found; an empty text stands for none.
  std::map<std::int32_t, std::set<std::string>> allowed;
  Contents now;           // records that a reader would find
  unsigned rarity = 150;  // steps to one loss
  std::string base = "file";
  Contents older;  // records of the pair "older", a copy of the file when it was closed
  struct {
    int all = 0;
    int again = 0;  // losses while the file was opened after another loss
    int restored = 0;
  } losses;
};

Power* power = nullptr;

void note_sync(const MappedFile& file, std::uint64_t offset, std::uint64_t bytes) {
  std::uint64_t size = 0;
  if (power == nullptr || file.memory() == nullptr || file.size(size) != 0) return;
  const std::string now(reinterpret_cast<const char*>(file.memory()) + offset, bytes);
  const bool is_index = file.memory()[1] == std::byte{0x53};
  Disk& disk = is_index ? power->index : power->data;
  for (std::string* content : {&disk.durable, &disk.seen}) {
    if (bytes == size || content->size() < offset + bytes) content->resize(offset + bytes);
    content->replace(offset, bytes, now);
  }
}

// Each sector is as it was at the last sync, at some moment since, or now; the length is the old or
// the new one.
std::string tear(Disk& disk, const std::string& now) {
  std::mt19937& random = power->random;
  std::string image = random() % 4 == 0 ? now.substr(0, disk.durable.size()) : now;
  const unsigned style = random() % 4;
  constexpr unsigned kNewSectors[] = {8, 1, 15, 4};  // of 16: all mixed, mostly old, mostly new
  for (std::size_t at = 0; at < image.size(); at += kSector) {
    if (random() % 16 < kNewSectors[style]) continue;
    const std::string& from = style == 3 && random() % 2 == 0 ? disk.seen : disk.durable;
    const std::size_t length = std::min(kSector, image.size() - at);
    std::string sector = at < from.size() ? from.substr(at, length) : "";
    sector.resize(length, '\0');  // space that was never written reads as zeros
    image.replace(at, length, sector);
  }
  if (random() % 2 == 0) disk.seen = now;
  return image;
}

// Everything done so far is durable: only the present records may be found.
void all_is_flushed(Power& state) {
  for (auto& [number, states] : state.allowed) {
    const auto record = state.now.find(number);
    states = {record == state.now.end() ? "" : record->second};
  }
}

// Examines a pair, after a rebuild if the engine refuses it.
std::string examine_once_made_again(const std::string& base, Contents& found) {
  std::string findings = examine(base, found);
  if (findings != "open: " + std::to_string(kIsBadFile) + "\n") return findings;
  IsRebuildReport report;
  EXPECT_EQ(error_of(isrebuild(base.c_str(), report)), 0);
  return examine(base, found);
}

// Opens the pair that the disk could hold after a power loss now, like another run of the machine.
// That run may lose its power as well meanwhile, or somebody has restored one half before it.
void lose_power(const std::string& what) {
  SCOPED_TRACE(what);
  Power* const before = power;
  auto* const hook = isam::change_step_hook;
  Power next = *before;
  next.base += '+';
  next.losses = {};
  next.random.seed(static_cast<unsigned>(before->random()));
  next.rarity = 20;
  write_file(next.base + ".idx", tear(before->index, read_file(before->base + ".idx")));
  write_file(next.base + ".dat", tear(before->data, read_file(before->base + ".dat")));
  const auto restore = [&](const char* suffix) {
    write_file(next.base + suffix, read_file("older"s + suffix));
    ++next.losses.restored;
  };
  const auto kind = before->base == "file" ? next.random() % 8 : 7;
  if (kind == 0) restore(".idx");
  if (kind == 1) {
    restore(".dat");
    next.now = before->older;
    all_is_flushed(next);
  }
  SCOPED_TRACE("kind " + std::to_string(kind));
  const bool again = kind == 2 || kind == 3;
  pass_for_own(next.base);
  next.index.durable = next.index.seen = read_file(next.base + ".idx");
  next.data.durable = next.data.seen = read_file(next.base + ".dat");
  const OtherRun after;
  power = again ? &next : nullptr;
  isam::change_step_hook = again ? hook : nullptr;
  const auto run_bytes = std::exchange(isam::sort_run_bytes, next.random() % 4 == 0 ? 1000 : 0);
  Contents found;
  EXPECT_EQ(examine_once_made_again(next.base, found), "");
  isam::sort_run_bytes = run_bytes;  // some are spilled
  isam::change_step_hook = hook;
  power = before;
  for (const auto& [number, states] : next.allowed) {
    const auto record = found.find(number);
    EXPECT_TRUE(states.contains(record == found.end() ? "" : record->second)) << number;
  }
  for (const auto& [number, record] : found)
    EXPECT_TRUE(next.allowed.contains(number)) << number;
  power->losses.all += 1 + next.losses.all;
  power->losses.again += next.losses.all;
  power->losses.restored += next.losses.restored;
}

// Closes the file, and keeps a copy that is restored later.
void close_and_keep(int file) {
  ASSERT_EQ(error_of(ISCLOSE(file)), 0);
  all_is_flushed(*power);
  copy_pair("file", "older");
  power->older = power->now;
}

struct PowerTest : TortureTest {
  PowerTest() {
    file_synced_hook = note_sync;
    power = &state;
  }
  ~PowerTest() override {
    isam::change_step_hook = nullptr;
    file_synced_hook = nullptr;
    power = nullptr;
    std::printf(
        "[ power  ] lost %d times, %d of them in a rebuild after a loss, %d with a half restored\n",
        state.losses.all, state.losses.again, state.losses.restored);
  }
  Power state;
};

// Writes, replaces (in one operation, or by deleting and writing again) or deletes. A program that
// only replaces a record always finds it.
void perform_and_allow(const Operation& operation, int file) {
  auto& states =
      power->allowed.try_emplace(operation.number, std::set<std::string>{""}).first->second;
  const std::string record = wide_record(operation.number, operation.version);
  const bool there = power->now.contains(operation.number);
  const bool keeps = operation.what != Does::kDelete;
  states.insert(keeps ? record : "");
  power->now.erase(operation.number);
  if (keeps) power->now[operation.number] = record;
  if (there && operation.what == Does::kReplace) {
    EXPECT_EQ(error_of(ISREPLACE(file, record.data())), 0);
  } else {
    EXPECT_EQ(there ? error_of(ISDELETE(file, record.data())) : 0, 0);
    EXPECT_EQ(keeps ? error_of(ISWRITE(file, record.data())) : 0, 0);
  }
}

// ---- Further keys without duplicates

constexpr KeyDescription kUniqueValue{0, 1, {{{4, 4, kIsInt4}}}};
constexpr KeyDescription kUniqueDouble{0, 1, {{{8, 4, kIsInt4}}}};

// number: int4 at 0; value: int4 at 4; twice the value or one more, by the filler: int4 at 8;
// filler up to the end. So records with one value often collide in both keys.
std::string valued_record(std::int32_t number, std::int32_t value, char filler = '.') {
  std::string record(kWideRecord, filler);
  isst_int4(number, record.data());
  isst_int4(value, record.data() + 4);
  isst_int4(2 * value + (filler & 1), record.data() + 8);
  return record;
}

int build_valued() {
  const int file = ISBUILD("file", kWideRecord, kWidePrimary, kExclusiveMode);
  EXPECT_EQ(error_of(ISADDINDEX(file, kUniqueValue)), 0);
  EXPECT_EQ(error_of(ISADDINDEX(file, kUniqueDouble)), 0);
  return file;
}

void put(int file, const std::string& record, bool there) {
  EXPECT_EQ(error_of((there ? ISREPLACE : ISWRITE)(file, record.data())), 0);
}

// Moves values from record to record: to free ones, in chains and in circles.
class Exchange {
 public:
  explicit Exchange(int file) : file_(file) {}

  void run() {
    std::mt19937& random = power->random;
    const auto some = [&random](unsigned below) {
      return static_cast<std::int32_t>(random() % below);
    };
    const std::int32_t first = some(kNumbers);
    const std::int32_t length = some(8);
    if (random() % 6 == 0) return remove(first);
    // Each record takes the value that the one before it has just left; in a circle the first value
    // comes back.
    std::int32_t left = free_value();
    for (std::int32_t i = 0; i <= length; ++i)
      left = take((first + i) % kNumbers, left);
    if (left >= 0 && random() % 2 == 0) take(first, left);
  }

 private:
  static constexpr std::int32_t kNumbers = 30;

  // Returns the value that the record had, or -1.
  std::int32_t take(std::int32_t number, std::int32_t value) {
    if (value < 0) return -1;
    const bool there = power->now.contains(number);
    const std::int32_t before = there ? isld_int4(power->now[number].data() + 4) : -1;
    const std::string record = valued_record(number, value, static_cast<char>(power->random()));
    power->allowed.try_emplace(number, std::set<std::string>{""}).first->second.insert(record);
    power->now[number] = record;
    put(file_, record, there);
    return before;
  }

  void remove(std::int32_t number) {
    if (power->now.erase(number) == 0) return;
    power->allowed[number].insert("");
    EXPECT_EQ(error_of(ISDELETE(file_, valued_record(number, 0).data())), 0);
  }

  static std::int32_t free_value() {
    std::set<std::int32_t> used;
    for (const auto& [number, record] : power->now)
      used.insert(isld_int4(record.data() + 4));
    auto value = static_cast<std::int32_t>(power->random() % kNumbers);
    while (used.contains(value))
      ++value;
    return value;
  }

  int file_;
};

void sometimes_lose_power() {
  if (power != nullptr && power->random() % power->rarity == 0) lose_power("within an operation");
}

// Loses power between steps and operations of a file that is opened again and again.
void exchange_and_lose_power(Power& state, int losses) {
  while (state.losses.all < losses && !testing::Test::HasFailure()) {
    const int file = ISOPEN("file", kSharedMode);
    ASSERT_GE(file, 0);
    for (int count = 0; count < 20; ++count) {
      Exchange(file).run();
      if (state.random() % 4 == 0) lose_power("between exchanges");
      if (state.random() % 6 != 0) continue;
      ASSERT_EQ(ISFLUSH(file), 0);
      all_is_flushed(state);
    }
    close_and_keep(file);
  }
}

TEST_F(PowerTest, RecordsThatExchangeUniqueValuesSurviveAPowerLoss) {
  state.rarity = 400;
  close_and_keep(build_valued());
  isam::change_step_hook = sometimes_lose_power;
  exchange_and_lose_power(state, amount(400, 50'000));
}

// Puts the slot that holds this record into an image of the data file.
void let_survive(std::string& image, const std::string& from, const std::string& record) {
  const std::size_t at = from.find(record) - sizeof(isam::SlotHeader);
  ASSERT_LT(at, from.size());
  image.resize(std::max(image.size(), from.size()));
  image.replace(at, sizeof(isam::SlotHeader) + record.size(), from, at,
                sizeof(isam::SlotHeader) + record.size());
}

// Returns the records of "1=5 2=6".
std::vector<std::string> records_of(const std::string& text) {
  std::vector<std::string> records;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    const std::size_t sign = word.find('=');
    records.push_back(valued_record(std::stoi(word), std::stoi(word.substr(sign + 1))));
  }
  return records;
}

void perform_all(int file, const std::string& text, std::set<std::int32_t>& there) {
  for (const std::string& record : records_of(text))
    put(file, record, !there.insert(isld_int4(record.data())).second);
}

// Opens the file as after a power loss that has left these data, and reads it.
std::string read_after_loss(const std::string& index, const std::string& data) {
  write_file("image.idx", index);
  write_file("image.dat", data);
  pass_for_own("image");
  const OtherRun after;
  Contents found;
  std::string text = examine("image", found);
  for (const auto& [number, record] : found) {
    if (!text.empty()) text += ' ';
    text.append(std::to_string(number)).append("=");
    text += std::to_string(isld_int4(record.data() + 4));
  }
  return text;
}

TEST_F(TortureTest, TheLaterOfTwoRecordsWithOneUniqueValueIsSetAside) {
  struct Row {
    std::string flushed;
    std::string later;
    std::string survives;  // of those records
    std::string found;
  };
  const Row rows[] = {{"1=5", "1=7 2=5", "2=5", "1=5"},
                      {"1=5", "1=7 2=5", "1=7 2=5", "1=7 2=5"},
                      {"1=5 2=6", "2=7 1=6", "1=6", "1=5 2=6"},
                      {"1=5 2=6 3=7", "3=8 2=7 1=6", "2=7 1=6", "1=5 2=6 3=7"},
                      {"1=5 2=6 3=7", "3=8 2=7 1=6", "3=8 1=6", "1=5 2=6 3=8"},
                      {"1=5 2=6 3=8", "2=9 3=10 1=8 2=5", "2=9 1=8 2=5", "1=5 2=9 3=8"},
                      {"1=5 2=6", "1=9 2=5 1=6", "2=5", "1=5 2=6"},
                      {"1=5 2=6", "1=9 2=5 1=6", "1=6", "1=5 2=6"},
                      {"1=5 2=6", "1=9 2=5 1=6", "1=9 2=5", "1=9 2=5"},
                      {"1=5", "2=6 1=7 3=5 2=8 4=6", "2=6 3=5 4=6", "1=5 2=6"}};
  for (const auto& [flushed, later, survives, found] : rows) {
    SCOPED_TRACE(flushed + ", then " + later + ", of which survives " + survives);
    const int file = build_valued();
    std::set<std::int32_t> there;
    perform_all(file, flushed, there);
    ASSERT_EQ(ISFLUSH(file), 0);
    std::string image = read_file("file.dat");
    perform_all(file, later, there);
    const std::string index = read_file("file.idx");
    const std::string data = read_file("file.dat");
    for (const std::string& record : records_of(survives))
      let_survive(image, data, record);
    EXPECT_EQ(read_after_loss(index, image), found);
    ASSERT_EQ(ISCLOSE(file), 0);
    remove_pair("file");
  }
}

// A record that was set aside is gone: the next power loss does not bring it back, though the
// record that it collided with has another value then.
TEST_F(PowerTest, ARecordSetAsideStaysAwayAfterTheNextPowerLoss) {
  int file = build_valued();
  std::set<std::int32_t> there;
  perform_all(file, "1=5", there);
  ASSERT_EQ(ISFLUSH(file), 0);
  std::string image = read_file("file.dat");
  perform_all(file, "1=7 2=5", there);
  let_survive(image, read_file("file.dat"), valued_record(2, 5));
  ASSERT_EQ(ISCLOSE(file), 0);
  const std::string index = read_file("file.idx");
  write_file("image.idx", index);
  write_file("image.dat", image);
  pass_for_own("image");
  state.data.durable = image;
  file = ISOPEN("image", kSharedMode);
  perform_all(file, "1=9", there);
  std::string next = state.data.durable;
  let_survive(next, read_file("image.dat"), valued_record(1, 9));
  ASSERT_EQ(ISCLOSE(file), 0);
  file_synced_hook = nullptr;
  power = nullptr;
  EXPECT_EQ(read_after_loss(index, next), "1=9");
}

TEST_F(PowerTest, FlushedRecordsSurviveAPowerLoss) {
  build_wide("file", {});
  close_and_keep(ISOPEN("file", kSharedMode));
  const int losses = amount(400, 50'000);
  isam::change_step_hook = sometimes_lose_power;
  for (unsigned round = 0; state.losses.all < losses && !HasFailure(); ++round) {
    const int file = ISOPEN("file", round % 2 == 0 ? kSharedMode : kExclusiveMode);
    ASSERT_GE(file, 0);
    for (const Operation& operation : random_operations(round, 60, 120)) {
      perform_and_allow(operation, file);
      if (state.random() % 12 == 0) {
        state.rarity = 2;  // flushing has few steps, and each counts
        ASSERT_EQ(ISFLUSH(file), 0);
        state.rarity = 150;
        all_is_flushed(state);
      }
      if (state.random() % 8 == 0) lose_power("between operations");
    }
    close_and_keep(file);
    lose_power("after closing");
  }
}

}  // namespace
}  // namespace marigold::inner::test
