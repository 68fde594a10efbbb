// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cerrno>

#include "runtime/data/access/data_path.h"
#include "runtime/data/access/version.h"
#include "runtime/data/conversion/cluster_swap.h"
#include "runtime/data/conversion/file_swap.h"
#include "runtime/isam/common/cluster_address.h"
#include "runtime/platform/stop_signals.h"
#include "tools/data/copy_place.h"
#include "tools/records/incoming_table.h"

namespace marigold::inner {
namespace {

class SchemaPlace : public CopyPlace {
 public:
  explicit SchemaPlace(const std::vector<DataTarget>& files) : files_(files) {}

  bool prepare(bool replace, Problems& problems) override {
    replace_ = replace;
    std::vector<std::string> there;
    const std::string directory = cluster_directory(files_.front().base);
    if (islist(directory, there) != 0) return fail(problems, data_error(directory, iserrno));
    return std::ranges::all_of(
        files_, [&](const DataTarget& file) { return prepare_file(file, there, problems); });
  }

  int begin(const DataTarget& file) override {
    incoming_.push_back(std::make_unique<IncomingTable>(file));
    return incoming_.back()->begin();
  }
  int write(const char* record) override { return incoming_.back()->write(record); }
  int finish() override { return incoming_.back()->close(); }

  bool put_in_place(const std::optional<double>& class_version, Problems& problems) override {
    std::vector<IsExchange> steps;
    for (const auto& file : incoming_)
      file->append_steps(replace_, steps);
    const std::string& base = files_.front().base;
    if (class_version)
      steps.push_back({.kind = IsExchange::Kind::kWriteText,
                       .from = data_path_in(data_path_directory(base), kClassRecord),
                       .text = version_record_text(*class_version)});
    for (OpenKeyedFile& file : held_)
      file.retire();
    if (isexchange(steps) != 0) return fail(problems, data_error(base, iserrno));
    for (const auto& file : incoming_)
      file->in_place();
    return true;
  }

 private:
  static bool fail(Problems& problems, const std::string& problem) {
    problems.push_back(problem);
    return false;
  }

  bool prepare_file(const DataTarget& file, const std::vector<std::string>& there,
                    Problems& problems) {
    const FileType type = file.definition->type;
    const auto has = [&](const std::string& address) {
      return std::ranges::binary_search(there, cluster_file_name(address));
    };
    if (has(cluster_table(FileSwap::of(file.base, type)->new_base(), type)))
      return fail(problems, file.base + ": " + kLeftByConversion);
    if (!has(file.table())) return true;
    if (!replace_) return fail(problems, place_taken(file));
    const int failed = held_.emplace_back().open(file.table(), kIsInputOutput | kIsExclusive);
    return failed == 0 || failed == ENOENT || fail(problems, data_error(file.base, failed));
  }

  StopSignalsHold hold_;
  const std::vector<DataTarget>& files_;
  bool replace_ = false;
  std::vector<OpenKeyedFile> held_;
  std::vector<std::unique_ptr<IncomingTable>> incoming_;
};

}  // namespace

std::unique_ptr<CopyPlace> new_copy_schema(const std::vector<DataTarget>& files) {
  return std::make_unique<SchemaPlace>(files);
}

}  // namespace marigold::inner
