#include "tests/isam/support.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace marigold::test {

std::string wide_record(std::int32_t number, std::uint32_t version) {
  std::mt19937 random(static_cast<unsigned>(number) * 7919U + version);
  std::string record(kWideRecord, '\0');
  isst_int4(number, record.data());
  // Few different beginnings, so that equal and nearly equal texts stand side by side.
  record.replace(4, 200,
                 std::string(190, static_cast<char>('a' + random() % 3)) +
                     std::to_string(1000000000 + random() % 40));
  for (std::size_t i = 204; i < record.size(); ++i)
    record[i] = static_cast<char>(random());
  return record;
}

void build_wide(const std::string& base, const Contents& contents) {
  const int file = ISBUILD(base.c_str(), kWideRecord, kWidePrimary, kIsInputOutput | kIsExclusive);
  ASSERT_GE(file, 0) << iserrno;
  ASSERT_EQ(ISADDINDEX(file, kWideText), 0) << iserrno;
  ASSERT_EQ(ISADDINDEX(file, kWideBoth), 0) << iserrno;
  for (const auto& [number, record] : contents)
    ASSERT_EQ(ISWRITE(file, record.data()), 0) << iserrno;
  ASSERT_EQ(ISCLOSE(file), 0) << iserrno;
}

std::string examine(const std::string& base, Contents& contents) {
  contents.clear();
  const int file = ISOPEN(base.c_str(), kIsInputOutput | kIsManualLock);
  if (file < 0) return "open: " + std::to_string(iserrno) + "\n";
  std::vector<std::string> findings;
  std::string result;
  if (ischeck(file, findings) != 0) result += "check: " + std::to_string(iserrno) + "\n";
  for (const std::string& finding : findings)
    result += finding + "\n";
  std::string record(kWideRecord, '\0');
  for (int mode = kIsFirst; ISREAD(file, record.data(), mode) == 0; mode = kIsNext) {
    contents[isld_int4(record.data())] = record;
  }
  if (iserrno != kIsEndOfFile) result += "read: " + std::to_string(iserrno) + "\n";
  if (ISCLOSE(file) != 0) result += "close: " + std::to_string(iserrno) + "\n";
  return result;
}

std::string scratch_directory() {
  const bool in_memory = std::filesystem::is_directory("/dev/shm");
  return in_memory ? "/dev/shm" : std::filesystem::temp_directory_path().string();
}

}  // namespace marigold::test
