#include "export/writer.h"

#include <memory>

#include "archive/archive_format.h"

namespace qorarc {

Writer::Writer(WriterTarget target)
    : own_text_(target.text == nullptr ? std::make_unique<PendingText>(target.stream) : nullptr),
      pending_(target.text != nullptr ? *target.text : *own_text_) {}

Writer::~Writer() = default;

void Writer::flush() { pending_.Flush(); }

size_t Writer::textBound(int code, uint8_t count, size_t text_bytes) const {
  const int32_t elements = ValueCount(code, count);
  const size_t lines = elements > 0 && ShapeOf(code) == ValueShape::kArray ? elements : 1;
  return 512 + 6 * text_bytes + lineBound() * lines;
}

}  // namespace qorarc
