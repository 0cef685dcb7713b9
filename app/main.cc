// QorArc: exports the disk archives of the control runtime as JSON, CSV, JSON Lines,
// long CSV or Parquet.
#include <exception>

#include "core/messages.h"
#include "app/run.h"
#include "app/standard_streams.h"
#include "core/core_init.h"

int main(int argc, char** argv) {
  qorarc::OpenClosedStandardStreams();  // before anything opens a file
  qorarc::CoreStart();  // the run takes place whether or not the core came up
  int result;
  try {
    result = qorarc::Run(argc, argv);
  } catch (const std::exception& error) {
    // The export was ended by an error; what was written is already flushed.
    qorarc::ErrorLine(error.what());
    result = -1;
  }
  qorarc::CoreStop();
  return result;
}
