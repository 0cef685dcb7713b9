// The pending text in which every writer collects its output before it goes
// to the stream, in pieces.
#pragma once

#include <cstddef>
#include <cstring>
#include <iosfwd>
#include <memory>
#include <string_view>

namespace qorarc {

// Output waiting for the stream. A raw buffer rather than a std::string: the
// writers append with plain stores, and after the first item nothing is
// allocated. It holds one piece plus room for the item that completes it.
//
// The text goes to the stream in pieces; when a piece goes out is the
// writer's rule, which the text keeps (`check`, `flush_pieces`) so that text
// a writer of the same kind made elsewhere (a worker thread's block) can go
// out at the very points the writer's own would.
struct PendingText {
  // The stream receives the text in pieces of at least this size, and the
  // rest at the end: few large writes keep the stream's per-call cost low.
  static constexpr size_t kPieceSize = 64 * 1024;
  // Room past a piece: enough for any one item, a string of the archive's
  // longest record escaped to six bytes per byte included.
  static constexpr size_t kSlack = 256 * 1024;

  // Where a writer looks whether a piece is ready, within the text of one
  // item: the first such place at or after `from`, or npos when there is
  // none before the item's end. Null: after each item only (CSV and the line
  // formats). JSON looks before each character RapidJSON puts one by one.
  using NextCheck = size_t (*)(std::string_view item_text, size_t from);

  // `out` null: the text is collected whole, never written (a worker's).
  // `capacity`: the buffer to begin with; 0 for a text that only ever
  // writes into buffers it takes with Exchange().
  explicit PendingText(std::ostream* out = nullptr, size_t capacity = kPieceSize + kSlack);

  bool PieceReady() const { return size >= piece_size; }

  // Appends c; the caller has made room.
  void Append(char c) { data[size++] = static_cast<char8_t>(c); }

  // Makes room for n more bytes and returns where they go; the caller writes
  // them and then calls SetEnd() with the end of what it wrote.
  char* Reserve(size_t n) {
    if (n > capacity - size) Grow(n);
    return reinterpret_cast<char*>(data.get()) + size;
  }
  void SetEnd(const char* end) {
    size = static_cast<size_t>(end - reinterpret_cast<const char*>(data.get()));
  }

  // Hands the whole text, NUL bytes included, to the stream and empties it,
  // flushing the stream after it when the writer's rule says so. A stream
  // left failed sets `failed`. When collecting, keeps the text and makes
  // room for another piece instead.
  void WritePiece();
  // The piece check after an item: writes a ready piece.
  void ItemDone() {
    if (PieceReady()) WritePiece();
  }
  // Writes the whole text and flushes the stream.
  void Flush();

  // Appends the text of one item made by a writer of the same kind, going
  // out exactly where that writer's own text would.
  void AppendItem(const char* text, size_t n);
  // Sends the pending text and then `n` bytes of items that complete no
  // piece to the stream, uncopied; they count toward the piece being made,
  // which goes out where it would have.
  void WriteThrough(const char* text, size_t n);

  // Exchanges buffers, with their texts, with `*other`.
  void Exchange(PendingText* other);

  // Only a text longer than the slack gets here.
  void Grow(size_t n);

  // char8_t, not char: a store through char may change any object, so after
  // each character the compiler would reload `data` and `size` from memory,
  // which makes RapidJSON's character loops a chain of dependent loads.
  std::unique_ptr<char8_t[]> data;
  size_t size = 0;
  size_t capacity = 0;
  size_t piece_size = kPieceSize;
  std::ostream* out;
  NextCheck next_check = nullptr;
  bool flush_pieces = false;
  // A write to the stream has failed: the document cannot be completed.
  bool failed = false;
};

// Copies s to out and returns its end. Texts of 4 to 16 characters, which
// are most texts of an item, take two overlapping word copies instead of a
// call.
inline char* CopyText(char* out, std::string_view s) {
  const char* p = s.data();
  const size_t n = s.size();
  if (n >= 8 && n <= 16) {
    std::memcpy(out, p, 8);
    std::memcpy(out + n - 8, p + n - 8, 8);
  } else if (n >= 4 && n < 8) {
    std::memcpy(out, p, 4);
    std::memcpy(out + n - 4, p + n - 4, 4);
  } else if (n < 4) {
    for (size_t i = 0; i < n; ++i) out[i] = p[i];
  } else {
    std::memcpy(out, p, n);
  }
  return out + n;
}

}  // namespace qorarc
