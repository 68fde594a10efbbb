#include "command/output.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace marigold {
namespace {

// Keeps what is delivered, until the delivery that fails.
class RecordingOutput final : public Output {
 public:
  std::vector<std::string> deliveries;
  std::size_t failing_delivery = 1000;

 protected:
  int deliver(std::string_view bytes) override {
    if (deliveries.size() == failing_delivery) return ENOSPC;
    deliveries.emplace_back(bytes);
    return 0;
  }
};

TEST(OutputTest, BytesArriveInOrderAndInFewDeliveries) {
  RecordingOutput output;
  std::string expected;
  for (int i = 0; i < 30000; ++i) {
    output.print("%d,", i);
    output.put('x');
    expected += std::to_string(i) + ",x";
  }
  const std::string long_text(200'000, 'y');
  output.write(long_text);
  output.print("%70000d|", 5);  // longer than the buffer
  expected += long_text + std::string(69'999, ' ') + "5|";
  output.flush();
  std::string whole;
  for (const std::string& delivery : output.deliveries)
    whole += delivery;
  EXPECT_TRUE(whole == expected);
  EXPECT_LE(output.deliveries.size(), expected.size() / 65536 + 4);
  output.flush();
  EXPECT_EQ(output.failure(), 0);
}

TEST(OutputTest, NothingFollowsAFailedDelivery) {
  RecordingOutput output;
  output.failing_delivery = 1;
  for (const char* text : {"first", "lost", "late"}) {
    output.write(text);
    output.flush();
    output.failing_delivery = text[0] == 'l' ? 1000 : 1;  // there is room again after the failure
  }
  output.write(std::string(100'000, 'x'));
  EXPECT_EQ(output.deliveries, std::vector<std::string>{"first"});
  EXPECT_EQ(output.failure(), ENOSPC);
}

TEST(OutputTest, AValueThatCannotBeFormattedIsAFailure) {
  RecordingOutput output;
  output.write("before");
  output.print("%3000000000d", 1);
  output.write("after");
  output.flush();
  EXPECT_NE(output.failure(), 0);
  EXPECT_EQ(output.deliveries, std::vector<std::string>{"before"});
}

}  // namespace
}  // namespace marigold
