// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/print/files/block_store.h"

#include "tests/support/support.h"

namespace marigold::inner::test {

TEST(BlockStoreTest, HasAHeaderWithItsChecksum) {
  // 0xCBF43926 is the published check value of this CRC-32 for these nine digits.
  EXPECT_EQ(block_store_of("123456789"), "MGBLOCKS\x01\x00\x00\x00\x26\x39\xF4\xCB"s + "123456789");
}

TEST(BlockStoreTest, ReadsWhatIsWholeAndRefusesTheRest) {
  const WorkDirectory directory;
  std::string store;
  std::string reason;
  const std::string whole = block_store_of("block");
  for (const std::string& good : {whole, block_store_of("")}) {
    write_file("DRUCK.BIN", good);
    EXPECT_TRUE(block_store_read("DRUCK.BIN", store, reason)) << reason;
    EXPECT_EQ(store, good);
  }
  EXPECT_FALSE(block_store_read("MISSING.BIN", store, reason));
  EXPECT_EQ(reason, "No such file or directory");
  for (std::size_t at = 0; at < whole.size(); ++at) {
    std::string changed = whole;
    changed[at] = static_cast<char>(changed[at] ^ 0x10);
    for (const std::string& bad : {changed, whole.substr(0, at)}) {
      write_file("DRUCK.BIN", bad);
      EXPECT_FALSE(block_store_read("DRUCK.BIN", store, reason)) << at;
    }
    write_file("DRUCK.BIN", changed);
    block_store_read("DRUCK.BIN", store, reason);
    EXPECT_EQ(reason, at < 8    ? "not a block store"
                      : at < 12 ? "a block store of another version"
                                : "a damaged block store");
  }
}

}  // namespace marigold::inner::test
