#include "export/writer.h"

#include <algorithm>
#include <cstring>
#include <ostream>
#include <utility>

namespace qorarc {

PendingText::PendingText()
    : data(new char8_t[kPieceSize + kSlack]), capacity(kPieceSize + kSlack) {}

void PendingText::WriteTo(std::ostream* out) {
  if (collect) {
    if (capacity - size < kSlack) Grow(kSlack);
    piece_size = capacity - kSlack;
    return;
  }
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

void PendingText::HandOver(PendingText* other) {
  std::swap(data, other->data);
  std::swap(size, other->size);
  std::swap(capacity, other->capacity);
  size = 0;
  if (collect) piece_size = capacity - kSlack;
}

Writer::Writer(std::ostream* out) : out_(out) {}

Writer::~Writer() = default;

void Writer::WriteBlock(const char* text, size_t size) {
  if (pending_.size + size < pending_.piece_size) {
    pending_.SetEnd(CopyText(pending_.Reserve(size), std::string_view(text, size)));
    return;
  }
  // A piece's worth: what is pending and the block go out, uncopied.
  pending_.WriteTo(out_);
  out_->write(text, static_cast<std::streamsize>(size));
  out_->flush();
  if (!*out_) pending_.failed = true;
}

void Writer::flush() {
  pending_.WriteTo(out_);
  out_->flush();
  if (!*out_) pending_.failed = true;
}

}  // namespace qorarc
