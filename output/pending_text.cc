#include "output/pending_text.h"

#include <algorithm>
#include <cstring>
#include <ostream>
#include <utility>

namespace qorarc {

PendingText::PendingText(std::ostream* out, size_t capacity)
    : data(new char8_t[capacity]), capacity(capacity), out(out) {}

void PendingText::WritePiece() {
  if (out == nullptr) {
    if (capacity - size < kSlack) Grow(kSlack);
    piece_size = capacity - kSlack;
    return;
  }
  if (size > 0) {
    out->write(reinterpret_cast<const char*>(data.get()), static_cast<std::streamsize>(size));
    size = 0;
  }
  piece_size = kPieceSize;
  if (flush_pieces) out->flush();
  if (!*out) failed = true;
}

void PendingText::Flush() {
  if (out == nullptr) return;
  const bool flushes = flush_pieces;
  flush_pieces = true;
  WritePiece();
  flush_pieces = flushes;
}

void PendingText::AppendItem(const char* text, size_t n) {
  const std::string_view item(text, n);
  size_t done = 0;  // bytes of the item appended
  if (next_check != nullptr && out != nullptr) {
    for (;;) {
      // The first place where the writer would have found a piece ready.
      const size_t from = done + (size >= piece_size ? 0 : piece_size - size);
      const size_t check = from < n ? next_check(item, from) : std::string_view::npos;
      if (check == std::string_view::npos) break;
      SetEnd(CopyText(Reserve(check - done), item.substr(done, check - done)));
      WritePiece();
      done = check;
    }
  }
  SetEnd(CopyText(Reserve(n - done), item.substr(done)));
  if (next_check == nullptr) ItemDone();
}

void PendingText::WriteThrough(const char* text, size_t n) {
  const size_t sent = size + n;
  if (size > 0)
    out->write(reinterpret_cast<const char*>(data.get()), static_cast<std::streamsize>(size));
  out->write(text, static_cast<std::streamsize>(n));
  size = 0;
  piece_size = sent < piece_size ? piece_size - sent : 1;
  if (!*out) failed = true;
}

void PendingText::Grow(size_t n) {
  const size_t wanted = std::max(size + n, 2 * capacity);
  std::unique_ptr<char8_t[]> bigger(new char8_t[wanted]);
  std::memcpy(bigger.get(), data.get(), size);
  data = std::move(bigger);
  capacity = wanted;
}

void PendingText::Exchange(PendingText* other) {
  std::swap(data, other->data);
  std::swap(size, other->size);
  std::swap(capacity, other->capacity);
  // A buffer without the slack (a formatter's empty one) is never written.
  const auto piece = [](const PendingText& text) {
    if (text.out != nullptr) return kPieceSize;
    return text.capacity > kSlack ? text.capacity - kSlack : 0;
  };
  piece_size = piece(*this);
  other->piece_size = piece(*other);
}

}  // namespace qorarc
