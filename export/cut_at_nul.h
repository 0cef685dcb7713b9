// Texts written by the writers end at their first NUL byte, as C strings do.
#pragma once

#include <string_view>

namespace qorarc {

inline std::string_view CutAtNul(std::string_view s) { return s.substr(0, s.find('\0')); }

}  // namespace qorarc
