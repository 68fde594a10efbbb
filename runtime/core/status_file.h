// SPDX-License-Identifier: GPL-3.0-or-later
// The program status file "pstatus.tmp": an application writes it into its working directory for
// observers.
//
// A text file with one item a line, made at every start. Labels are ten characters wide, "="
// included:
//
//   PROGRAMM =invoice                    program name
//   DATUM    =07-03-1996                 day, month, year of the start
//   UHRZEIT  =09:05:03                   time of the start
//   LOCKPATH = 7: orders                 a path class was locked; the name from class 6 on
//   FREEPATH = 7: orders                 it was freed
//   EXIT     =OK                         the program ended by itself; otherwise ERROR, or PATH_OK
//                                        (below), and then:
//   FEHLER   =  17                       the number of the system error that ended the program
//
// A file without an EXIT line belongs to a program that is running or was killed. Every line is in
// the file when the call returns. Failures to create or write the file are not reported: the
// application matters more than its trace. Without an open file nothing is written, but the module
// still keeps the held paths.
//
// An application that keeps path locks has the flag OpenSubsystems::path_locks set. If it ends with
// an error while it holds none of them, no data can have suffered, and the file has PATH_OK in the
// place of ERROR.
#pragma once

namespace marigold::inner {

// Path classes have the numbers 0 to 30.
inline constexpr int kPathClasses = 31;

// Closes an open file and forgets the held paths, without writing anything.
void status_start();

// Closes an open status file, without an EXIT line, and starts a new one for the program, with a
// LOCKPATH line for each held path if the application keeps path locks.
void status_open(const char* program);

// Notes that a path class is locked or freed, and writes the event. Ignores classes outside 0 to
// 30. Keeps the name for later lines.
void status_path_event(int path, bool locked, const char* name);

void status_close();
void status_close_with_error(int number);

}  // namespace marigold::inner
