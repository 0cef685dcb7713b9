#include "runtime/descriptions.h"

#include "runtime/resource_strings.h"

namespace qorarc {

namespace {

// The export never shows block or parameter descriptions; they belong to the
// runtime's object model. This build carries only the parameter text it is
// known to need and no block descriptions at all, so slots 1200-1711 and the
// other slots of 2400-2477 stay empty rather than holding made-up texts.
constexpr ResourceString kParameterDescriptions[] = {
    {2448, "Base tick (period) of the runtime core [s]"},
    {0, nullptr},
};

}  // namespace

void RegisterDescriptions() { RegisterResourceStrings(kParameterDescriptions); }

}  // namespace qorarc
