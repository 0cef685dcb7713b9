// The help text of "-h"/"--help".
#pragma once

#include <ostream>

namespace qorarc {

void PrintHelp(std::ostream& out);

}  // namespace qorarc
