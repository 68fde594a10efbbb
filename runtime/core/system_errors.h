// SPDX-License-Identifier: GPL-3.0-or-later
// The numbers of system errors that end a process (raise_fatal). The platform's programs and
// manuals use these numbers, and the catalogue has a text for each. Numbers from 100 on are the
// keyed-file engine's (include/marigold/isam.h), from 1000 on the operating system's, increased by
// 1000.
#pragma once

namespace marigold::inner {

enum SystemError : int {
  kErrorUnknownFile = 1,    // no definition set names the file
  kErrorUnknownField = 2,   // the definition, or another dictionary, lacks the name
  kErrorUnknownType = 2,    // of a file, in a definition that a program has made itself
  kErrorFieldType = 3,      // a field of another type
  kErrorFieldElement = 4,   // no element of the field has this number
  kErrorPrintMarker = 5,    // a marker in printed text that the channel does not know
  kErrorFileVersion = 12,   // the version record of a file cannot be written
  kErrorFileType = 16,      // a chained file, which the runtime cannot open
  kErrorLongSetting = 17,   // a text of 250 characters or more; 249 are allowed
  kErrorRecordLength = 19,  // no room for the deletion marker after the fields
  kErrorWindow = 23,        // a window that cannot be made
  kErrorWindowNumber = 24,  // no such window
  kErrorWindowPlace = 25,   // outside the screen
  kErrorWindowText = 26,    // a text outside its window
  kErrorNoRecord = 33,      // a record buffer of no bytes
  kErrorNoMemory = 34,
  kErrorStringTooLong = 38,
  kErrorPathVersionNewer = 39,  // a data directory of a later version than the tables know
  kErrorFileVersionNewer = 40,  // records of a later version than the definition
  kErrorPathVersion = 41,       // the version record of a data directory cannot be written
  kErrorIsOpen = 42,            // a list, or the output channel, is opened twice
  kErrorIsClosed = 43,          // the same closed twice
  kErrorCollected = 44,         // too much text collected for a line
  kErrorChannelClosed = 45,     // printing without an open output channel
  kErrorMenu = 47,              // menus inside one another without end
  kErrorMenuEntry = 48,         // nothing follows when the user chooses the entry
  kErrorPrintDefaults = 60,     // the print engine's DEFAULT.DAT is missing
  kErrorPathClass = 64,         // no such path class

  // Faults in a definition set, at the line that is reported.
  kErrorSetSyntax = 7,
  kErrorSetLongWord = 9,
  kErrorSetLongValue = 10,
  kErrorSetFieldType = 11,
  kErrorSetKeyNumber = 13,
  kErrorSetKey = 14,
  kErrorSetKeyField = 15,
  kErrorSetFileType = 16,
  kErrorSetRecordLength = 19,
  kErrorSetRecordNumber = 20,
  kErrorSetIfdef = 56,
  kErrorSetElse = 57,
  kErrorSetEndif = 58,
  kErrorSetQualifier = 59,
  kErrorSetEnd = 60,
};

}  // namespace marigold::inner
