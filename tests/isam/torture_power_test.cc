// Power lost, played: of what was stored since the last sync any sectors may have reached the disk,
// in any of the forms that they had, and any may not.

#include <cstring>
#include <random>
#include <set>
#include <utility>

#include "runtime/isam/file.h"
#include "runtime/platform/mapped_file.h"
#include "tests/isam/support.h"

namespace marigold::test {
namespace {

constexpr std::size_t kSector = 512;

// What the disk certainly holds of a file, and what the system would hand it next.
struct Disk {
  std::string durable;
  std::string seen;  // some moment between the last sync and now
};

struct Power {
  std::mt19937 random{1};
  Disk data;
  Disk index;
  // What must be found: by number, the records that may be there; an empty text stands for none.
  std::map<std::int32_t, std::set<std::string>> allowed;
  Contents now;           // what a reader would find
  unsigned rarity = 150;  // steps to one loss
  int images = 0;
};

Power* power = nullptr;

void note_sync(const MappedFile& file) {
  std::uint64_t size = 0;
  if (power == nullptr || file.memory() == nullptr || file.size(size) != 0) return;
  const std::string bytes(reinterpret_cast<const char*>(file.memory()), size);
  (bytes[1] == 0x53 ? power->index : power->data) = {bytes, bytes};
}

// Any sector as it was at the last sync, at some moment since, or now; the length as it was or is.
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

// Opens what the disk could hold after a power loss now, as another run of the machine would.
void lose_power(const std::string& what) {
  SCOPED_TRACE(what);
  write_file("image.idx", tear(power->index, read_file("file.idx")));
  write_file("image.dat", tear(power->data, read_file("file.dat")));
  pass_for_own("image");
  const OtherRun after;
  Power* const paused = std::exchange(power, nullptr);
  auto* const hook = std::exchange(isam::change_step_hook, nullptr);
  Contents found;
  EXPECT_EQ(examine("image", found), "");
  for (const auto& [number, states] : paused->allowed) {
    const auto record = found.find(number);
    EXPECT_TRUE(states.contains(record == found.end() ? "" : record->second)) << number;
  }
  for (const auto& [number, record] : found)
    EXPECT_TRUE(paused->allowed.contains(number)) << number;
  isam::change_step_hook = hook;
  power = paused;
  ++power->images;
}

// Everything done so far is on the disk now: only what is now there may be found.
void all_is_flushed() {
  for (auto& [number, states] : power->allowed) {
    const auto record = power->now.find(number);
    states = {record == power->now.end() ? "" : record->second};
  }
}

// Writes, replaces (in one operation, or by deleting and writing again) or deletes. Whoever only
// replaces a record never finds it missing.
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

void sometimes_lose_power() {
  if (power != nullptr && power->random() % power->rarity == 0) lose_power("within an operation");
}

TEST_F(TortureTest, WhatWasFlushedSurvivesAPowerLoss) {
  Power state;
  file_synced_hook = note_sync;
  power = &state;
  build_wide("file", {});
  const int images = amount(400, 10000);
  isam::change_step_hook = sometimes_lose_power;
  for (unsigned round = 0; state.images < images && !HasFailure(); ++round) {
    const int file = ISOPEN("file", round % 2 == 0 ? kSharedMode : kExclusiveMode);
    ASSERT_GE(file, 0);
    for (const Operation& operation : random_operations(round, 60, 120)) {
      perform_and_allow(operation, file);
      if (state.random() % 12 == 0) {
        state.rarity = 2;  // flushing has few steps, and each counts
        ASSERT_EQ(ISFLUSH(file), 0);
        state.rarity = 150;
        all_is_flushed();
      }
      if (state.random() % 8 == 0) lose_power("between operations");
    }
    ASSERT_EQ(ISCLOSE(file), 0);
    all_is_flushed();
    lose_power("after closing");
  }
  isam::change_step_hook = nullptr;
  file_synced_hook = nullptr;
  power = nullptr;
  std::printf("[ power  ] lost %d times\n", state.images);
}

}  // namespace
}  // namespace marigold::test
