// The output stream that RapidJSON's writers write into: the writer's
// pending text. JSON pieces go out with a stream flush, so that a reader of
// a pipe sees the document grow piece by piece.
#pragma once

#include <cstddef>
#include <ostream>

#include <rapidjson/stream.h>

#include "export/writer.h"

namespace qorarc {

struct JsonOutputBuffer {
  typedef char Ch;  // the character type RapidJSON asks of a stream

  // Appends c. A full piece goes out before c is added, not after: a run of
  // reserved characters may have filled the buffer past the piece size, up
  // to its capacity.
  void Put(char c) {
    if (pending->PieceReady()) WritePiece();
    pending->Append(c);
  }

  // RapidJSON calls this when the outermost object or array is closed.
  void Flush() { WritePiece(); }

  void WritePiece() { pending->WritePiece(); }

  PendingText* pending;
};

}  // namespace qorarc

// RapidJSON reserves room before writing a number, a string or an indent and
// then puts its characters unchecked; these make that a single bounds check
// for the whole run instead of one per character.
namespace rapidjson {

template <>
inline void PutReserve(qorarc::JsonOutputBuffer& stream, size_t count) {
  if (stream.pending->PieceReady()) stream.WritePiece();
  stream.pending->Reserve(count);
}

template <>
inline void PutUnsafe(qorarc::JsonOutputBuffer& stream, char c) {
  stream.pending->Append(c);
}

}  // namespace rapidjson
