// The range lists of "--filter-id" and "--csv-column-filter", such as
// "1..5,8,10..20", and the leading integers of count values.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "archive/item_filter.h"

namespace qorarc {

// Parses a range list and appends its ranges to `*list` in the order given.
// Returns true when the whole text is valid, false otherwise (the ranges before
// the bad element stay appended). An empty text is valid and adds nothing; a
// trailing "," adds nothing. Each number is read as ParseLeadingInt() reads
// it, so "119-123" is 119; `whole` reads each as ParseWholeInt() instead.
bool ParseRanges(std::string_view text, std::vector<IdRange>* list, bool whole = false);

// Reads a decimal integer from the leading characters of text as strtol does
// (leading white space and one sign allowed, trailing text ignored). Returns
// false when there is no leading number or it does not fit 32 bits.
bool ParseLeadingInt(std::string_view text, int32_t* value);

// Reads a decimal integer that is the whole text: an optional sign and
// digits, nothing before or after, fitting 32 bits.
bool ParseWholeInt(std::string_view text, int32_t* value);

}  // namespace qorarc
