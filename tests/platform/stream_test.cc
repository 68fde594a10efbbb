#include "runtime/platform/stream.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <thread>

namespace marigold {
namespace {

// Puts another file in the place of standard output and gives the old one back.
class OutputReplaced {
 public:
  explicit OutputReplaced(int descriptor) : saved_(dup(STDOUT_FILENO)) {
    dup2(descriptor, STDOUT_FILENO);
    close(descriptor);
  }
  ~OutputReplaced() {
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
  }

 private:
  int saved_;
};

TEST(StreamTest, WaitsForASlowReaderOfAPipeThatDoesNotBlock) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
  const std::string sent(1'000'000, 'x');  // many times what a pipe holds
  std::string received;
  std::thread reader([&] {
    char piece[4096];
    while (received.size() < sent.size()) {
      const ssize_t count = read(ends[0], piece, sizeof piece);
      if (count > 0) received.append(piece, static_cast<std::size_t>(count));
    }
  });
  int result = -1;
  {
    const OutputReplaced replaced(ends[1]);
    result = stream_write(Stream::kOutput, sent);
  }
  reader.join();
  close(ends[0]);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(received, sent);
}

TEST(StreamTest, AReaderThatWentAwayIsAnErrorNumber) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  stream_start();
  const OutputReplaced replaced(ends[1]);
  EXPECT_EQ(stream_write(Stream::kOutput, "lost"), EPIPE);
}

TEST(StreamTest, AFullDiskIsAnErrorNumber) {
  const OutputReplaced replaced(open("/dev/full", O_WRONLY));
  EXPECT_EQ(stream_write(Stream::kOutput, "lost"), ENOSPC);
}

}  // namespace
}  // namespace marigold
