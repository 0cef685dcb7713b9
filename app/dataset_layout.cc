#include "app/dataset_layout.h"

#include "export/time_text.h"

namespace qorarc {
namespace {

constexpr std::string_view kPartSuffix = ".part-";

bool Escaped(unsigned char c) {
  if (c < 0x20 || c == 0x7f) return true;
  constexpr std::string_view kSpecial = "\"#%'*/:=?\\[]^{";
  return kSpecial.find(static_cast<char>(c)) != std::string_view::npos;
}

}  // namespace

std::string EscapePartitionValue(std::string_view value) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string text;
  for (const char c : value) {
    const auto byte = static_cast<unsigned char>(c);
    if (!Escaped(byte)) {
      text += c;
      continue;
    }
    text += '%';
    text += kHex[byte >> 4];
    text += kHex[byte & 15];
  }
  return text;
}

std::string DayFolder(std::string_view escaped_archive, int64_t day_start) {
  return "archive=" + std::string(escaped_archive) + "/date=" + DateText(day_start);
}

std::string DayFileName(std::string_view escaped_archive, int64_t day_start, uint32_t number) {
  return std::string(escaped_archive) + '-' + DateText(day_start) + '-' + std::to_string(number) +
         ".parquet";
}

std::string PartName(std::string_view file_name, long pid) {
  return '.' + std::string(file_name) + std::string(kPartSuffix) + std::to_string(pid);
}

bool IsPartName(std::string_view name, std::string* file_name) {
  const size_t suffix = name.rfind(kPartSuffix);
  if (name.size() < 2 || name[0] != '.' || suffix == std::string_view::npos ||
      suffix + kPartSuffix.size() == name.size() || !name.substr(0, suffix).ends_with(".parquet"))
    return false;
  for (const char c : name.substr(suffix + kPartSuffix.size()))
    if (c < '0' || c > '9') return false;
  if (file_name != nullptr) *file_name = std::string(name.substr(1, suffix - 1));
  return true;
}

}  // namespace qorarc
