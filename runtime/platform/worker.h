// SPDX-License-Identifier: GPL-3.0-or-later
// A second thread for long work, in a runtime that otherwise has one thread that works.
//
// Signals stay with the thread that owns the worker. Only the owner may touch mapped files, because
// a missing page of such a file raises a signal.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace marigold::inner {

// Starts a thread that gets no signals. Returns a thread that is not joinable if the system has none
// left.
std::thread quiet_thread(std::function<void()> body);

class Worker {
 public:
  Worker() = default;
  // Waits for all tasks.
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  // Runs a task on the second thread, after the earlier tasks there. If two tasks are unfinished,
  // or the system has no thread left, the caller runs the task at once. A task must not throw.
  void run(std::function<void()> task);
  // Waits until all tasks are done. The caller can then read their results.
  void wait();

 private:
  static constexpr std::size_t kMostTasks = 2;

  bool start();
  bool is_busy();
  void work();

  std::thread thread_;
  bool refused_ = false;  // the system has no thread left
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> tasks_;  // the first one is running
  bool ends_ = false;
};

}  // namespace marigold::inner
