// SPDX-License-Identifier: GPL-3.0-or-later
#include "command/driver.h"

#include <cstdio>
#include <string>

#include "command/format.h"
#include "command/message.h"
#include "command/options.h"
#include "runtime/core/settings.h"
#include "runtime/platform/system_error.h"
#include "runtime/texte/texte.h"

namespace marigold::inner {
namespace {

constexpr int kSuccess = 0;
constexpr int kFailure = 1;

// Upper bound of the length of key and counter together.
constexpr std::size_t kContinuationKeyBound = 251;

void start_runtime() {
  settings_read();
  sysmsg_init();
  textdb_setup("");
}

bool names_a_chain(const std::string& key) {
  return key.ends_with('+');
}

// Estimates the number of digits, one too many from 10 on. Kept, because scripts number their texts
// to fit this estimate.
bool continuation_fits(const std::string& key, int counter) {
  return static_cast<std::size_t>(counter / 10) + 1 + key.size() < kContinuationKeyBound;
}

void look_up(const std::string& key, const Options& options, std::string& text) {
  textdb_text(text, key.c_str());
  if (options.verbose)
    std::fprintf(stderr, "key: %s format: %s\n", shown(key).c_str(), shown(text).c_str());
}

// Writes the text of the first word and, as long as it names a chain, the texts that continue it.
int write_texts(const Options& options, Output& output) {
  const std::string key = options.words.front();
  Arguments arguments = options.words.subspan(1);
  std::string text;
  look_up(key, options, text);
  for (int counter = 1;; ++counter) {
    if (format_text(text, arguments, output) == Formatted::kStopped) return kSuccess;
    if (options.final_newline) output.put('\n');
    if (!names_a_chain(key) || output.failure() != 0) return kSuccess;
    if (!continuation_fits(key, counter)) {
      std::fputs("keystring to long\n", stderr);
      return kFailure;
    }
    const std::string continuation = key + std::to_string(counter);
    look_up(continuation, options, text);
    if (options.verbose && text.empty()) std::fputs("format0\n", stderr);
    if (text == continuation) {
      if (options.verbose) std::fprintf(stderr, "format fehlt: %s\n", shown(text).c_str());
      return kSuccess;
    }
  }
}

}  // namespace

int run_command(std::span<char* const> command_line, Output& output) {
  const char* program = command_line.front();
  const Options options = options_parse(command_line);
  if (options.errors != 0 || options.words.empty()) {
    std::fprintf(stderr, "Usage: %s [-n -t <textfile> ] textid [argument...]\n",
                 shown(program).c_str());
    return kFailure;
  }
  start_runtime();
  const int status = write_texts(options, output);
  output.flush();
  if (output.failure() == 0) return status;
  std::fprintf(stderr, "%s: standard output: %s\n", shown(program).c_str(),
               system_error_text(output.failure()).c_str());
  return kFailure;
}

}  // namespace marigold::inner
