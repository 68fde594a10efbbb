// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "runtime/core/settings.h"
#include "runtime/data/access/data_path.h"
#include "runtime/data/conversion/cluster_swap.h"
#include "runtime/isam/common/cluster.h"
#include "runtime/isam/common/cluster_address.h"
#include "runtime/platform/library_path.h"
#include "runtime/platform/named_file.h"
#include "runtime/platform/stop_signals.h"
#include "tools/backup/files.h"
#include "tools/common/json_text.h"
#include "tools/common/progress.h"
#include "tools/data/commands.h"
#include "tools/data/copy_place.h"
#include "tools/data/copy_source.h"
#include "tools/records/record_walk.h"

namespace marigold::inner {

std::string place_taken(const DataTarget& file) {
  return file.base + ": exists already; --replace replaces it";
}

namespace {

bool fail(Problems& problems, const std::string& problem) {
  problems.push_back(problem);
  return false;
}

// A data directory of the command line.
struct Place {
  std::string pattern;
  std::string directory = {};  // of the class

  bool resolve(int path_class, Problems& problems) {
    directory = data_directory_by(pattern, path_class);
    std::string reason;
    if (directory.empty()) return fail(problems, "marigold: a data directory has no name");
    return check_data_directory(directory, reason) || fail(problems, reason);
  }
  [[nodiscard]] bool in_cluster() const { return is_cluster_address(directory); }
};

bool is_same(const Place& a, const Place& b) {
  if (a.in_cluster() != b.in_cluster()) return false;
  if (!a.in_cluster()) {
    std::error_code unknown;
    return std::filesystem::equivalent(library_path(a.directory), library_path(b.directory),
                                       unknown);
  }
  ClusterAddress one;
  ClusterAddress other;
  return cluster_parse(cluster_join(a.directory, "*"), one).empty() &&
         cluster_parse(cluster_join(b.directory, "*"), other).empty() &&
         one.server == other.server && one.schema == other.schema;
}

int class_of(const DataTarget& file) {
  return static_cast<unsigned char>(file.definition->path_class);
}

class Copy {
 public:
  explicit Copy(const DataCopy& options)
      : options_(options), from_{options.from}, to_{options.to} {}

  // Copies the files and returns the exit status.
  int run();

 private:
  bool select(Problems& problems);
  bool find_places(Problems& problems);
  bool has_data(const DataTarget& file, const std::vector<std::string>& of_schema) const;
  bool leave_out_missing(Problems& problems);
  bool read_class_version(Problems& problems);
  bool copy_all(CopySource& source, CopyPlace& place, Problems& problems);
  int copy_records(CopiedRecords& records, CopyPlace& place, std::size_t file, std::string& reason);
  [[nodiscard]] std::string summary() const;

  const DataCopy& options_;
  Place from_;
  Place to_;
  std::vector<DataTarget> sources_;
  std::vector<DataTarget> targets_;  // of the same files
  std::vector<std::int64_t> counts_;
  std::vector<std::string> absent_;
  std::optional<double> class_version_;
};

// Finds the definitions, without places.
bool Copy::select(Problems& problems) {
  std::vector<std::string> names = options_.files;
  if (names.empty() && !find_file_names(options_.set, options_.path_class, names, problems))
    return false;
  std::ranges::sort(names);
  names.erase(std::unique(names.begin(), names.end()), names.end());
  for (const std::string& name : names) {
    // The default place counts for nothing, not even for a message.
    if (!find_data_file({.file = name, .set = options_.set, .path = name}, sources_.emplace_back(),
                        problems))
      return false;
    if (class_of(sources_.back()) != class_of(sources_.front()))
      return fail(problems, "marigold: " + names.front() + " and " + name +
                                " are of different path classes; copy each class by itself");
  }
  return !sources_.empty() ||
         fail(problems,
              "marigold: no file of class " + std::to_string(options_.path_class) + " is defined");
}

bool Copy::find_places(Problems& problems) {
  const int path_class = class_of(sources_.front());
  if (!from_.resolve(path_class, problems) || !to_.resolve(path_class, problems)) return false;
  if (is_same(from_, to_))
    return fail(problems, from_.directory + ": the files would be copied onto themselves");
  const bool is_class = data_directory(path_class) == from_.directory;
  for (DataTarget& source : sources_) {
    source.base = data_path_in(from_.directory, source.definition->name.view());
    source.in_class = is_class;
    DataTarget& target = targets_.emplace_back();
    target.set_path = source.set_path;
    target.definition = source.definition;
    target.base = data_path_in(to_.directory, source.definition->name.view());
  }
  return true;
}

bool Copy::has_data(const DataTarget& file, const std::vector<std::string>& of_schema) const {
  if (file.in_cluster())
    return std::ranges::binary_search(of_schema, cluster_file_name(file.table()));
  if (!file.is_keyed()) return file_exists(file.base.c_str());
  return file_exists((file.base + ".dat").c_str()) || file_exists((file.base + ".idx").c_str());
}

// A class is copied with the files that have data.
bool Copy::leave_out_missing(Problems& problems) {
  if (!options_.files.empty()) return true;
  std::vector<std::string> of_schema;
  if (from_.in_cluster() && islist(from_.directory, of_schema) != 0)
    return fail(problems, data_error(from_.directory, iserrno));
  for (std::size_t i = sources_.size(); i-- > 0;) {
    if (has_data(sources_[i], of_schema)) continue;
    absent_.emplace_back(sources_[i].definition->name.view());
    sources_.erase(sources_.begin() + static_cast<std::ptrdiff_t>(i));
    targets_.erase(targets_.begin() + static_cast<std::ptrdiff_t>(i));
  }
  std::ranges::reverse(absent_);
  return !sources_.empty() ||
         fail(problems, from_.directory + ": none of the files of class " +
                            std::to_string(options_.path_class) + " has any data");
}

// The version of the class goes with the class, not with single files.
bool Copy::read_class_version(Problems& problems) {
  if (!options_.files.empty()) return true;
  const std::string record = data_path_in(from_.directory, kClassRecord);
  std::string reason;
  return read_version(record, class_version_, reason) ||
         fail(problems, data_path_shown(record) + ": " + reason);
}

// Gives the reason of a failure of the source; the caller knows that of the place.
int Copy::copy_records(CopiedRecords& records, CopyPlace& place, std::size_t file,
                       std::string& reason) {
  constexpr std::int64_t kSeldom = 256;
  const FileDefinition& definition = *sources_[file].definition;
  std::string record(static_cast<std::size_t>(definition.record_length), '\0');
  Progress progress(std::string(definition.name.view()));
  const auto all = static_cast<std::uint64_t>(std::max<std::int64_t>(records.count(), 0));
  std::int64_t live = 0;
  for (std::uint64_t done = 0;; ++done) {
    if (done % kSeldom == 0) {
      if (stop_signals_pending()) return EINTR;
      progress.at(done, all);
    }
    const CopiedRecords::Outcome outcome = records.next(record.data(), reason);
    if (outcome == CopiedRecords::Outcome::kFailed) return EIO;
    if (outcome == CopiedRecords::Outcome::kEnd) break;
    live += record.back() == kLiveMarker ? 1 : 0;
    if (const int failed = place.write(record.data())) return failed;
  }
  counts_.push_back(live);
  return place.finish();
}

bool Copy::copy_all(CopySource& source, CopyPlace& place, Problems& problems) {
  for (std::size_t i = 0; i < sources_.size(); ++i) {
    const auto records = source.records(i);
    if (records == nullptr) return fail(problems, data_error(sources_[i].base, EIO));
    std::string reason;
    int failed = place.begin(targets_[i]);
    if (failed == 0) failed = copy_records(*records, place, i, reason);
    if (!reason.empty()) return fail(problems, sources_[i].base + ": " + reason);
    if (failed != 0) return fail(problems, data_error(targets_[i].base, failed));
  }
  return place.put_in_place(class_version_, problems);
}

std::string Copy::summary() const {
  std::string text;
  for (std::size_t i = 0; i < targets_.size(); ++i) {
    if (options_.json) {
      text += Json::object({{"file", sources_[i].definition->name.view()},
                            {"from", sources_[i].base},
                            {"to", targets_[i].base},
                            {"records", counts_[i]}})
                  .line();
    } else {
      text += targets_[i].base + ": " + counted(static_cast<std::size_t>(counts_[i]), "record") +
              " copied\n";
    }
  }
  return text;
}

int Copy::run() {
  Problems problems;
  if (!select(problems) || !find_places(problems) || !leave_out_missing(problems) ||
      !take_class(sources_.front(), problems) || !take_class(targets_.front(), problems) ||
      !read_class_version(problems))
    return report_unusable(problems);
  // Each file is open, and so may be the one in its new place, and the new one.
  if (isopenlimit(static_cast<int>(3 * sources_.size())) != 0)
    return report_unusable({"marigold: " + data_error(iserrno)});
  std::string problem;
  const auto source = open_copy_source(sources_, problem);
  if (source == nullptr) return report_unusable({problem});
  const auto place = to_.in_cluster() ? new_copy_schema(targets_) : new_copy_directory(targets_);
  if (!place->prepare(options_.replace, problems) || !copy_all(*source, *place, problems))
    return report_unusable(problems);
  const int status = write_output(summary(), kExitClean);
  for (const std::string& name : absent_)
    report(name + ": has no data yet");
  return status;
}

}  // namespace

int data_copy(const DataCopy& options) {
  if (options.files.empty() == (options.path_class < 0))
    return report_unusable({"marigold: copy needs names of files, or --class"});
  return Copy(options).run();
}

}  // namespace marigold::inner
