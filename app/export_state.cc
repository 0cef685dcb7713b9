#include "app/export_state.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <map>

namespace qorarc {
namespace {

constexpr std::string_view kFirstLine = "qorarc-state 2";
constexpr std::string_view kFirstLineV1 = "qorarc-state 1";

// The keys of a version 1 position, in the order they were written.
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

// Paths may hold any byte but NUL; a backslash and a line feed are escaped
// so that each stays on its line.
std::string EscapePath(std::string_view path) {
  std::string text;
  for (char c : path) {
    if (c == '\\') text += "\\\\";
    else if (c == '\n') text += "\\n";
    else text += c;
  }
  return text;
}

bool UnescapePath(std::string_view text, std::string* path) {
  path->clear();
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      *path += text[i];
      continue;
    }
    if (++i == text.size()) return false;
    if (text[i] == '\\') *path += '\\';
    else if (text[i] == 'n') *path += '\n';
    else return false;
  }
  return !path->empty();
}

std::string ProgressText(const FileProgress& f) {
  return std::to_string(f.day_start) + ' ' + std::to_string(f.offset) + ' ' +
         std::to_string(f.day) + ' ' + (f.rest_skipped ? '1' : '0') + ' ' +
         std::to_string(f.device) + ' ' + std::to_string(f.inode) + ' ' + std::to_string(f.size) +
         ' ' + std::to_string(f.mtime_ns) + ' ' + Hex(f.hash) + ' ' +
         std::to_string(f.missing_since) + ' ' + EscapePath(f.path);
}

// The fields of a "file" or "next" line; false names the bad field.
bool ParseProgress(std::string_view text, FileProgress* f, std::string* field) {
  std::string_view fields[10];
  for (std::string_view& part : fields) {
    const size_t blank = text.find(' ');
    if (blank == std::string_view::npos) {
      *field = "fields: too few";
      return false;
    }
    part = text.substr(0, blank);
    text.remove_prefix(blank + 1);
  }
  unsigned skipped = 2;
  const bool ok[] = {Number(fields[0], &f->day_start) && f->day_start >= 0,
                     Number(fields[1], &f->offset),
                     Number(fields[2], &f->day),
                     Number(fields[3], &skipped) && skipped <= 1,
                     Number(fields[4], &f->device),
                     Number(fields[5], &f->inode),
                     Number(fields[6], &f->size),
                     Number(fields[7], &f->mtime_ns),
                     fields[8].size() == 16 && Number(fields[8], &f->hash, 16),
                     Number(fields[9], &f->missing_since) && f->missing_since >= 0};
  constexpr const char* kNames[] = {"day start", "offset", "day",  "skipped", "device",
                                    "inode",     "size",   "time", "hash",    "missing time"};
  for (size_t i = 0; i < std::size(ok); ++i) {
    if (!ok[i]) {
      *field = kNames[i];
      return false;
    }
  }
  f->rest_skipped = skipped == 1;
  if (!UnescapePath(text, &f->path)) {
    *field = "path";
    return false;
  }
  return true;
}

std::string DayText(const DayFile& d, std::string_view day_key, std::string_view begin_key) {
  std::string text = std::string(day_key) + ' ' + std::to_string(d.day_start) + ' ' +
                     std::to_string(d.number) + ' ' + std::to_string(d.items) + ' ' +
                     (d.sealed ? '1' : '0') + '\n';
  for (const DayBegin& b : d.begins)
    text += std::string(begin_key) + ' ' + std::to_string(b.offset) + ' ' +
            std::to_string(b.day) + ' ' + std::to_string(b.end) + ' ' + EscapePath(b.path) +
            '\n';
  return text;
}

// Splits `count` blank-separated fields off the front of `*text`.
bool TakeFields(std::string_view* text, std::string_view* fields, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const size_t blank = text->find(' ');
    if (blank == std::string_view::npos) {
      if (i + 1 != count || text->empty()) return false;
      fields[i] = *text;
      text->remove_prefix(text->size());
      return true;
    }
    fields[i] = text->substr(0, blank);
    text->remove_prefix(blank + 1);
  }
  return true;
}

bool ParseDay(std::string_view text, DayFile* d) {
  std::string_view f[4];
  unsigned sealed = 2;
  if (!TakeFields(&text, f, 4) || !text.empty()) return false;
  if (!Number(f[0], &d->day_start) || d->day_start < 0 || !Number(f[1], &d->number) ||
      !Number(f[2], &d->items) || d->items < 0 || !Number(f[3], &sealed) || sealed > 1)
    return false;
  d->sealed = sealed == 1;
  return true;
}

bool ParseBegin(std::string_view text, DayBegin* b) {
  std::string_view f[3];
  return TakeFields(&text, f, 3) && !text.empty() && Number(f[0], &b->offset) &&
         Number(f[1], &b->day) && Number(f[2], &b->end) && b->end >= b->offset &&
         UnescapePath(text, &b->path);
}

// The lines after the first, as key and value, in order.
struct Line {
  int number;
  std::string_view key, value;
};

bool SplitLines(std::string_view text, std::vector<Line>* lines, std::string* first,
                std::string* problem) {
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
      *first = line;
      continue;
    }
    const size_t blank = line.find(' ');
    if (blank == std::string_view::npos) {
      *problem = "line " + std::to_string(line_number) + ": no value after '" +
                 std::string(line) + "'";
      return false;
    }
    lines->push_back({line_number, line.substr(0, blank), line.substr(blank + 1)});
  }
  if (line_number == 0) {
    *problem = "it is empty";
    return false;
  }
  return true;
}

// A version 1 file: one position, or none yet.
bool ParseVersion1(const std::vector<Line>& lines, ExportState* state, std::string* problem) {
  std::map<std::string, std::string, std::less<>> values;
  for (const Line& line : lines) {
    bool known = line.key == "archive" || line.key == "from_time";
    for (std::string_view k : kPositionKeys) known = known || line.key == k;
    if (!known || !values.emplace(std::string(line.key), std::string(line.value)).second) {
      *problem = "line " + std::to_string(line.number) + ": " +
                 (known ? "repeated key '" : "unknown key '") + std::string(line.key) + "'";
      return false;
    }
  }
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
  ExportState s;
  if (!values.count("archive")) return bad("archive");
  s.archive = get("archive");
  if (!Number(get("from_time"), &s.from_time) || s.from_time < -1) return bad("from_time");
  size_t position_keys = 0;
  for (std::string_view k : kPositionKeys) position_keys += values.count(k);
  if (position_keys != 0) {
    FileProgress& p = s.legacy.progress;
    s.legacy.present = true;
    if (get("file").empty()) return bad("file");
    p.path = get("file");
    const std::string& skipped = get("rest_skipped");
    if (!Number(get("file_start"), &p.day_start) || p.day_start < 0) return bad("file_start");
    if (!Number(get("offset"), &p.offset)) return bad("offset");
    if (!Number(get("day"), &p.day)) return bad("day");
    if (!Number(get("device"), &p.device)) return bad("device");
    if (!Number(get("inode"), &p.inode)) return bad("inode");
    if (get("fnv1a64").size() != 16 || !Number(get("fnv1a64"), &p.hash, 16)) return bad("fnv1a64");
    if (skipped != "0" && skipped != "1") return bad("rest_skipped");
    p.rest_skipped = skipped == "1";
  }
  *state = s;
  return true;
}

}  // namespace

std::string StateText(const ExportState& s) {
  std::string text = std::string(kFirstLine) + "\narchive " + s.archive + "\nfrom_time " +
                     std::to_string(s.from_time) + "\n";
  for (const FileProgress& f : s.files) text += "file " + ProgressText(f) + "\n";
  for (const DayFile& d : s.days) text += DayText(d, "day", "begin");
  if (s.commit == ExportState::Commit::kNone) return text;
  if (s.commit == ExportState::Commit::kRenames) {
    text += "commit renames\n";
    for (const std::string& r : s.renames) text += "rename " + EscapePath(r) + "\n";
  } else {
    text += std::string("commit ") +
            (s.commit == ExportState::Commit::kIntent ? "intent " : "pending ") +
            EscapePath(s.commit_hidden) + "\n";
  }
  for (const FileProgress& f : s.next) text += "next " + ProgressText(f) + "\n";
  for (const DayFile& d : s.next_days) text += DayText(d, "nextday", "nextbegin");
  return text;
}

bool ParseState(std::string_view text, ExportState* state, std::string* problem) {
  std::vector<Line> lines;
  std::string first;
  if (!SplitLines(text, &lines, &first, problem)) return false;
  if (first == kFirstLineV1) return ParseVersion1(lines, state, problem);
  if (first != kFirstLine) {
    *problem = "it does not begin with '" + std::string(kFirstLine) + "'";
    return false;
  }
  ExportState s;
  bool seen_archive = false, seen_from = false;
  auto at = [&](const Line& line, const std::string& what) {
    *problem = "line " + std::to_string(line.number) + ": " + what;
    return false;
  };
  for (const Line& line : lines) {
    const std::string key(line.key);
    if (key == "archive" || key == "from_time") {
      bool& seen = key == "archive" ? seen_archive : seen_from;
      if (seen || !s.files.empty() || s.commit != ExportState::Commit::kNone)
        return at(line, "repeated or misplaced key '" + key + "'");
      seen = true;
      if (key == "archive") s.archive = line.value;
      else if (!Number(line.value, &s.from_time) || s.from_time < -1)
        return at(line, "bad value of 'from_time'");
    } else if (key == "file" || key == "next") {
      const bool next = key == "next";
      const ExportState::Commit stage =
          next ? ExportState::Commit::kPending : ExportState::Commit::kNone;
      const bool in_place = next ? (s.commit == ExportState::Commit::kPending ||
                                    (s.commit == ExportState::Commit::kRenames &&
                                     s.next_days.empty()))
                                 : s.commit == stage && s.days.empty();
      if (!seen_archive || !seen_from || !in_place)
        return at(line, "misplaced key '" + key + "'");
      FileProgress f;
      std::string field;
      if (!ParseProgress(line.value, &f, &field)) return at(line, "bad " + field);
      (next ? s.next : s.files).push_back(std::move(f));
    } else if (key == "day" || key == "nextday") {
      const bool next = key == "nextday";
      if (!seen_archive || !seen_from ||
          s.commit != (next ? ExportState::Commit::kRenames : ExportState::Commit::kNone))
        return at(line, "misplaced key '" + key + "'");
      DayFile d;
      if (!ParseDay(line.value, &d)) return at(line, "bad value of '" + key + "'");
      (next ? s.next_days : s.days).push_back(std::move(d));
    } else if (key == "begin" || key == "nextbegin") {
      std::vector<DayFile>& days = key == "nextbegin" ? s.next_days : s.days;
      const bool in_place = key == "nextbegin" || s.commit == ExportState::Commit::kNone;
      if (days.empty() || !in_place) return at(line, "misplaced key '" + key + "'");
      DayBegin b;
      if (!ParseBegin(line.value, &b)) return at(line, "bad value of '" + key + "'");
      days.back().begins.push_back(std::move(b));
    } else if (key == "rename") {
      if (s.commit != ExportState::Commit::kRenames || !s.next.empty() || !s.next_days.empty())
        return at(line, "misplaced key 'rename'");
      std::string path;
      if (!UnescapePath(line.value, &path)) return at(line, "bad value of 'rename'");
      s.renames.push_back(std::move(path));
    } else if (key == "commit" && line.value == "renames") {
      if (!seen_archive || !seen_from || s.commit != ExportState::Commit::kNone)
        return at(line, "misplaced key 'commit'");
      s.commit = ExportState::Commit::kRenames;
    } else if (key == "commit") {
      if (!seen_archive || !seen_from || s.commit != ExportState::Commit::kNone)
        return at(line, "misplaced key 'commit'");
      const size_t blank = line.value.find(' ');
      const std::string_view stage = line.value.substr(0, blank);
      if (stage != "intent" && stage != "pending")
        return at(line, "bad stage '" + std::string(stage) + "'");
      s.commit = stage == "intent" ? ExportState::Commit::kIntent : ExportState::Commit::kPending;
      if (blank == std::string_view::npos ||
          !UnescapePath(line.value.substr(blank + 1), &s.commit_hidden))
        return at(line, "bad hidden name");
    } else {
      return at(line, "unknown key '" + key + "'");
    }
  }
  if (!seen_archive) {
    *problem = "no 'archive'";
    return false;
  }
  if (!seen_from) {
    *problem = "no 'from_time'";
    return false;
  }
  *state = std::move(s);
  return true;
}

StateLoad LoadState(const std::string& path, ExportState* state, std::string* err) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0 && errno == ENOENT) return StateLoad::kMissing;
  std::string text;
  int error = fd < 0 ? errno : 0;
  // One line of about 120 bytes per archive file: decades of daily files.
  constexpr size_t kMaxBytes = 64 * 1024 * 1024;
  while (error == 0 && text.size() <= kMaxBytes) {
    char chunk[65536];
    const ssize_t n = read(fd, chunk, sizeof chunk);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) error = errno;
    if (n <= 0) break;
    text.append(chunk, static_cast<size_t>(n));
  }
  if (fd >= 0) close(fd);
  if (error != 0) {
    *err = "Failed to read state file '" + path + "': " + std::strerror(error) + ".";
    return StateLoad::kFailed;
  }
  std::string problem = "it is too long";
  if (text.size() > kMaxBytes || !ParseState(text, state, &problem)) {
    *err = "State file '" + path + "' is not valid: " + problem + ".";
    return StateLoad::kFailed;
  }
  return StateLoad::kLoaded;
}

bool SaveState(const std::string& path, const ExportState& state, std::string* err) {
  const std::string text = StateText(state);
  const std::string temporary = path + ".tmp";
  int error = state.archive.find('\n') == std::string::npos ? 0 : EINVAL;
  const int fd =
      error == 0 ? open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666) : -1;
  if (error == 0 && fd < 0) error = errno;
  size_t written = 0;
  while (error == 0 && written < text.size()) {
    const ssize_t n = write(fd, text.data() + written, text.size() - written);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) error = n < 0 ? errno : ENOSPC;
    else written += static_cast<size_t>(n);
  }
  // On the disk before the name: a crash leaves the old FILE or the new one.
  if (error == 0 && fsync(fd) != 0) error = errno;
  if (fd >= 0 && close(fd) != 0 && error == 0) error = errno;
  if (error == 0 && rename(temporary.c_str(), path.c_str()) != 0) error = errno;
  if (error != 0) {
    if (fd >= 0) unlink(temporary.c_str());
    *err = "Failed to write state file '" + path + "': " + std::strerror(error) + ".";
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
