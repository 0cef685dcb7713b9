// Standard input, output and error that the program was started without
// ("2>&-", as some daemons and cron set-ups run programs).
#pragma once

namespace qorarc {

// Opens /dev/null on each of descriptors 0, 1 and 2 that is closed, so that
// no file the program opens later takes its place: a -o file on descriptor 2
// would otherwise receive the messages, and a log file on descriptor 1 the
// document. To be called first thing in main(), before anything opens a file.
void OpenClosedStandardStreams();

}  // namespace qorarc
