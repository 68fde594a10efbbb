// A second thread for a piece of long work, in a runtime that otherwise has one.
//
// Signals stay with the thread that owns the worker. So do mapped files: only the owner may touch
// them, because whoever cuts such a file is met by a signal.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace marigold {

class Worker {
 public:
  Worker() = default;
  // Waits for what has been begun.
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  // Lets a task run beside the caller, after those given before. While two are to be done already,
  // and where the system has no thread left, the caller does it at once. It throws nothing.
  void run(std::function<void()> task);
  // Until all tasks are done. What they have stored can be read then.
  void wait();

 private:
  static constexpr std::size_t kMostTasks = 2;

  bool start();
  bool is_busy();
  void work();

  std::thread thread_;
  bool refused_ = false;  // there is no thread to be had
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> tasks_;  // the first one is being done
  bool ends_ = false;
};

}  // namespace marigold
