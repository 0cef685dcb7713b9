// The driver: one run of the program from the argument vector to the exit
// status.
#pragma once

namespace qorarc {

// Parses the options and shows help or version, scans, or exports. Returns
// the exit status: 0, 1 for bad parameters, 2 when some archive data could
// not be read, 3 with --strict when no archive file was found, -1 or
// discovery's code on failure. A writer's logic error propagates after the
// output is flushed.
int Run(int argc, char** argv);

}  // namespace qorarc
