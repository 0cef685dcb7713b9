#include "export/compressing_streambuf.h"

#include <algorithm>
#include <string_view>

namespace qorarc {

CompressingStreambuf::CompressingStreambuf(Compression kind, std::streambuf* sink,
                                           size_t member_size)
    : kind_(kind), sink_(sink), plain_(std::max<size_t>(member_size, 1)) {
  setp(plain_.data(), plain_.data() + plain_.size());
}

bool CompressingStreambuf::WriteToSink(const char* data, size_t size) {
  unsynced_ = true;
  if (sink_->sputn(data, static_cast<std::streamsize>(size)) != static_cast<std::streamsize>(size))
    failed_ = true;
  return !failed_;
}

bool CompressingStreambuf::WritePending() {
  if (failed_ || finished_) return false;
  const size_t size = static_cast<size_t>(pptr() - pbase());
  if (size == 0) return true;
  setp(plain_.data(), plain_.data() + plain_.size());
  compressed_.clear();
  if (!CompressBlock(kind_, std::string_view(plain_.data(), size), &compressed_)) {
    failed_ = true;
    return false;
  }
  wrote_ = true;
  return WriteToSink(compressed_.data(), compressed_.size());
}

CompressingStreambuf::int_type CompressingStreambuf::overflow(int_type c) {
  if (!WritePending()) return traits_type::eof();
  if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
  *pptr() = traits_type::to_char_type(c);
  pbump(1);
  return c;
}

int CompressingStreambuf::sync() {
  // A member filled by sputc() goes out now; compressed bytes that went to
  // the sink since the last flush are flushed on.
  if (pptr() == epptr() && pptr() != nullptr && !WritePending()) return -1;
  if (unsynced_) {
    unsynced_ = false;
    if (sink_->pubsync() != 0) failed_ = true;
  }
  return failed_ ? -1 : 0;
}

std::streamsize CompressingStreambuf::xsputn(const char* s, std::streamsize n) {
  std::streamsize done = 0;
  while (done < n) {
    if (failed_ || finished_) return done;
    if (pptr() == epptr() && !WritePending()) return done;
    const std::streamsize room = epptr() - pptr();
    const std::streamsize step = std::min(room, n - done);
    std::copy(s + done, s + done + step, pptr());
    pbump(static_cast<int>(step));
    done += step;
    // A full member goes out at once, not with the next byte.
    if (pptr() == epptr() && !WritePending()) return done;
  }
  return done;
}

bool CompressingStreambuf::WriteCompressed(const char* data, size_t size) {
  if (!WritePending()) return false;
  wrote_ = true;
  return WriteToSink(data, size);
}

bool CompressingStreambuf::Finish() {
  if (!WritePending()) return false;
  if (!wrote_) {
    compressed_.clear();
    if (!CompressBlock(kind_, std::string_view(), &compressed_)) failed_ = true;
    wrote_ = true;
    if (failed_ || !WriteToSink(compressed_.data(), compressed_.size())) return false;
  }
  if (sink_->pubsync() != 0) failed_ = true;
  finished_ = true;
  setp(nullptr, nullptr);  // later writes go to overflow(), which refuses them
  return !failed_;
}

}  // namespace qorarc
