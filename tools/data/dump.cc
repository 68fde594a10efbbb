// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/core/output_file.h"
#include "tools/common/progress.h"
#include "tools/data/commands.h"
#include "tools/records/record_walk.h"
#include "tools/records/snapshot_walk.h"

namespace marigold::inner {
namespace {

constexpr std::size_t kPieceOfOutput = std::size_t{1} << 16;

class Dump {
 public:
  Dump(const DataDump& options, DataTarget& target, RecordText& text)
      : options_(options),
        target_(target),
        text_(text),
        columns_(identifying_columns(text)),
        progress_(options.file.file) {}

  int run(RecordWalk& walk);

 private:
  // Returns the columns by which a message names a record: those of the primary key, or the number.
  static std::vector<Column> identifying_columns(const RecordText& text) {
    if (text.file().type != FileType::kIsam) return {text.columns().front()};
    return key_columns(text.file(), text.file().keys.keys.front());
  }

  void append(const char* record);
  bool write(std::string& reason) {
    const bool written = output_.write(lines_, reason);
    lines_.clear();
    return written;
  }
  bool copy(RecordWalk& walk, std::string& reason);

  const DataDump& options_;
  DataTarget& target_;
  RecordText& text_;
  std::vector<Column> columns_;
  Progress progress_;
  OutputFile output_;
  std::string lines_;
  std::size_t left_out_ = 0;
};

void Dump::append(const char* record) {
  std::string reason;
  const bool appended = options_.json ? text_.append_json(record, lines_, reason)
                                      : text_.append_csv(record, lines_, reason);
  progress_.step();
  if (appended) return;
  ++left_out_;
  progress_.hide();
  report(target_.base + ": " + text_.describe(columns_, record) + ": left out: " + reason);
}

bool Dump::copy(RecordWalk& walk, std::string& reason) {
  std::string record(static_cast<std::size_t>(text_.file().record_length), '\0');
  if (!options_.json) text_.append_csv_header(lines_);
  for (;;) {
    switch (walk.next(record.data(), reason)) {
      case RecordWalk::Outcome::kEnd:
        return write(reason);
      case RecordWalk::Outcome::kFailed:
        reason.insert(0, target_.base + ": ");
        return false;
      case RecordWalk::Outcome::kRecord:
        append(record.data());
    }
    if (lines_.size() >= kPieceOfOutput && !write(reason)) return false;
  }
}

int Dump::run(RecordWalk& walk) {
  std::string reason;
  const bool done =
      output_.open(options_.output, reason) && copy(walk, reason) && output_.finish(reason);
  progress_.hide();
  if (!done) return report_unusable({reason});
  if (left_out_ == 0) return kExitClean;
  report("marigold: " + counted(left_out_, "record") + " left out");
  return kExitFindings;
}

}  // namespace

int data_dump(const DataDump& options) {
  CodeSet code_set;
  std::string problem;
  if (!code_set.open(options.code_set, problem)) return report_unusable({"marigold: " + problem});
  DataTarget target;
  Problems problems;
  if (!find_data_file(options.file, target, problems)) return report_unusable(problems);
  if (options.snapshot && target.in_cluster())
    return report_unusable({only_in_directories(
        target, "\"marigold data copy\" copies the records of one moment into a directory")});
  if (!finish_changes(target, problem)) return report_unusable({problem});
  RecordText text(*target.definition, code_set);
  const WalkRange range{.key = options.key, .from = options.from, .to = options.to};
  const auto walk = options.snapshot ? walk_snapshot(target, text, range, problem)
                                     : walk_records(target, text, range, problem);
  // The file is open by now, so no conversion can begin.
  std::string reason;
  if (walk != nullptr && !check_version(target, reason)) problem = target.base + ": " + reason;
  if (!problem.empty()) return report_unusable({problem});
  return Dump(options, target, text).run(*walk);
}

}  // namespace marigold::inner
