// The help text of "-h"/"--help".
#pragma once

#include <ostream>

namespace qorarc {

// Writes the help text to `out`. The logo is coloured with terminal escape
// codes unless the environment variable NO_COLOR is set and not empty.
void PrintHelp(std::ostream* out);

}  // namespace qorarc
