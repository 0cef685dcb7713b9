// Where a writer's text goes (export/writer.h): a stream, through a pending
// text of the writer's own, or a pending text the caller owns (and may take
// text from).
#pragma once

#include <iosfwd>

#include "output/pending_text.h"

namespace qorarc {

struct WriterTarget {
  WriterTarget(std::ostream* out) : stream(out) {}   // NOLINT: implicit by design
  WriterTarget(PendingText* text) : text(text) {}    // NOLINT
  std::ostream* stream = nullptr;
  PendingText* text = nullptr;
};

}  // namespace qorarc
