// SPDX-License-Identifier: GPL-3.0-or-later
// The conversion run: brings data files to the versions of their definitions.
//
// The run goes class by class. It takes the path class for this process alone (in multi-user
// operation) and finishes or discards the work of an interrupted run. It copies each file whose
// version differs record by record into a new one (record_mapping.h describes the fields). When new
// files are whole, it puts them in the place of the old ones (file_swap.h), each with its version
// record. Then it writes the class's PATHCONV.ver, and removes or keeps the old files.
//
// After a run is killed, at any moment, the next run completes the work; no record is lost. A
// failure stops the run, and so does a signal that asks to end, which the run holds back; files
// that are not yet put in place stay as before. The old files stay beside the new ones until the
// class is done.
//
// The run copies the records of a keyed file in the order of the primary key. Records with equal
// values of another key are in that order afterwards.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "runtime/data/conversion/conversion_plan.h"

namespace marigold::inner {

// Results of a run.
inline constexpr int kConversionDone = 0;     // every file and class has its version
inline constexpr int kConversionRefused = 1;  // definitions, tables, records or other files
                                              // prevent it
inline constexpr int kConversionLocked = 2;   // another process uses a class or a file
inline constexpr int kConversionFailed = 3;   // the disk, or a signal that asks to end

struct ConversionOptions {
  bool keep_old = false;  // as BASE.version-N
  // Further definitions, whose files the run does not convert. A class gets no record while a file
  // of one of them in that class has another version than its definition.
  std::span<const FileDefinition* const> others = {};
  // The run calls this for each file at its beginning, at its end, and now and then in between. May
  // be empty.
  std::function<void(const FileConversion& file, std::uint64_t done, std::uint64_t all)> progress;
};

struct ConvertedFile {
  std::string base;
  double from = 0;
  double to = 0;
  std::uint64_t records = 0;
  std::uint64_t cut = 0;  // records with a text that was cut
};

struct ConversionReport {
  std::vector<ConvertedFile> files;   // files that were put in place
  std::vector<std::string> problems;  // each begins with its subject: a path or a file's name
  std::vector<std::string> waiting;   // classes whose record was not written, and why
};

// Converts the files, grouped by their classes. The caller has closed the files, and the
// definitions outlive the call. The run plans all classes before it touches the first, and changes
// nothing if one of the plans has a problem. It locks no class that needs no work. It gives back
// the locks of the classes on which it worked; a caller that held them shared takes them again.
int conversion_run(std::span<const FileDefinition* const> files, const ConversionOptions& options,
                   ConversionReport& report);

// Returns the heading of the version control for a file: name, class, old and new version, each
// after its colon.
std::string conversion_heading(const FileConversion& conversion);

}  // namespace marigold::inner
