// The program status file "pstatus.tmp": what an application leaves in its working directory for
// those who watch it.
//
// A text file, one item a line, rewritten at every start. Labels are ten characters wide, "="
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
// the file when the call returns. A file that cannot be created is not reported and write errors
// are not looked at: the application matters more than its trace. While no file is open nothing is
// written; which paths are held is kept all the same.
//
// An application that keeps path locks has the flag OpenSubsystems::path_locks set. When it then
// ends with an error while it holds none of them, no data can have suffered, and the file says
// PATH_OK in the place of ERROR.
#pragma once

namespace marigold {

// Path classes are numbered 0 to 30.
inline constexpr int kPathClasses = 31;

// Forgets a file that is open and the paths held, without writing anything.
void status_start();

// Closes a status file that is still open, without an EXIT line, and starts a new one for the
// program, with a LOCKPATH line for each path held if the application keeps path locks.
void status_open(const char* program);

// Notes that a path class (0 to 30, others are ignored) is locked or freed, and writes the event.
// The name is kept for later lines.
void status_path_event(int path, bool locked, const char* name);

void status_close();
void status_close_with_error(int number);

}  // namespace marigold
