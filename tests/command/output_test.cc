// SPDX-License-Identifier: GPL-3.0-or-later
#include "command/output.h"

#include "command/options.h"
#include "tests/support/support.h"

namespace marigold::inner::test {

class FailingOutput final : public Output {
 public:
  std::string received;
  int result = 0;  // of the next deliveries

 protected:
  int deliver(std::string_view bytes) override {
    if (result == 0) received += bytes;
    return result;
  }
};

TEST(OutputTest, NothingFollowsAFailedDelivery) {
  FailingOutput output;
  for (const int result : {0, ENOSPC, 0}) {  // at the end there is room again
    output.result = result;
    output.write(result == 0 ? "text" : "lost");
    output.flush();
  }
  output.write(std::string(100'000, 'x'));
  EXPECT_EQ(output.received, "text");
  EXPECT_EQ(output.failure(), ENOSPC);
}

// An option of options.h that nothing reads, so no run of the command shows it.
TEST(OptionsTest, TheTextFileIsKept) {
  char words[][4] = {"p", "-nt", "-v"};
  char* pointers[] = {words[0], words[1], words[2]};
  EXPECT_STREQ(options_parse(pointers).text_file, "-v");
  EXPECT_STREQ(options_parse(std::span(pointers).first(1)).text_file, "COMMONTXT");
}

}  // namespace marigold::inner::test
