// SPDX-License-Identifier: GPL-3.0-or-later
// Holds back the signals that ask a process to end (interrupt, termination, hang-up) while its
// files are between two states.
//
// For processes of one thread. Holds nest: the last release ends them.
#pragma once

namespace marigold::inner {

// Holds such signals back from now on. A write beyond the process's limit on file sizes, which
// would end the process by a signal too, becomes a failed write.
void stop_signals_hold();

// Whether a signal is waiting. A long operation asks now and then, and stops in order.
bool stop_signals_pending();

// Restores the state before stop_signals_hold; a waiting signal takes effect at once.
void stop_signals_release();

// Holds the signals back while the object lives.
struct StopSignalsHold {
  StopSignalsHold() { stop_signals_hold(); }
  ~StopSignalsHold() { stop_signals_release(); }
  StopSignalsHold(const StopSignalsHold&) = delete;
  StopSignalsHold& operator=(const StopSignalsHold&) = delete;
};

}  // namespace marigold::inner
