// The file named by "--output". A regular file (or a name that does not
// exist yet) is replaced whole or not at all: the document is written to a
// new file in the same directory, which takes the target's name only when
// Commit() is called after a successful export. Until then the previous
// file stays as it was, whatever ends the run: a failed write, an error
// thrown by a writer, or SIGINT, SIGTERM, SIGHUP, SIGQUIT or SIGXFSZ.
//
// Where the file system has O_TMPFILE the new file has no name until
// Commit(), so even SIGKILL leaves nothing behind (but in the instant
// between its hidden name and the target's); otherwise it has a hidden
// name, ".qorarc-<pid>-<n>.tmp", which the destructor and the signal
// handlers remove. A symbolic link keeps pointing where it did; its target
// is replaced. A replaced file keeps its permission bits (and, when the
// process may set them, its owner and group); a new one gets 0666 less the
// umask.
//
// An existing file that no new file can take the place of (in a directory
// the user cannot write, or another user's file in a sticky directory, where
// it could not be renamed over) is written the same way, but in $TMPDIR or
// else /tmp, and Commit() copies the new file over it: a failed or ended
// export still leaves it whole, but a failure, a signal or a crash during
// that copy leaves it partial. The file itself is kept, with its mode and
// owner.
//
// Anything that is not a regular file (a FIFO, a character device such as
// /dev/full), a path through /proc (such as /dev/stdout), a name that does
// not exist yet in a directory where no new file can be made, and a file for
// which no new file can be made anywhere, is written directly, as an
// ordinary truncating open does. A file the user may not write is refused,
// as that open would refuse it.
#pragma once

#include <fstream>
#include <memory>
#include <ostream>
#include <string>

namespace qorarc {

// Told by an OutputFile as its new file makes its way to the target's name,
// so that a cursor can commit together with it (app/state_cursor.h). Each
// call may refuse; the output then does not take the target's name.
class CommitObserver {
 public:
  virtual ~CommitObserver();
  // The new file is about to get the hidden name `hidden`, which does not
  // exist yet.
  virtual bool Naming(const std::string& hidden) = 0;
  // The new file, complete and on the disk, has the hidden name; it takes
  // the target's name next.
  virtual bool Named(const std::string& hidden) = 0;
  // It did not take the target's name after Named(). True when the hidden
  // name may be removed now; false leaves it for the observer to settle.
  virtual bool Abandoned(const std::string& hidden) = 0;
};

class OutputFile {
 public:
  // `unnamed`: use an unnamed file where the file system has them; false
  // always takes a hidden name.
  explicit OutputFile(bool unnamed = true);
  // Without Commit(), removes the new file: the target stays as it was.
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Opens `path` for writing; false when it cannot be.
  bool Open(const std::string& path);

  // Flush the new file to the disk before it takes any name.
  void set_sync(bool sync) { sync_ = sync; }

  // Tells `observer` of each step of a replacement (not of a file written
  // directly or copied over). Set before Open().
  void set_observer(CommitObserver* observer) { observer_ = observer; }

  // The stream the document goes to; valid after a successful Open().
  std::ostream* stream() { return &stream_; }

  // Flushes and closes the stream and, when every write succeeded, puts the
  // new file in place of the target, or copies it over the target. False
  // when a write, the replacement or the copy failed; the target is then as
  // it was (written directly: as far as the writes went; a failed copy: as
  // far as the copy went).
  bool Commit();

 private:
  // Makes a new unnamed or hidden file in `dir`, open for reading and
  // writing; `named_later`: an unnamed one must be able to get a name.
  // Returns its descriptor, or -1.
  int NewFile(const std::string& dir, bool named_later);
  // Makes the stream write to `fd`; on failure closes it and removes it.
  bool Attach(int fd);
  // Opens a new unnamed or hidden file in `dir`, set up to replace `target`.
  bool OpenReplacement(const std::string& dir, const std::string& target);
  // Opens `target` for writing without truncating it and a new file in a
  // temporary directory, to be copied over it at Commit().
  bool OpenCopy(const std::string& target);
  // Gives the unnamed file a hidden name in its directory.
  bool LinkUnnamed();
  // Removes the hidden name, if any, and forgets it.
  void RemoveHidden();

  std::unique_ptr<std::filebuf> buffer_;
  std::ostream stream_;
  bool try_unnamed_;
  int fd_ = -1;           // the new file's descriptor, while open
  bool unnamed_ = false;  // the new file has no name yet (O_TMPFILE)
  std::string target_;    // the file the new one replaces; empty: direct or copied
  std::string dir_;       // the target's directory
  std::string hidden_;    // the new file's hidden name, while it has one
  int copy_to_ = -1;      // the target, when the new file is copied over it
  bool sync_ = false;
  CommitObserver* observer_ = nullptr;
};

}  // namespace qorarc
