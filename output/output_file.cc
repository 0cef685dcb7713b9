#include "output/output_file.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ext/stdio_filebuf.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ios>
#include <string>
#include <vector>

namespace qorarc {
namespace {

// The hidden name that a signal handler removes, prepared beforehand so that
// the handler does nothing but unlink() it.
char g_hidden_path[2 * PATH_MAX];
volatile std::sig_atomic_t g_hidden_armed = 0;

constexpr int kCleanupSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXFSZ};

// Removes the hidden file, then lets the signal end the process as it would
// have without the handler (SA_RESETHAND has restored the default action).
void RemoveHiddenAndRaise(int signal_number) {
  if (g_hidden_armed) unlink(g_hidden_path);
  raise(signal_number);
}

// Installs the handler for the signals that end the process by default;
// ignored or otherwise handled signals are left alone.
void InstallSignalHandlers() {
  static bool installed = false;
  if (installed) return;
  installed = true;
  for (int signal_number : kCleanupSignals) {
    struct sigaction old_action;
    if (sigaction(signal_number, nullptr, &old_action) != 0 || old_action.sa_handler != SIG_DFL)
      continue;
    struct sigaction action = {};
    action.sa_handler = RemoveHiddenAndRaise;
    sigfillset(&action.sa_mask);
    action.sa_flags = SA_RESETHAND;
    sigaction(signal_number, &action, nullptr);
  }
}

// Arms the handlers for `path`; false when the path is too long to keep.
bool Arm(const std::string& path) {
  if (path.size() >= sizeof g_hidden_path) return false;
  InstallSignalHandlers();
  g_hidden_armed = 0;
  std::atomic_signal_fence(std::memory_order_seq_cst);
  std::memcpy(g_hidden_path, path.c_str(), path.size() + 1);
  std::atomic_signal_fence(std::memory_order_seq_cst);
  g_hidden_armed = 1;
  return true;
}

void Disarm() { g_hidden_armed = 0; }

// The directory part of a path, "." for a bare name.
std::string DirectoryOf(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

// Follows symbolic links from `path` to the file they end at, which may not
// exist. False when the chain is too long or cannot be read, and for a path
// through /proc (/dev/stdout is /proc/self/fd/1): the links there name open
// descriptors, which are written as they are.
bool ResolveLinks(const std::string& path, std::string* resolved) {
  std::string current = path;
  for (int hops = 0; hops < 40; ++hops) {
    if (current.starts_with("/proc/")) return false;
    struct stat st;
    if (lstat(current.c_str(), &st) != 0) {
      *resolved = current;
      return errno == ENOENT;
    }
    if (!S_ISLNK(st.st_mode)) {
      *resolved = current;
      return true;
    }
    char link[PATH_MAX];
    const ssize_t n = readlink(current.c_str(), link, sizeof link);
    if (n < 0 || static_cast<size_t>(n) >= sizeof link) return false;
    const std::string text(link, static_cast<size_t>(n));
    current = text[0] == '/' ? text : DirectoryOf(current) + "/" + text;
  }
  return false;
}

// False when a new file could not take the place of `target` (status `st`,
// null when it does not exist): in a sticky directory such as /tmp only the
// owner of a file may rename over it.
bool MayReplace(const std::string& target, const struct stat* st) {
  if (st == nullptr || st->st_uid == geteuid() || geteuid() == 0) return true;
  struct stat dir;
  return stat(DirectoryOf(target).c_str(), &dir) == 0 && !(dir.st_mode & S_ISVTX);
}

// Where a new file goes when none can be made beside the target: $TMPDIR
// when set, then /tmp.
std::vector<std::string> TemporaryDirectories() {
  std::vector<std::string> dirs;
  const char* tmpdir = std::getenv("TMPDIR");
  if (tmpdir != nullptr && *tmpdir != '\0') dirs.push_back(tmpdir);
  dirs.push_back("/tmp");
  return dirs;
}

// Writes all of `n` bytes; false at the first failure.
bool WriteAll(int fd, const char* data, size_t n) {
  while (n > 0) {
    const ssize_t written = write(fd, data, n);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    data += written;
    n -= static_cast<size_t>(written);
  }
  return true;
}

// Truncates `to`, copies the whole of `from` into it and has it on disk;
// false at the first failure.
bool CopyOver(int from, int to) {
  if (ftruncate(to, 0) != 0) return false;
  char buffer[1 << 16];
  for (off_t offset = 0;;) {
    const ssize_t n = pread(from, buffer, sizeof buffer, offset);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) break;
    if (!WriteAll(to, buffer, static_cast<size_t>(n))) return false;
    offset += n;
  }
  return fsync(to) == 0;
}

std::string HiddenName(const std::string& dir) {
  static unsigned counter = 0;
  return dir + "/.qorarc-" + std::to_string(getpid()) + "-" + std::to_string(++counter) + ".tmp";
}

}  // namespace

CommitObserver::~CommitObserver() = default;

OutputFile::OutputFile(bool unnamed) : stream_(nullptr), try_unnamed_(unnamed) {}

OutputFile::~OutputFile() {
  stream_.rdbuf(nullptr);
  buffer_.reset();  // closes the new file; an unnamed one is gone with it
  RemoveHidden();
  if (copy_to_ >= 0) close(copy_to_);
}

bool OutputFile::Open(const std::string& path) {
  std::string resolved;
  if (ResolveLinks(path, &resolved)) {
    struct stat st;
    const bool exists = stat(resolved.c_str(), &st) == 0;
    // A file the user may not write is refused, as an open for writing would
    // refuse it, rather than replaced.
    if (exists && S_ISREG(st.st_mode) && faccessat(AT_FDCWD, resolved.c_str(), W_OK, AT_EACCESS) != 0)
      return false;
    if ((!exists || S_ISREG(st.st_mode)) && MayReplace(resolved, exists ? &st : nullptr) &&
        OpenReplacement(DirectoryOf(resolved), resolved)) {
      if (exists) {
        // Owner first: changing it may clear set-ID bits, which the mode
        // then restores. Only a privileged process may change the owner.
        if (st.st_uid != geteuid() || st.st_gid != getegid())
          (void)!fchown(fd_, st.st_uid, st.st_gid);
        fchmod(fd_, st.st_mode & 07777);
      }
      return true;
    }
    // No new file can take its place: one elsewhere is copied over it.
    if (exists && S_ISREG(st.st_mode) && OpenCopy(resolved)) return true;
  }
  // Not a regular file, or no new file can be made for it; a name that does
  // not exist yet in a directory QorArc cannot write fails here, as before.
  auto direct = std::make_unique<std::filebuf>();
  if (!direct->open(path, std::ios::out | std::ios::binary | std::ios::trunc)) return false;
  buffer_ = std::move(direct);
  stream_.rdbuf(buffer_.get());
  return true;
}

int OutputFile::NewFile(const std::string& dir, bool named_later) {
  // An unnamed file, when the file system has them and, if it is to be
  // named at the end, /proc can name it.
  int fd = try_unnamed_ ? open(dir.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0666) : -1;
  if (fd >= 0 && named_later &&
      access(("/proc/self/fd/" + std::to_string(fd)).c_str(), F_OK) != 0) {
    close(fd);
    fd = -1;
  }
  unnamed_ = fd >= 0;
  // Otherwise a hidden one, removed again on failure.
  for (int attempt = 0; fd < 0 && attempt < 100; ++attempt) {
    const std::string hidden = HiddenName(dir);
    // The observer records the name before it exists; not for a directory
    // where it could not exist.
    if (named_later && observer_ != nullptr &&
        (access(dir.c_str(), W_OK) != 0 || !observer_->Naming(hidden)))
      return -1;
    if (!Arm(hidden)) return -1;
    hidden_ = hidden;
    fd = open(hidden.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0) {
      Disarm();
      hidden_.clear();
      if (errno != EEXIST) return -1;
    }
  }
  return fd;
}

bool OutputFile::Attach(int fd) {
  auto buffer = std::make_unique<__gnu_cxx::stdio_filebuf<char>>(fd, std::ios::out | std::ios::binary);
  if (!buffer->is_open()) {
    close(fd);
    RemoveHidden();
    return false;
  }
  fd_ = fd;
  buffer_ = std::move(buffer);
  stream_.rdbuf(buffer_.get());
  return true;
}

bool OutputFile::OpenReplacement(const std::string& dir, const std::string& target) {
  const int fd = NewFile(dir, true);
  if (fd < 0 || !Attach(fd)) return false;
  target_ = target;
  dir_ = dir;
  return true;
}

bool OutputFile::OpenCopy(const std::string& target) {
  // Opened now, but truncated only at Commit(), so that it stays whole until
  // then; one that cannot be opened is left to the direct open, which
  // refuses it as before.
  const int target_fd = open(target.c_str(), O_WRONLY | O_CLOEXEC);
  if (target_fd < 0) return false;
  for (const std::string& dir : TemporaryDirectories()) {
    const int fd = NewFile(dir, false);
    if (fd >= 0 && Attach(fd)) {
      copy_to_ = target_fd;
      return true;
    }
  }
  close(target_fd);
  return false;
}

bool OutputFile::LinkUnnamed() {
  const std::string proc_path = "/proc/self/fd/" + std::to_string(fd_);
  for (int attempt = 0; attempt < 100; ++attempt) {
    const std::string hidden = HiddenName(dir_);
    if (observer_ != nullptr && !observer_->Naming(hidden)) return false;
    if (!Arm(hidden)) return false;
    hidden_ = hidden;
    if (linkat(AT_FDCWD, proc_path.c_str(), AT_FDCWD, hidden.c_str(), AT_SYMLINK_FOLLOW) == 0)
      return true;
    Disarm();
    hidden_.clear();
    if (errno != EEXIST) return false;
  }
  return false;
}

void OutputFile::RemoveHidden() {
  if (hidden_.empty()) return;
  unlink(hidden_.c_str());
  Disarm();
  hidden_.clear();
}

bool OutputFile::Commit() {
  stream_.flush();
  bool ok = static_cast<bool>(stream_);
  if (copy_to_ >= 0) {
    ok = ok && CopyOver(fd_, copy_to_);
    ok = buffer_->close() != nullptr && ok;
    fd_ = -1;
    ok = close(copy_to_) == 0 && ok;
    copy_to_ = -1;
    RemoveHidden();
    return ok;
  }
  if (target_.empty()) {  // written directly
    return buffer_->close() != nullptr && ok;
  }
  // On the disk before it has any name, so that a run killed while the
  // disk catches up leaves no whole copy behind.
  if (ok && sync_) ok = fsync(fd_) == 0;
  if (ok && unnamed_) ok = LinkUnnamed();
  ok = buffer_->close() != nullptr && ok;
  fd_ = -1;
  if (!ok) {
    RemoveHidden();
    return false;
  }
  if (observer_ != nullptr && !observer_->Named(hidden_)) {
    RemoveHidden();
    return false;
  }
  if (rename(hidden_.c_str(), target_.c_str()) == 0) {
    Disarm();
    hidden_.clear();
    return true;
  }
  if (observer_ == nullptr || observer_->Abandoned(hidden_)) {
    RemoveHidden();
  } else {
    Disarm();  // the observer settles it later
    hidden_.clear();
  }
  return false;
}

}  // namespace qorarc
