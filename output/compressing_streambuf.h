// The stream buffer between an export document's std::ostream and the
// output file's buffer when the output is compressed. It collects the plain
// bytes and writes them to the file compressed, as independent gzip members
// or zstd frames of kMemberSize plain bytes each (the last one shorter):
// members are cut by the bytes alone, so a document gives the same file
// whatever the threads that wrote or compressed it.
//
// With more than one thread, full members are compressed by a few worker
// threads (and this one while it waits) and written in their order; at
// most kMaxMembersInFlight are under way, so the memory stays bounded.
//
// A flush of the stream compresses nothing: the writers flush after every
// piece of 64 KiB or less, and members that small would compress worse.
// Plain bytes wait until a member is full (it then goes out as soon as it
// is compressed) or Finish() is called, so a reader of a pipe or of the
// growing file sees it grow a member at a time; a flush passes on to the
// sink only the members already written.
//
// A compressor failure or a write to the file that falls short makes every
// later write fail, so the stream's state tells it as for an uncompressed
// file.
#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <streambuf>
#include <string>
#include <vector>

#include "base/ordered_work.h"
#include "output/block_compressor.h"

namespace qorarc {

class CompressingStreambuf : public std::streambuf {
 public:
  static constexpr size_t kMemberSize = size_t{1} << 20;
  static constexpr size_t kMaxMembersInFlight = 8;

  // Writes to `sink`, which must outlive this buffer. `threads`: threads
  // that compress, this one included. `member_size` is for tests.
  CompressingStreambuf(Compression kind, std::streambuf* sink, int threads = 1,
                       size_t member_size = kMemberSize);
  CompressingStreambuf(const CompressingStreambuf&) = delete;
  CompressingStreambuf& operator=(const CompressingStreambuf&) = delete;
  ~CompressingStreambuf() override;

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
  struct Member;

  // Hands the pending bytes, if any, as one member to be compressed and
  // written.
  bool WritePending();
  // Writes the oldest member under way once it is compressed.
  bool WriteOldest();
  // Writes bytes to the sink whole; false when it takes fewer.
  bool WriteToSink(const char* data, size_t size);

  Compression kind_;
  std::streambuf* sink_;
  int threads_;
  size_t member_size_;
  std::unique_ptr<Member> current_;  // its plain bytes are the put area
  std::deque<std::unique_ptr<Member>> in_flight_;  // in file order
  std::vector<std::unique_ptr<Member>> spare_;
  bool wrote_ = false;     // a member has been handed on
  bool unsynced_ = false;  // bytes went to the sink since its last sync
  bool failed_ = false;
  bool finished_ = false;  // Finish() was called
  bool started_ = false;   // the workers were started
  OrderedWork work_;       // last: its threads stop before the rest goes
};

}  // namespace qorarc
