// The conversion run: brings data files to the versions of their definitions.
//
// Class by class: the path class is taken for this process alone (in multi-user operation); what an
// interrupted run has left is finished or forgotten; each file whose version differs is copied
// record by record into a new one (record_mapping.h says what becomes of the fields); when all of
// them are whole, the new files are put in the place of the old ones (file_swap.h), each with its
// version record; then the class gets its PATHCONV.ver, and the old files are removed or kept.
//
// Killed at any moment, the next run goes on; no record is lost. Stopped by a failure, or by a
// signal that asks to end and is held back during the run, files that were not put in place are as
// before. The old files stay beside the new ones until the class is done.
//
// The records of a keyed file are copied in the order of the primary key: records with equal values
// of another key come in that order afterwards.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "runtime/data/conversion/conversion_plan.h"

namespace marigold {

// Results of a run.
inline constexpr int kConversionDone = 0;     // every file and class has its version
inline constexpr int kConversionRefused = 1;  // definitions, tables, records or other files do not
                                              // allow it
inline constexpr int kConversionLocked = 2;   // somebody uses a class or a file
inline constexpr int kConversionFailed = 3;   // the disk; or a signal has asked to end

struct ConversionOptions {
  bool keep_old = false;  // as BASE.version-N
  // Further definitions, whose files are not converted. A class does not get its record as long as
  // one of them in it has another version than its definition.
  std::span<const FileDefinition* const> others = {};
  // Told of each file at its begin, at its end, and now and then between them. May be empty.
  std::function<void(const FileConversion& file, std::uint64_t done, std::uint64_t all)> progress;
};

struct ConvertedFile {
  std::string base;
  double from = 0;
  double to = 0;
  std::uint64_t records = 0;
  std::uint64_t cut = 0;  // records of which a text was cut
};

struct ConversionReport {
  std::vector<ConvertedFile> files;   // that are in their place
  std::vector<std::string> problems;  // each begins with what it is about
  std::vector<std::string> waiting;   // the records of classes that were not written, and why
};

// Converts the files, grouped by their classes; they are closed, and outlive the call. Before the
// first class is touched the plans of all are looked at, and nothing is changed when one of them
// has a problem. A class in which there is nothing to do is not locked. Locks of classes on which
// it worked are given back; who held them shared takes them again.
int conversion_run(std::span<const FileDefinition* const> files, const ConversionOptions& options,
                   ConversionReport& report);

// The heading of the version control with the values of a file in it: name, class, old and new
// version, each behind its colon.
std::string conversion_heading(const FileConversion& conversion);

}  // namespace marigold
