#include "export/writer.h"

#include <memory>

namespace qorarc {

Writer::Writer(WriterTarget target)
    : own_text_(target.text == nullptr ? std::make_unique<PendingText>(target.stream) : nullptr),
      pending_(target.text != nullptr ? *target.text : *own_text_) {}

Writer::~Writer() = default;

void Writer::flush() { pending_.Flush(); }

}  // namespace qorarc
