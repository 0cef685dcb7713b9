#include "output/compressing_streambuf.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace qorarc {

struct CompressingStreambuf::Member : WorkJob {
  std::vector<char> plain;
  size_t size = 0;  // plain bytes in use
  std::string compressed;
  bool ok = false;
};

CompressingStreambuf::CompressingStreambuf(Compression kind, std::streambuf* sink, int threads,
                                           size_t member_size)
    : kind_(kind),
      sink_(sink),
      threads_(std::max(threads, 1)),
      member_size_(std::max<size_t>(member_size, 1)),
      current_(std::make_unique<Member>()),
      work_([this](WorkJob* job, size_t) {
        Member* member = static_cast<Member*>(job);
        member->compressed.clear();
        member->ok = CompressBlock(kind_, std::string_view(member->plain.data(), member->size),
                                   &member->compressed);
      }) {
  current_->plain.resize(member_size_);
  setp(current_->plain.data(), current_->plain.data() + member_size_);
}

CompressingStreambuf::~CompressingStreambuf() = default;

bool CompressingStreambuf::WriteToSink(const char* data, size_t size) {
  unsynced_ = true;
  if (sink_->sputn(data, static_cast<std::streamsize>(size)) != static_cast<std::streamsize>(size))
    failed_ = true;
  return !failed_;
}

bool CompressingStreambuf::WriteOldest() {
  Member& member = *in_flight_.front();
  work_.Wait(&member);
  if (!member.ok) failed_ = true;
  if (!failed_) WriteToSink(member.compressed.data(), member.compressed.size());
  spare_.push_back(std::move(in_flight_.front()));
  in_flight_.pop_front();
  return !failed_;
}

bool CompressingStreambuf::WritePending() {
  if (failed_ || finished_) return false;
  const size_t size = static_cast<size_t>(pptr() - pbase());
  if (size == 0) return true;
  if (!started_) {
    started_ = true;
    work_.Start(std::min<size_t>(static_cast<size_t>(threads_ - 1), kMaxMembersInFlight - 1));
  }
  current_->size = size;
  work_.Submit(current_.get());
  in_flight_.push_back(std::move(current_));
  wrote_ = true;
  if (spare_.empty()) {
    current_ = std::make_unique<Member>();
    current_->plain.resize(member_size_);
  } else {
    current_ = std::move(spare_.back());
    spare_.pop_back();
  }
  setp(current_->plain.data(), current_->plain.data() + member_size_);
  // Without workers this thread compresses each member at once; with them,
  // members compressed already go out, and at most a few wait.
  while (!in_flight_.empty() &&
         (work_.workers() == 0 || in_flight_.size() >= kMaxMembersInFlight ||
          work_.Ready(in_flight_.front().get())))
    if (!WriteOldest()) return false;
  return true;
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

bool CompressingStreambuf::Finish() {
  if (!WritePending()) return false;
  while (!in_flight_.empty())
    if (!WriteOldest()) return false;
  if (!wrote_) {
    std::string empty;
    if (!CompressBlock(kind_, std::string_view(), &empty)) failed_ = true;
    wrote_ = true;
    if (failed_ || !WriteToSink(empty.data(), empty.size())) return false;
  }
  if (sink_->pubsync() != 0) failed_ = true;
  finished_ = true;
  setp(nullptr, nullptr);  // later writes go to overflow(), which refuses them
  return !failed_;
}

}  // namespace qorarc
