#include "export/utf8_text.h"

#include <cstring>

#include "export/cut_at_nul.h"

namespace qorarc {

// Written here rather than taken from a library: the common converters
// (iconv, ICU) drop bad bytes or replace a maximal bad subsequence by one
// U+FFFD, while these outputs replace every bad byte by its own.
size_t SequenceLength(const unsigned char* begin, const unsigned char* end) {
  const unsigned char lead = *begin;
  size_t length;
  // The range of the second byte; the bytes after it are 80 to BF.
  unsigned char low = 0x80, high = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return 0;  // 80 to C1, F5 to FF
  }
  if (static_cast<size_t>(end - begin) < length) return 0;
  if (begin[1] < low || begin[1] > high) return 0;
  for (size_t i = 2; i < length; ++i)
    if (begin[i] < 0x80 || begin[i] > 0xBF) return 0;
  return length;
}

void CopyUtf8Sequence(const unsigned char** p, const unsigned char* end, char** out) {
  const size_t length = SequenceLength(*p, end);
  if (length == 0) {
    std::memcpy(*out, kReplacementText.data(), kReplacementText.size());
    *out += kReplacementText.size();
    ++*p;
  } else {
    std::memcpy(*out, *p, length);
    *out += length;
    *p += length;
  }
}

char* CopyValidUtf8(char* out, std::string_view s) {
  const auto* p = reinterpret_cast<const unsigned char*>(s.data());
  const unsigned char* const end = p + s.size();
  while (p < end) {
    if (*p < 0x80) {
      *out++ = static_cast<char>(*p++);
    } else {
      CopyUtf8Sequence(&p, end, &out);
    }
  }
  return out;
}

std::string_view ShownText(std::string_view raw, std::string* buffer) {
  raw = CutAtNul(raw);
  buffer->resize(kMaxRepairGrowth * raw.size());
  return std::string_view(buffer->data(),
                          static_cast<size_t>(CopyValidUtf8(buffer->data(), raw) - buffer->data()));
}

}  // namespace qorarc
