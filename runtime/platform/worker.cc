// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/worker.h"

#include <utility>

namespace marigold::inner {

Worker::~Worker() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

bool Worker::start() {
  if (thread_.joinable() || refused_) return !refused_;
  thread_ = quiet_thread([this] { work(); });
  refused_ = !thread_.joinable();
  return !refused_;
}

bool Worker::is_busy() {
  const std::lock_guard lock(mutex_);
  return tasks_.size() >= kMostTasks;
}

void Worker::run(std::function<void()> task) {
  if (!start() || is_busy()) return task();
  {
    const std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  changed_.notify_all();
}

void Worker::wait() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return tasks_.empty(); });
}

void Worker::work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return ends_ || !tasks_.empty(); });
    if (tasks_.empty()) return;
    std::function<void()>& task = tasks_.front();  // a place in a deque stays where it is
    lock.unlock();
    task();
    lock.lock();
    tasks_.pop_front();
    changed_.notify_all();
  }
}

}  // namespace marigold::inner
