// Runs the built QorArc as a child process and captures what it prints.
#pragma once

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
  std::string cwd;               // working directory; empty: the current one
};

// Runs QorArc with `args` (without the program name), standard input on
// /dev/null.
ProgramResult RunQorArc(const std::vector<std::string>& args,
                        const ProgramOptions& options = {});

// Path of the built program.
std::string QorArcPath();

}  // namespace qorarc::testing
