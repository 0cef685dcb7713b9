// The stream buffer between an export document's std::ostream and the
// output file's buffer when the output is compressed. It collects the plain
// bytes and writes them to the file compressed, as independent gzip members
// or zstd frames of kMemberSize plain bytes each (the last one shorter), so
// that blocks compressed elsewhere (by the threads of an export) can be put
// between them with WriteCompressed().
//
// A flush of the stream compresses nothing: the writers flush after every
// piece of 64 KiB or less, and members that small would compress worse.
// Plain bytes wait until a member is full (it then goes out at once) or
// Finish() is called, so a reader of a pipe or of the growing file sees it
// grow a member at a time; a flush passes on to the sink only the members
// already written.
//
// A compressor failure or a write to the file that falls short makes every
// later write fail, so the stream's state tells it as for an uncompressed
// file.
#pragma once

#include <cstddef>
#include <streambuf>
#include <string>
#include <vector>

#include "export/block_compressor.h"

namespace qorarc {

class CompressingStreambuf : public std::streambuf {
 public:
  static constexpr size_t kMemberSize = size_t{1} << 20;

  // Writes to `sink`, which must outlive this buffer. `member_size` is for
  // tests.
  CompressingStreambuf(Compression kind, std::streambuf* sink, size_t member_size = kMemberSize);
  CompressingStreambuf(const CompressingStreambuf&) = delete;
  CompressingStreambuf& operator=(const CompressingStreambuf&) = delete;

  // Writes blocks already compressed with CompressBlock(kind, ...) after
  // the plain bytes given so far, which go out first as a member of their
  // own. False on failure.
  bool WriteCompressed(const char* data, size_t size);

  // Compresses and writes what is pending and flushes the sink. A document
  // of no bytes at all still gets one empty member, so the file reads as a
  // valid compressed stream. Nothing may be written after it. False when
  // this or any earlier write failed. The destructor does not call it: an
  // export that failed leaves its last bytes unwritten.
  bool Finish();

  bool failed() const { return failed_; }
  Compression kind() const { return kind_; }

 protected:
  int_type overflow(int_type c) override;
  std::streamsize xsputn(const char* s, std::streamsize n) override;
  int sync() override;

 private:
  // Compresses the pending bytes, if any, into one member and writes it.
  bool WritePending();
  // Writes bytes to the sink whole; false when it takes fewer.
  bool WriteToSink(const char* data, size_t size);

  Compression kind_;
  std::streambuf* sink_;
  std::vector<char> plain_;  // the put area: the member being collected
  std::string compressed_;   // reused for each member
  bool wrote_ = false;       // a member or block has gone to the sink
  bool unsynced_ = false;    // bytes went to the sink since its last sync
  bool failed_ = false;
  bool finished_ = false;  // Finish() was called
};

}  // namespace qorarc
