// SPDX-License-Identifier: GPL-3.0-or-later
// Cost of one run of scrivel on Windows, as a whole process.
//
//   starts [RUNS]
//
// Runs two commands of scrivel, a program that does nothing, and "cmd /c exit" RUNS times each
// (100), in turns, with the sample texts of this build folder. Standard output gets CSV: the median
// wall time of a command, and its ratio to the program that does nothing, which is this one with the
// word "nothing". A command that does not print the expected text ends the benchmark with status 1.

#include <fcntl.h>
#include <io.h>
#include <process.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

constexpr int kWarmUpRounds = 3;
constexpr int kOutput = 1;

struct Command {
  const char* name;
  std::vector<std::string> words;  // the program's path first
  std::string language;            // LANGUAGE_IDENTIFIER; empty: none
  std::string expected;            // standard output
  std::vector<double> milliseconds;
};

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "starts: %s\n", what.c_str());
  std::exit(1);
}

// Runs the command with its output in this file, and returns its wall time.
double run(const Command& command, const char* output) {
  std::vector<const char*> words;
  for (const std::string& word : command.words)
    words.push_back(word.c_str());
  words.push_back(nullptr);
  if (_putenv(("LANGUAGE_IDENTIFIER=" + command.language).c_str()) != 0) fail("no environment");
  const int saved = _dup(kOutput);
  const int file = _open(output, _O_WRONLY | _O_CREAT | _O_TRUNC | _O_BINARY, 0600);
  if (saved < 0 || file < 0 || _dup2(file, kOutput) != 0) fail(output);
  _close(file);
  const auto start = std::chrono::steady_clock::now();
  const auto status = _spawnv(_P_WAIT, words[0], words.data());
  const std::chrono::duration<double, std::milli> wall = std::chrono::steady_clock::now() - start;
  _dup2(saved, kOutput);
  _close(saved);
  if (status != 0) fail(std::string(command.name) + " ends with " + std::to_string(status));
  return wall.count();
}

void check_output(const Command& command) {
  const std::string name = (std::filesystem::temp_directory_path() / "starts.output").string();
  run(command, name.c_str());
  std::FILE* file = std::fopen(name.c_str(), "rb");
  if (file == nullptr) fail(name);
  char text[256] = "";
  const std::string output(text, std::fread(text, 1, sizeof text, file));
  std::fclose(file);
  std::filesystem::remove(name);
  if (output != command.expected) fail(std::string(command.name) + " prints \"" + output + "\"");
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string word = argc > 1 ? argv[1] : "100";
  if (word == "nothing") return 0;
  const int runs = std::atoi(word.c_str());
  if (runs < 1) fail("RUNS must be a number from 1 on");
  const char* shell = std::getenv("COMSPEC");
  std::filesystem::current_path(SAMPLES_PATH);
  Command commands[] = {
      {"nothing", {argv[0], "nothing"}, "", "", {}},
      {"cmd", {shell != nullptr ? shell : "cmd.exe", "/c", "exit"}, "", "", {}},
      {"scrivel", {SCRIVEL_PATH, "-n", "GREET", "Anna"}, "", "Hello Anna", {}},
      {"scrivel german", {SCRIVEL_PATH, "-n", "GREET", "Anna"}, "german_de", "Guten Tag Anna", {}},
  };
  for (const Command& command : commands)
    check_output(command);
  for (int round = -kWarmUpRounds; round < runs; ++round) {
    for (Command& command : commands) {
      const double milliseconds = run(command, "NUL");
      if (round >= 0) command.milliseconds.push_back(milliseconds);
    }
  }
  std::puts("command,runs,wall_ms_median,ratio");
  for (const Command& command : commands) {
    std::printf("%s,%d,%.2f,%.3f\n", command.name, runs, median(command.milliseconds),
                median(command.milliseconds) / median(commands[0].milliseconds));
  }
}
