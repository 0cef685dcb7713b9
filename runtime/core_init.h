// Start-up and shutdown of the runtime core around the program's run.
//
// CoreStart registers the message tables, reads the diagnostics settings
// (core_config.h), opens the log file, reports the version, registers the
// core's modules and classes and creates its locks. CoreStop undoes it in
// reverse order. The program runs between the two whatever CoreStart
// returned.
#pragma once

namespace qorarc {

// Version of the runtime core, reported at start-up as
// "QorCore version: 3.0.5 revision 17331-final".
inline constexpr int kCoreVersionMajor = 3;
inline constexpr int kCoreVersionMinor = 0;
inline constexpr int kCoreVersionPatch = 5;
inline constexpr int kCoreRevision = 17331;
inline constexpr char kCoreBuildSuffix[] = "-final";

// Returns 0, or the negative result code of the stage that failed; later
// stages are then skipped. Never stops the program and reports nothing
// itself except a log file that cannot be opened.
int CoreStart();

// Always runs the whole shutdown sequence, also after a failed start.
void CoreStop();

}  // namespace qorarc
