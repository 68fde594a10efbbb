// SPDX-License-Identifier: GPL-3.0-or-later
// Cost of formatting a text: plain bytes per second, and a directive in comparison with a direct
// call of the C library's formatted print with the same directive.
//
// After Google Benchmark's own table standard output gets CSV rows:
//
//   plain,BYTES,MB/S       texts of that length without a directive
//   ratio,DIRECTIVE,A,B    the time of a directive over that of the direct call; A: the call gets
//                          its value ready, B: it converts the value from a word, as every caller
//                          like scrivel has to
//
// The rows use the least time of each benchmark's repetitions, which run interleaved: on a machine
// with other work only the least times are comparable.
//
// All options are Google Benchmark's.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "command/format.h"

namespace marigold::inner::bench {
namespace {

// All directives in one text, so that the cost of calling the formatter does not count.
constexpr int kDirectives = 16;

class DroppingOutput final : public Output {
 protected:
  int deliver(std::string_view /*bytes*/) override { return 0; }
};

// A directive and the words that it takes: a number for "*" if there are two.
struct Row {
  const char* directive;
  std::vector<const char*> words;
};

std::string plain_name(int bytes) {
  return "plain/" + std::to_string(bytes);
}

std::string directive_name(const Row& row, const char* how) {
  return std::string("directive/").append(row.directive).append("/").append(how);
}

void format_plain(benchmark::State& state, int bytes) {
  std::string text;
  while (text.size() < static_cast<std::size_t>(bytes))
    text += "The quick brown fox. ";
  text.resize(static_cast<std::size_t>(bytes));
  DroppingOutput output;
  for (auto _ : state) {
    Arguments none;
    benchmark::DoNotOptimize(format_text(text, none, output));
  }
  state.SetBytesProcessed(state.iterations() * bytes);
}

void format_directives(benchmark::State& state, const Row& row) {
  std::string text;
  std::vector<char*> words;
  for (int count = 0; count < kDirectives; ++count) {
    text += row.directive;
    for (const char* word : row.words)
      words.push_back(const_cast<char*>(word));
  }
  DroppingOutput output;
  for (auto _ : state) {
    Arguments arguments = words;
    benchmark::DoNotOptimize(format_text(text, arguments, output));
  }
  state.SetItemsProcessed(state.iterations() * kDirectives);
}

int to_int(const char* word) {
  return static_cast<int>(std::strtol(word, nullptr, 10));
}
double to_double(const char* word) {
  return std::strtod(word, nullptr);
}
int to_character(const char* word) {
  return *word;
}
const char* to_text(const char* word) {
  return word;
}

template <typename Value>
void call_directly(benchmark::State& state, const Row& row, Value (*convert)(const char*),
                   bool converting) {
  const bool star = row.words.size() == 2;
  const char* word = row.words.back();
  const char* star_word = row.words.front();
  const Value ready_value = convert(word);
  const int ready_star = to_int(star_word);
  char buffer[4096];
  for (auto _ : state) {
    char* end = buffer;
    for (int count = 0; count < kDirectives; ++count) {
      benchmark::DoNotOptimize(word);
      const auto room = static_cast<std::size_t>(buffer + sizeof buffer - end);
      const Value value = converting ? convert(word) : ready_value;
      if (star) {
        const int number = converting ? to_int(star_word) : ready_star;
        end += std::snprintf(end, room, row.directive, number, value);
      } else {
        end += std::snprintf(end, room, row.directive, value);
      }
    }
    benchmark::DoNotOptimize(buffer);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kDirectives);
}

const std::vector<int> kPlainSizes = {40, 250, 100000};

const std::vector<Row> kIntegerRows = {
    {"%d", {"12345"}},     {"%5d", {"123"}},       {"%-10d", {"12345"}}, {"%*d", {"10", "12345"}},
    {"%x", {"123456789"}}, {"%08x", {"12345678"}}, {"%#x", {"255"}},     {"%*x", {"10", "255"}}};
const std::vector<Row> kTextRows = {{"%s", {"Anna"}},
                                    {"%-20s", {"Anna Lindqvist"}},
                                    {"%.3s", {"Anna"}},
                                    {"%*s", {"20", "Anna Lindqvist"}}};
const std::vector<Row> kCharacterRows = {{"%c", {"Anna"}}, {"%5c", {"Anna"}}};
const std::vector<Row> kFloatingRows = {{"%.2f", {"3.14159"}},
                                        {"%10.2f", {"12345.678"}},
                                        {"%*.2f", {"10", "12345.678"}},
                                        {"%.*f", {"2", "3.14159"}}};

constexpr const char* kLeast = "least";

double least(const std::vector<double>& values) {
  return *std::ranges::min_element(values);
}

// Shows the usual table, and keeps the least times for the ratios.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  RatioReporter() : ConsoleReporter(OO_None) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.aggregate_name != kLeast && run.repetitions > 1) continue;
      nanoseconds_[run.run_name.function_name] = run.GetAdjustedCPUTime();
    }
  }

  void print_plain(int bytes) const {
    const auto found = nanoseconds_.find(plain_name(bytes));
    if (found == nanoseconds_.end()) return;
    std::printf("plain,%d,%.0f\n", bytes, bytes * 1e3 / found->second);
  }

  void print_ratios(const Row& row) const {
    const auto format = nanoseconds_.find(directive_name(row, "format"));
    const auto ready = nanoseconds_.find(directive_name(row, "ready"));
    const auto converted = nanoseconds_.find(directive_name(row, "converted"));
    const auto none = nanoseconds_.end();
    if (format == none || ready == none || converted == none) return;
    std::printf("ratio,%s,%.2f,%.2f\n", row.directive, format->second / ready->second,
                format->second / converted->second);
  }

 private:
  std::map<std::string, double> nanoseconds_;  // by the benchmark's name
};

template <typename Function>
void add(const std::string& name, Function function) {
  benchmark::RegisterBenchmark(name.c_str(), function)->ComputeStatistics(kLeast, least);
}

template <typename Value>
void add_rows(const std::vector<Row>& rows, Value (*convert)(const char*)) {
  for (const Row& row : rows) {
    add(directive_name(row, "format"),
        [&row](benchmark::State& state) { format_directives(state, row); });
    for (const bool converting : {false, true}) {
      add(directive_name(row, converting ? "converted" : "ready"),
          [&row, convert, converting](benchmark::State& state) {
            call_directly(state, row, convert, converting);
          });
    }
  }
}

void register_all() {
  for (const int bytes : kPlainSizes) {
    add(plain_name(bytes), [bytes](benchmark::State& state) { format_plain(state, bytes); });
  }
  add_rows(kIntegerRows, to_int);
  add_rows(kTextRows, to_text);
  add_rows(kCharacterRows, to_character);
  add_rows(kFloatingRows, to_double);
}

void run_all() {
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  for (const int bytes : kPlainSizes)
    reporter.print_plain(bytes);
  for (const auto* rows : {&kIntegerRows, &kTextRows, &kCharacterRows, &kFloatingRows}) {
    for (const Row& row : *rows)
      reporter.print_ratios(row);
  }
}

}  // namespace
}  // namespace marigold::inner::bench

int main(int argc, char** argv) {
  std::string time = "--benchmark_min_time=0.02";
  std::string repetitions = "--benchmark_repetitions=20";
  std::string aggregates = "--benchmark_report_aggregates_only=true";
  std::string interleaving = "--benchmark_enable_random_interleaving=true";
  // In front, so that the caller's options override these.
  std::vector<char*> words = {argv[0], time.data(), repetitions.data(), aggregates.data(),
                              interleaving.data()};
  words.insert(words.end(), argv + 1, argv + argc);
  int count = static_cast<int>(words.size());
  words.push_back(nullptr);
  benchmark::Initialize(&count, words.data());
  if (benchmark::ReportUnrecognizedArguments(count, words.data())) return 1;
  marigold::inner::bench::register_all();
  marigold::inner::bench::run_all();
  return 0;
}
