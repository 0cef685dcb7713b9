#include "export/writer.h"

#include <algorithm>
#include <cstring>
#include <ostream>

namespace qorarc {

PendingText::PendingText()
    : data(new char8_t[kPieceSize + kSlack]), capacity(kPieceSize + kSlack) {}

void PendingText::WriteTo(std::ostream* out) {
  if (size == 0) return;
  out->write(reinterpret_cast<const char*>(data.get()), static_cast<std::streamsize>(size));
  size = 0;
  if (!*out) failed = true;
}

void PendingText::Grow(size_t n) {
  const size_t wanted = std::max(size + n, 2 * capacity);
  std::unique_ptr<char8_t[]> bigger(new char8_t[wanted]);
  std::memcpy(bigger.get(), data.get(), size);
  data = std::move(bigger);
  capacity = wanted;
}

Writer::Writer(std::ostream* out) : out_(out) {}

Writer::~Writer() = default;

void Writer::flush() {
  pending_.WriteTo(out_);
  out_->flush();
  if (!*out_) pending_.failed = true;
}

}  // namespace qorarc
