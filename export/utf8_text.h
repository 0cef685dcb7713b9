// Repair of texts that are not valid UTF-8: archive texts are bytes of any
// encoding, and the line-oriented formats promise valid UTF-8.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qorarc {

// U+FFFD REPLACEMENT CHARACTER in UTF-8.
inline constexpr std::string_view kReplacementText = "\xEF\xBF\xBD";

// The most bytes CopyValidUtf8 writes per byte of its input.
inline constexpr size_t kMaxRepairGrowth = kReplacementText.size();

// The length (2 to 4) of the well-formed UTF-8 sequence that starts at
// `begin`, a byte of 0x80 or above, or 0 when no well-formed sequence starts
// there. Reads no further than `end`.
size_t SequenceLength(const unsigned char* begin, const unsigned char* end);

// Copies the well-formed sequence that starts at `*p`, a byte of 0x80 or
// above, to `*out`, or U+FFFD for the one byte when none starts there;
// advances both.
void CopyUtf8Sequence(const unsigned char** p, const unsigned char* end, char** out);

// Copies s to out with each byte that is no part of a well-formed UTF-8
// sequence replaced by U+FFFD, one replacement per byte; returns the end.
// out must have room for kMaxRepairGrowth * s.size() bytes.
char* CopyValidUtf8(char* out, std::string_view s);

// What the line-oriented formats show of an archive text: the bytes before
// its first NUL, repaired as above. The view points into `*buffer`.
std::string_view ShownText(std::string_view raw, std::string* buffer);

}  // namespace qorarc
