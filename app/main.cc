// QorArc: exports the disk archives of the control runtime as JSON, CSV, JSON Lines,
// long CSV or Parquet.
#include <malloc.h>
#include <sys/resource.h>

#include <exception>
#include <new>

#include "app/run.h"
#include "base/messages.h"
#include "output/standard_streams.h"
#include "runtime/core_init.h"

int main(int argc, char** argv) {
  qorarc::OpenClosedStandardStreams();  // before anything opens a file
  // The export's threads allocate little of their own: more malloc arenas
  // than two would only reserve address space (64 MiB each). Under an
  // address space limit (ulimit -v) even the second arena's reservation can
  // take what the reading thread needs next, depending on which thread
  // allocates first: there, every thread shares the one arena.
  rlimit address_space{};
  const bool limited = getrlimit(RLIMIT_AS, &address_space) == 0 &&
                       address_space.rlim_cur != RLIM_INFINITY;
  mallopt(M_ARENA_MAX, limited ? 1 : 2);
  qorarc::CoreStart();  // the run takes place whether or not the core came up
  int result;
  try {
    result = qorarc::Run(argc, argv);
  } catch (const std::bad_alloc&) {
    // The reading thread itself ran out of memory (a worker's shortage only
    // costs the export that thread). What it held is freed by now.
    qorarc::ErrorLine("Out of memory: the export was ended.");
    result = -1;
  } catch (const std::exception& error) {
    // The export was ended by an error; what was written is already flushed.
    qorarc::ErrorLine(error.what());
    result = -1;
  }
  qorarc::CoreStop();
  return result;
}
