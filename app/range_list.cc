#include "app/range_list.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <limits>

namespace qorarc {

bool ParseLeadingInt(std::string_view text, int32_t* value) {
  // strtol needs a terminated string; arguments are short.
  std::string copy(text);
  const char* begin = copy.c_str();
  char* end = nullptr;
  errno = 0;
  long long n = std::strtoll(begin, &end, 10);
  if (end == begin || errno == ERANGE || n < std::numeric_limits<int32_t>::min() ||
      n > std::numeric_limits<int32_t>::max())
    return false;
  *value = static_cast<int32_t>(n);
  return true;
}

bool ParseWholeInt(std::string_view text, int32_t* value) {
  const size_t digits = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
  if (text.size() == digits) return false;
  for (size_t i = digits; i < text.size(); ++i)
    if (!std::isdigit(static_cast<unsigned char>(text[i]))) return false;
  return ParseLeadingInt(text, value);
}

bool ParseRanges(std::string_view text, std::vector<IdRange>* list, bool whole) {
  auto parse_int = whole ? ParseWholeInt : ParseLeadingInt;
  size_t start = 0;
  while (start < text.size()) {
    size_t comma = text.find(',', start);
    std::string_view element =
        text.substr(start, comma == std::string_view::npos ? std::string_view::npos : comma - start);
    if (element.empty()) return false;
    IdRange range;
    size_t dots = element.find("..");
    if (dots == std::string_view::npos) {
      if (!parse_int(element, &range.first)) return false;
      range.last = range.first;
    } else {
      if (!parse_int(element.substr(0, dots), &range.first) ||
          !parse_int(element.substr(dots + 2), &range.last) || range.last < range.first)
        return false;
    }
    list->push_back(range);
    if (comma == std::string_view::npos) break;
    start = comma + 1;
  }
  return true;
}

}  // namespace qorarc
