// Runs the built QorArc as a child process and captures what it prints.
#pragma once

#include <sys/resource.h>
#include <sys/types.h>

#include <chrono>
#include <set>
#include <string>
#include <vector>

#include "support/files.h"

namespace qorarc::testing {

struct ProgramResult {
  std::string out;  // standard output
  std::string err;  // standard error
  int status = -1;  // exit status as the shell sees it (0-255), -1 if killed
};

struct ProgramOptions {
  // Extra "NAME=value" entries; a bare "NAME" removes NAME from the
  // environment the program inherits.
  std::vector<std::string> env;
  std::string cwd;  // working directory; empty: the current one
};

// Runs QorArc with `args` (without the program name), standard input on
// /dev/null, standard output on a file.
ProgramResult RunQorArc(const std::vector<std::string>& args,
                        const ProgramOptions& options = {});

// Path of the built program.
std::string QorArcPath();

// Path of a script in the tests' source folder.
std::string TestScriptPath(const std::string& name);

// Runs a shell command and returns what it writes to standard output;
// `*status` gets its exit status as pclose gives it.
std::string RunShell(const std::string& command, int* status = nullptr);

// A run whose standard streams go to files, for outputs that are not pipes.
struct Launch {
  std::vector<std::string> args;
  std::string out = "/dev/null";  // standard output; empty: closed
  std::string err;                // standard error: a file, or empty for a pipe
  bool as_nobody = false;         // run as user and group 65534
  rlim_t file_size_limit = RLIM_INFINITY;  // with SIGXFSZ ignored
  ProgramOptions options = {};
  std::string in = "/dev/null";  // standard input; empty: closed
  bool err_closed = false;       // standard error closed (`err` unused)
  // Processes and threads the user may have (with as_nobody: root has no
  // such limit).
  rlim_t process_limit = RLIM_INFINITY;
  rlim_t address_space_limit = RLIM_INFINITY;  // bytes, as `ulimit -v` sets
};

struct Child {
  pid_t pid;
  int err_pipe = -1;  // when Launch::err is empty
};

struct Outcome {
  std::string err;
  int status = -1;  // exit status, -1 when ended by a signal
  int signal = 0;   // the signal that ended it
  long max_rss_kib = 0;  // the child's peak resident memory
};

// Starts QorArc with its standard streams as `launch` says. A run that
// hangs is ended by SIGALRM after 60 s and so fails its status check.
Child Start(const Launch& launch);
// Waits for the child; reads its standard error from the pipe or `err_path`.
Outcome Finish(const Child& child, const std::string& err_path);
inline Outcome RunLaunch(const Launch& launch) { return Finish(Start(launch), launch.err); }
// Starts the run and, unless `signal_number` is 0, sends it that signal
// after `delay`: a run ended at a random instant.
Outcome RunInterrupted(const Launch& launch, int signal_number, std::chrono::microseconds delay);

// The names in a directory.
std::set<std::string> Names(const std::string& dir);

}  // namespace qorarc::testing
