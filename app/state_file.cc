#include "app/state_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <map>

#include "core/messages.h"

namespace qorarc {
namespace {

constexpr std::string_view kFirstLine = "qorarc-state 1";

// The keys of a position, in the order they are written.
constexpr std::string_view kPositionKeys[] = {"file",   "file_start", "offset",  "day",
                                              "device", "inode",      "fnv1a64", "rest_skipped"};

template <typename T>
bool Number(std::string_view text, T* value, int base = 10) {
  if (text.empty() || text[0] == '+' || (text[0] == '-' && base != 10)) return false;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), *value, base);
  return ec == std::errc() && end == text.data() + text.size();
}

std::string Hex(uint64_t value) {
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(value));
  return text;
}

}  // namespace

std::string StateText(const ExportState& s) {
  std::string text = std::string(kFirstLine) + "\narchive " + s.archive + "\nfrom_time " +
                     std::to_string(s.from_time) + "\n";
  if (!s.has_position) return text;
  return text + "file " + s.file + "\nfile_start " + std::to_string(s.file_start) + "\noffset " +
         std::to_string(s.offset) + "\nday " + std::to_string(s.day) + "\ndevice " +
         std::to_string(s.device) + "\ninode " + std::to_string(s.inode) + "\nfnv1a64 " +
         Hex(s.hash) + "\nrest_skipped " + (s.rest_skipped ? "1" : "0") + "\n";
}

bool ParseState(std::string_view text, ExportState* state, std::string* problem) {
  std::map<std::string, std::string, std::less<>> values;
  int line_number = 0;
  while (!text.empty()) {
    ++line_number;
    const size_t end = text.find('\n');
    if (end == std::string_view::npos) {
      *problem = "line " + std::to_string(line_number) + " has no line feed";
      return false;
    }
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end + 1);
    if (line_number == 1) {
      if (line != kFirstLine) {
        *problem = "it does not begin with '" + std::string(kFirstLine) + "'";
        return false;
      }
      continue;
    }
    const size_t blank = line.find(' ');
    const std::string_view key = line.substr(0, blank);
    const std::string_view value = blank == std::string_view::npos ? "" : line.substr(blank + 1);
    bool known = key == "archive" || key == "from_time";
    for (std::string_view k : kPositionKeys) known = known || key == k;
    if (!known || blank == std::string_view::npos ||
        !values.emplace(std::string(key), std::string(value)).second) {
      const char* what = !known                            ? "unknown key '"
                         : blank == std::string_view::npos ? "no value after '"
                                                           : "repeated key '";
      *problem = "line " + std::to_string(line_number) + ": " + what + std::string(key) + "'";
      return false;
    }
  }
  if (line_number == 0) {
    *problem = "it is empty";
    return false;
  }
  ExportState s;
  size_t position_keys = 0;
  for (std::string_view k : kPositionKeys) position_keys += values.count(k);
  s.has_position = position_keys != 0;
  auto bad = [&](std::string_view key) {
    *problem = values.count(key) ? "bad value of '" + std::string(key) + "'"
                                 : "no '" + std::string(key) + "'";
    return false;
  };
  auto get = [&](std::string_view key) -> const std::string& {
    static const std::string kNone;
    auto it = values.find(key);
    return it == values.end() ? kNone : it->second;
  };
  if (!values.count("archive")) return bad("archive");
  s.archive = get("archive");
  if (!Number(get("from_time"), &s.from_time) || s.from_time < -1) return bad("from_time");
  if (s.has_position) {
    if (!values.count("file") || get("file").empty()) return bad("file");
    s.file = get("file");
    const std::string& skipped = get("rest_skipped");
    if (!Number(get("file_start"), &s.file_start) || s.file_start < 0) return bad("file_start");
    if (!Number(get("offset"), &s.offset)) return bad("offset");
    if (!Number(get("day"), &s.day)) return bad("day");
    if (!Number(get("device"), &s.device)) return bad("device");
    if (!Number(get("inode"), &s.inode)) return bad("inode");
    if (get("fnv1a64").size() != 16 || !Number(get("fnv1a64"), &s.hash, 16)) return bad("fnv1a64");
    if (skipped != "0" && skipped != "1") return bad("rest_skipped");
    s.rest_skipped = skipped == "1";
  }
  *state = s;
  return true;
}

StateLoad LoadState(const std::string& path, ExportState* state) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0 && errno == ENOENT) return StateLoad::kMissing;
  std::string text;
  int error = fd < 0 ? errno : 0;
  // A state file is a few hundred bytes; more is not one.
  constexpr size_t kMaxBytes = 64 * 1024;
  while (error == 0 && text.size() <= kMaxBytes) {
    char chunk[4096];
    const ssize_t n = read(fd, chunk, sizeof chunk);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) error = errno;
    if (n <= 0) break;
    text.append(chunk, static_cast<size_t>(n));
  }
  if (fd >= 0) close(fd);
  if (error != 0) {
    ErrorLine("Failed to read state file '" + path + "': " + std::strerror(error) + ".");
    return StateLoad::kFailed;
  }
  std::string problem = "it is too long";
  if (text.size() > kMaxBytes || !ParseState(text, state, &problem)) {
    ErrorLine("State file '" + path + "' is not valid: " + problem + ".");
    return StateLoad::kFailed;
  }
  return StateLoad::kLoaded;
}

bool SaveState(const std::string& path, const ExportState& state) {
  const std::string text = StateText(state);
  const std::string temporary = path + ".tmp-" + std::to_string(getpid());
  bool ok =
      state.archive.find('\n') == std::string::npos && state.file.find('\n') == std::string::npos;
  const int fd = ok ? open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666) : -1;
  ok = fd >= 0;
  size_t written = 0;
  while (ok && written < text.size()) {
    const ssize_t n = write(fd, text.data() + written, text.size() - written);
    if (n < 0 && errno == EINTR) continue;
    ok = n > 0;
    if (ok) written += static_cast<size_t>(n);
  }
  // On the disk before the name: a crash leaves the old FILE or the new one.
  if (ok) ok = fsync(fd) == 0;
  if (fd >= 0) ok = close(fd) == 0 && ok;
  if (ok) ok = rename(temporary.c_str(), path.c_str()) == 0;
  if (!ok) {
    if (fd >= 0) unlink(temporary.c_str());
    ErrorLine("Failed to write state file '" + path + "'.");
    return false;
  }
  // The rename itself on the disk, so that the next run sees this cursor.
  const size_t slash = path.rfind('/');
  const std::string dir = slash == std::string::npos ? "."
                          : slash == 0               ? "/"
                                                     : path.substr(0, slash);
  const int dir_fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir_fd >= 0) {
    fsync(dir_fd);
    close(dir_fd);
  }
  return true;
}

}  // namespace qorarc
