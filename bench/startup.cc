// SPDX-License-Identifier: GPL-3.0-or-later
// Cost of one run of scrivel, as a whole process, in comparison with common commands of its kind.
//
//   startup [-r RUNS] [-k] [SCRIVEL...]
//
// Every command runs RUNS times (300), all interleaved, in an order that is drawn again for every
// round so that no command always profits from the same one before it. Standard output gets CSV: a
// row a command, rows of ratios of the medians, and the floor of peak_kib: memory of a command
// below the peak of this process cannot be seen. A command that does not print the expected text is
// left out, with a message.
//
// SCRIVEL: the commands to measure, several of them to compare builds; without any, the one of this
// build folder. Copies of them are measured, as an installation makes them: a file that the linker
// wrote piece by piece is scattered in memory and starts 4 % later.
//
// -k keeps the directory with the texts and prints its name on standard error, for a profiler.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <system_error>
#include <vector>

#include "bench/startup_files.h"

namespace marigold::inner::bench {
namespace {

constexpr int kWarmUpRounds = 5;

struct Command {
  std::string name;
  int build = 0;                   // of scrivel: 1 for the first one given; 0: another command
  std::string language;            // of scrivel
  std::vector<std::string> words;  // the program's path first
  std::vector<std::string> environment;
  std::string expected;  // its expected standard output
};

// Results of one command; each vector has an element for each run.
struct Measurements {
  std::vector<double> wall_us;
  std::vector<double> cpu_us;
  long peak_kib = 0;
};

struct Options {
  int runs = 300;
  bool keep = false;
  std::vector<std::string> programs;
};

// Returns pointers to the texts and a null after them, in the form of a system call.
std::vector<char*> as_pointers(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (const std::string& text : texts)
    pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

[[noreturn]] void fail(const std::string& what, int error) {
  std::fprintf(stderr, "startup: %s: %s\n", what.c_str(), std::strerror(error));
  std::exit(1);
}

// A command ready to start: all slow work is done before the measurement.
class Launcher {
 public:
  Launcher(const Command& command, const char* output)
      : name_(command.name),
        words_(as_pointers(command.words)),
        environment_(as_pointers(command.environment)) {
    posix_spawn_file_actions_init(&actions_);
    const int flags = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, output, flags, 0644);
  }
  Launcher(const Launcher&) = delete;
  Launcher& operator=(const Launcher&) = delete;
  ~Launcher() { posix_spawn_file_actions_destroy(&actions_); }

  // Runs the command once and waits for its end.
  rusage run() {
    pid_t child = 0;
    const int error =
        posix_spawn(&child, words_[0], &actions_, nullptr, words_.data(), environment_.data());
    if (error != 0) fail(name_, error);
    rusage used{};
    if (wait4(child, nullptr, 0, &used) != child) fail(name_, errno);
    return used;
  }

 private:
  std::string name_;
  std::vector<char*> words_;
  std::vector<char*> environment_;
  posix_spawn_file_actions_t actions_{};
};

double microseconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
}

void measure_once(Launcher& launcher, Measurements& into) {
  const auto start = std::chrono::steady_clock::now();
  const rusage used = launcher.run();
  const std::chrono::duration<double, std::micro> wall = std::chrono::steady_clock::now() - start;
  into.wall_us.push_back(wall.count());
  into.cpu_us.push_back(microseconds(used.ru_utime) + microseconds(used.ru_stime));
  into.peak_kib = std::max(into.peak_kib, used.ru_maxrss);
}

std::vector<Measurements> measure(const std::vector<Command>& commands, int runs) {
  std::vector<std::unique_ptr<Launcher>> launchers;
  launchers.reserve(commands.size());
  for (const Command& command : commands) {
    launchers.push_back(std::make_unique<Launcher>(command, "/dev/null"));
  }
  std::vector<Measurements> results(commands.size());
  std::vector<Measurements> warm_up(commands.size());
  std::vector<std::size_t> order(commands.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::minstd_rand random(1);  // a fixed seed: every run of the benchmark has the same orders
  for (int round = -kWarmUpRounds; round < runs; ++round) {
    std::shuffle(order.begin(), order.end(), random);
    std::vector<Measurements>& into = round < 0 ? warm_up : results;
    for (const std::size_t index : order)
      measure_once(*launchers[index], into[index]);
  }
  return results;
}

// Returns the value below which this share of all values lies.
double quantile(std::vector<double> values, double share) {
  const double last = static_cast<double>(values.size() - 1);
  const auto rank = values.begin() + std::lround(last * share);
  std::nth_element(values.begin(), rank, values.end());
  return *rank;
}

void print_rows(const std::vector<Command>& commands, const std::vector<Measurements>& results) {
  std::puts("command,runs,wall_us_median,wall_us_p10,wall_us_p90,cpu_us_median,peak_kib");
  for (std::size_t index = 0; index < commands.size(); ++index) {
    const Measurements& result = results[index];
    std::printf("%s,%zu,%.1f,%.1f,%.1f,%.1f,%ld\n", commands[index].name.c_str(),
                result.wall_us.size(), quantile(result.wall_us, 0.5), quantile(result.wall_us, 0.1),
                quantile(result.wall_us, 0.9), quantile(result.cpu_us, 0.5), result.peak_kib);
  }
}

// Compares builds of scrivel with the other commands, and with the first build on the same texts.
bool is_compared(const Command& command, const Command& reference) {
  if (command.build == 0 || reference.build == 0) return command.build != 0;
  return command.build > 1 && reference.build == 1 && command.language == reference.language;
}

double median_ratio(const std::vector<double>& values, const std::vector<double>& reference) {
  return quantile(values, 0.5) / quantile(reference, 0.5);
}

void print_ratios(const std::vector<Command>& commands, const std::vector<Measurements>& results) {
  std::puts("ratio,command,against,wall,cpu");
  for (std::size_t index = 0; index < commands.size(); ++index) {
    for (std::size_t other = 0; other < commands.size(); ++other) {
      if (!is_compared(commands[index], commands[other])) continue;
      std::printf("ratio,%s,%s,%.3f,%.3f\n", commands[index].name.c_str(),
                  commands[other].name.c_str(),
                  median_ratio(results[index].wall_us, results[other].wall_us),
                  median_ratio(results[index].cpu_us, results[other].cpu_us));
    }
  }
}

// Returns the name of a copy: "scrivel", "scrivel2" and so on.
std::string program_name(int build) {
  return build == 1 ? "scrivel" : "scrivel" + std::to_string(build);
}

// Returns the commands to measure. Each has the environment that its users give it: gettext looks
// for no translation in the locale "C".
std::vector<Command> all_commands(int builds, const std::string& directory) {
  const std::string greeting = "Hello Anna";
  std::vector<Command> commands;
  for (int build = 1; build <= builds; ++build) {
    const std::string program = program_name(build);
    for (const std::string language : {kPlainLanguage, kTranslatedLanguage}) {
      commands.push_back(
          {std::string(program).append(" ").append(language),
           build,
           language,
           {std::string(directory).append("/").append(program), "-n", kGreetingId, "Anna"},
           {"LANGUAGE_IDENTIFIER=" + language},
           greeting});
    }
  }
  commands.push_back({"printf", 0, "", {"/usr/bin/printf", kGreeting, "Anna"}, {}, greeting});
  commands.push_back({"gettext",
                      0,
                      "",
                      {"/usr/bin/gettext", "-d", kDomain, kGreetingId},
                      {"TEXTDOMAINDIR=" + directory + "/" + kCatalogueDirectory, "LC_ALL=C.UTF-8",
                       std::string("LANGUAGE=") + kCatalogueLanguage},
                      kGreeting});
  commands.push_back({"true", 0, "", {"/bin/true"}, {}, ""});
  return commands;
}

bool prints_what_it_should(const Command& command) {
  const char* file_name = "output";
  Launcher(command, file_name).run();
  char output[256] = "";
  std::FILE* file = std::fopen(file_name, "r");
  if (file == nullptr) fail(file_name, errno);
  output[std::fread(output, 1, sizeof output - 1, file)] = '\0';
  std::fclose(file);
  if (output == command.expected) return true;
  std::fprintf(stderr, "startup: %s left out: it prints \"%s\" in the place of \"%s\"\n",
               command.name.c_str(), output, command.expected.c_str());
  return false;
}

void copy_programs(const std::vector<std::string>& programs, const std::string& directory) {
  int build = 0;
  for (const std::string& program : programs) {
    std::error_code error;
    std::filesystem::copy_file(program, directory + "/" + program_name(++build), error);
    if (error) fail(program, error.value());
  }
}

// In a process of its own, since its memory would count as the peak of the measured commands, which
// begin with the peak of the process that starts them.
void make_files(const std::string& directory) {
  const pid_t child = fork();
  if (child < 0) fail("fork", errno);
  if (child == 0) std::_Exit(startup_files_make(directory) ? 0 : 1);
  int status = 0;
  if (waitpid(child, &status, 0) != child) fail("waitpid", errno);
  if (status != 0) std::exit(1);
}

Options parse_options(int argc, char** argv) {
  Options options;
  for (int letter = 0; (letter = getopt(argc, argv, "r:k")) != -1;) {
    if (letter == 'k') {
      options.keep = true;
    } else if (letter != 'r' || (options.runs = std::atoi(optarg)) <= 0) {
      std::fputs("usage: startup [-r RUNS] [-k] [SCRIVEL...]\n", stderr);
      std::exit(2);
    }
  }
  options.programs.assign(argv + optind, argv + argc);
  if (options.programs.empty()) options.programs.emplace_back(SCRIVEL_PATH);
  for (const std::string& program : options.programs) {
    if (access(program.c_str(), X_OK) != 0) fail(program, errno);
  }
  return options;
}

int run(const Options& options) {
  std::string directory = std::filesystem::temp_directory_path() / "startup-XXXXXX";
  if (mkdtemp(directory.data()) == nullptr) fail(directory, errno);
  copy_programs(options.programs, directory);
  make_files(directory);
  // The default search path begins in the working directory.
  if (chdir(directory.c_str()) != 0) fail(directory, errno);
  std::vector<Command> commands =
      all_commands(static_cast<int>(options.programs.size()), directory);
  std::erase_if(commands, [](const Command& command) { return !prints_what_it_should(command); });
  const std::vector<Measurements> results = measure(commands, options.runs);
  rusage own{};
  getrusage(RUSAGE_SELF, &own);
  print_rows(commands, results);
  print_ratios(commands, results);
  std::printf("floor,peak_kib,%ld\n", own.ru_maxrss);
  if (options.keep) {
    std::fprintf(stderr, "startup: kept %s\n", directory.c_str());
  } else {
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
  }
  return 0;
}

}  // namespace
}  // namespace marigold::inner::bench

int main(int argc, char** argv) {
  return marigold::inner::bench::run(marigold::inner::bench::parse_options(argc, argv));
}
