// SPDX-License-Identifier: GPL-3.0-or-later
// Other processes of a test, for systems with and without fork: a child is the test program itself,
// started again as
//
//   PROGRAM [--long] --child NAME WORD...
//
// A test writes the child's body as a lambda without captures, in the place where it is started, and
// passes numbers and strings; more goes through files and Shared memory. The child inherits the
// environment and the current directory, and no open file. It ends with 0, or with 1 after a failed
// expectation, which it prints with file and line as a test does, or if the body returns false.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <thread>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

namespace marigold::inner::test {

using Words = std::vector<std::string>;

// How a process can end besides its exit status (0 to 255).
inline constexpr int kKilled = -9;  // without a chance to do anything: by Process::kill, die_now
inline constexpr int kStopped =
    -15;  // asked to: by the signal SIGTERM, or by an event of a console
inline constexpr int kTooLate = -14;  // by end_within

// A running process. The destructor kills it.
class Process {
 public:
  Process() = default;
  // Starts a child by its name in the registry.
  Process(const char* name, const Words& words);
  ~Process() { kill(); }
  Process(Process&& other) noexcept : handle_(std::exchange(other.handle_, 0)) {}
  Process& operator=(Process&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }

  // Waits for the end, and returns the exit status or one of the constants above. Call it once.
  int wait();
  // Kills the process and waits for its end. Nothing if that was waited for already.
  int kill();
  // Whether it is still at work.
  [[nodiscard]] bool is_running() const;

 private:
  std::intptr_t handle_ = 0;  // the system's; 0 for none
};

// Asks this process to stop, as a user or the system does.
void ask_to_stop();

// Ends this process like Process::kill.
[[noreturn]] void die_now();

// Ends this process with kTooLate unless it ends, or calls again, within so many seconds; 0 for no
// limit. A child begins with 100 s, or with no limit in a long run.
void end_within(int seconds);

// Leaves a copy of this process behind, which has everything open that this one has and does nothing
// until end_copy. Returns its number; 0 on a system that cannot copy a process.
long leave_copy();
// Makes this process the parent of copies whose own parent dies.
void adopt_copies();
void end_copy(long number);

// Makes this process one of a user who may not write files that are for reading only, if it is one
// of a user who may.
void become_a_reader();

// For EXPECT_EXIT: whether the process has aborted.
bool aborted(int status);

// Whether the program was started with --long.
bool is_long_run();

// Whether processes and files take some ten times as long as on Linux, as they do under Wine.
bool is_slow_system();

inline void sleep_us(long microseconds) {
  std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}

// ---- Children

// A body in the registry, which a child finds by its name.
class ChildBody {
 public:
  using Run = bool (*)(const Words&);
  ChildBody(const char* name, Run body);
  ChildBody(const ChildBody&) = delete;
  ChildBody& operator=(const ChildBody&) = delete;

  [[nodiscard]] const char* name() const { return name_; }
  // Returns the exit status.
  static int run(const std::string& name, const Words& words);

 private:
  const char* name_;
  Run body_;
  const ChildBody* next_;
};

template <typename Parameter>
std::string to_word(const Parameter& value) {
  if constexpr (std::is_convertible_v<Parameter, std::string>)
    return value;
  else
    return std::to_string(static_cast<long long>(value));
}

template <typename Parameter>
Parameter from_word(const std::string& word) {
  if constexpr (std::is_same_v<Parameter, std::string>)
    return word;
  else
    return static_cast<Parameter>(std::stoll(word));
}

// Parameters of a body as words.
template <typename Method>
struct BodyWords;
template <typename Body, typename Result, typename... Parameters>
struct BodyWords<Result (Body::*)(Parameters...) const> {
  static Words write(const std::type_identity_t<Parameters>&... values) {
    return {to_word(values)...};
  }
  static bool run(const Words& words) {
    return run(words, std::index_sequence_for<Parameters...>());
  }

 private:
  template <std::size_t... kIndex>
  static bool run(const Words& words, std::index_sequence<kIndex...>) {
    const auto call = [&] {
      return Body()(from_word<std::remove_cvref_t<Parameters>>(words.at(kIndex))...);
    };
    if constexpr (std::is_void_v<Result>)
      return call(), true;
    else
      return call();
  }
};

// Using the entry registers the body before main begins.
template <typename Body>
struct Registered {
  using Parameters = BodyWords<decltype(&Body::operator())>;
  static_assert(std::is_default_constructible_v<Body>, "pass what the body captures as words");
  static inline const ChildBody entry{typeid(Body).name(), &Parameters::run};
};

template <typename Body, typename... Values>
Process start_child(Body, const Values&... values) {
  using Entry = Registered<Body>;
  return Process(Entry::entry.name(), Entry::Parameters::write(values...));
}

// Starts a child and waits for it.
template <typename Body, typename... Values>
int run_child(Body body, const Values&... values) {
  return start_child(body, values...).wait();
}

// Makes a command of the system, PATH, that runs a child with the command's words.
void place_child_command(const std::string& path, const char* name);

template <typename Body>
void place_child(const std::string& path, Body) {
  place_child_command(path, Registered<Body>::entry.name());
}

// Waits for children, which must end with 0.
inline void expect_done(std::vector<Process>& children) {
  for (Process& child : children)
    EXPECT_EQ(child.wait(), 0);
}

// ---- Memory

// Maps a file of the current directory, which is made with zeros; `made` says so.
void* shared_memory_map(const char* name, std::size_t bytes, bool& made);
void shared_memory_unmap(void* memory, std::size_t bytes);

// A value that processes share by the name of a file, and that outlives them. The first one makes
// it.
template <typename T>
class Shared {
 public:
  explicit Shared(const char* name) {
    bool made = false;
    value_ = static_cast<T*>(shared_memory_map(name, sizeof(T), made));
    if (made) new (value_) T{};
  }
  ~Shared() { shared_memory_unmap(value_, sizeof(T)); }
  Shared(const Shared&) = delete;
  Shared& operator=(const Shared&) = delete;

  T& operator*() const { return *value_; }
  T* operator->() const { return value_; }

 private:
  static_assert(std::is_trivially_destructible_v<T>);
  T* value_ = nullptr;
};

}  // namespace marigold::inner::test
