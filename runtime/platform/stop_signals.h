// The signals that ask a process to end (interrupt, termination, hang-up), held back while its
// files are between two states.
//
// For processes of one thread. Holds nest: the last release ends them.
#pragma once

namespace marigold {

// From now on such a signal waits. A write beyond the process's limit on file sizes, which would
// end it just as suddenly, becomes a failed write.
void stop_signals_hold();

// Whether one is waiting. A long piece of work looks now and then, and gives up tidily.
bool stop_signals_pending();

// Everything is again as before stop_signals_hold; a signal that was waiting takes effect at once.
void stop_signals_release();

// A hold for as long as the object lives.
struct StopSignalsHold {
  StopSignalsHold() { stop_signals_hold(); }
  ~StopSignalsHold() { stop_signals_release(); }
  StopSignalsHold(const StopSignalsHold&) = delete;
  StopSignalsHold& operator=(const StopSignalsHold&) = delete;
};

}  // namespace marigold
