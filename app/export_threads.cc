#include "app/export_threads.h"

#include <sched.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace qorarc {
namespace {

constexpr int kMaxDefaultThreads = 16;
constexpr long kMaxThreads = 256;

// A whole number from `low` to `high` in the variable `name`, or -1.
long WholeNumber(const char* name, long low, long high) {
  const char* text = std::getenv(name);
  if (text == nullptr) return -1;
  const std::string_view view(text);
  long value = 0;
  const auto [end, error] = std::from_chars(view.data(), view.data() + view.size(), value);
  if (error != std::errc() || end != view.data() + view.size() || value < low || value > high)
    return -1;
  return value;
}

}  // namespace

int ExportThreads() {
  const long chosen = WholeNumber("QORARC_THREADS", 1, kMaxThreads);
  if (chosen > 0) return static_cast<int>(chosen);
  cpu_set_t set;
  CPU_ZERO(&set);
  if (sched_getaffinity(0, sizeof set, &set) != 0) return 1;
  const int cpus = CPU_COUNT(&set);
  return cpus < 1 ? 1 : cpus > kMaxDefaultThreads ? kMaxDefaultThreads : cpus;
}

size_t ExportBatchItems(size_t fallback) {
  const long chosen = WholeNumber("QORARC_BATCH_ITEMS", 1, 1L << 30);
  return chosen > 0 ? static_cast<size_t>(chosen) : fallback;
}

}  // namespace qorarc
