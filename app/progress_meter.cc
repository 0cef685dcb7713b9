#include "app/progress_meter.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/messages.h"

namespace qorarc {
namespace {

// Records between two looks at the clock: about a millisecond of work.
constexpr uint32_t kRecordsPerLook = 4096;
constexpr auto kFirstShow = std::chrono::seconds(1);
constexpr auto kInterval = std::chrono::milliseconds(250);
// Forced onto standard error that is no terminal (a log file, say), the
// status is a plain line of its own: a log holds every line written, so one
// every ten seconds rather than four a second, and no carriage return or
// escape code to redraw it.
constexpr auto kLogInterval = std::chrono::seconds(10);

// "1:05" or "1:02:05".
std::string Duration(double seconds) {
  const auto whole = static_cast<long long>(seconds < 0 ? 0 : seconds + 0.5);
  char text[32];
  if (whole >= 3600) {
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60,
                  whole % 60);
  } else {
    std::snprintf(text, sizeof text, "%lld:%02lld", whole / 60, whole % 60);
  }
  return text;
}

std::string Megabytes(uint64_t bytes) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f MB", static_cast<double>(bytes) / 1e6);
  return text;
}

bool SameTerminal(int a, int b) {
  struct stat sa, sb;
  return isatty(a) && isatty(b) && fstat(a, &sa) == 0 && fstat(b, &sb) == 0 &&
         sa.st_rdev == sb.st_rdev;
}

}  // namespace

ProgressMeter::Mode ProgressMeter::Wanted(bool output_file) {
  const char* setting = std::getenv("QORARC_PROGRESS");
  if (setting != nullptr && std::strcmp(setting, "0") == 0) return Mode::kOff;
  if (setting != nullptr && std::strcmp(setting, "1") == 0) return Mode::kForced;
  if (!isatty(STDERR_FILENO)) return Mode::kOff;
  if (!output_file && SameTerminal(STDOUT_FILENO, STDERR_FILENO)) return Mode::kOff;
  return Mode::kTerminal;
}

ProgressMeter::ProgressMeter(Mode mode, ItemProcessor* processor, const AReadState* reader,
                             const std::vector<ArchiveFileEntry>& files, int32_t item_limit)
    : mode_(mode),
      processor_(processor),
      reader_(reader),
      total_files_(files.size()),
      item_limit_(item_limit),
      log_lines_(mode == Mode::kForced && !isatty(STDERR_FILENO)),
      start_(Clock::now()) {
  for (const ArchiveFileEntry& file : files) {
    if (mode_ == Mode::kOff) break;
    struct stat st;
    if (stat(file.path.c_str(), &st) == 0) total_bytes_ += static_cast<uint64_t>(st.st_size);
  }
  next_update_ = mode_ == Mode::kForced ? start_ : start_ + kFirstShow;
}

void ProgressMeter::FileStarted(const std::string& path) {
  processor_->FileStarted(path);
  ++files_started_;
  Update(false);
}

bool ProgressMeter::Item(const ArchiveItem& item) {
  const bool go_on = processor_->Item(item);
  if (++records_ % kRecordsPerLook == 0) Update(false);
  return go_on;
}

int64_t ProgressMeter::ItemsWritten() const {
  const int32_t count = processor_->count();
  return item_limit_ >= 0 && count > item_limit_ ? item_limit_ : count;
}

void ProgressMeter::Update(bool force) {
  if (mode_ == Mode::kOff) return;
  const Clock::time_point now = Clock::now();
  if (!force && now < next_update_) return;
  next_update_ = now + (log_lines_ ? Clock::duration(kLogInterval) : Clock::duration(kInterval));
  const double elapsed = std::chrono::duration<double>(now - start_).count();
  const uint64_t read = reader_->bytes_read();
  const double share = total_bytes_ == 0 ? 1.0 : static_cast<double>(read) / total_bytes_;
  char head[96];
  std::snprintf(head, sizeof head, "%lld items, files %zu/%zu, %.1f/%.1f MB (%d%%), %.2f M/s, ",
                static_cast<long long>(ItemsWritten()), files_started_, total_files_,
                static_cast<double>(read) / 1e6, static_cast<double>(total_bytes_) / 1e6,
                static_cast<int>(share * 100),
                elapsed > 0 ? static_cast<double>(ItemsWritten()) / elapsed / 1e6 : 0.0);
  std::string status(head);
  status.append(Duration(elapsed)).append(" elapsed");
  if (share > 0 && share < 1) status += ", " + Duration(elapsed / share - elapsed) + " left";
  shown_ = true;
  if (log_lines_) {
    ErrorLine(status);
    return;
  }
  // Back to the start of the line; short enough for an 80-column terminal.
  const std::string line = "\r" + status + "\x1b[K";
  std::fwrite(line.data(), 1, line.size(), stderr);
  g_status_line_shown = true;
}

void ProgressMeter::Finish() {
  if (!shown_) return;
  const double elapsed = std::chrono::duration<double>(Clock::now() - start_).count();
  ErrorLine("Exported " + std::to_string(ItemsWritten()) + " items from " +
            std::to_string(files_started_) + " files (" + Megabytes(reader_->bytes_read()) +
            ") in " + Duration(elapsed) + ".");
}

}  // namespace qorarc
