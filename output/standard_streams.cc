#include "output/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace qorarc {

void OpenClosedStandardStreams() {
  // Standard output is opened read-only: every write to it fails, as on the
  // closed descriptor and as on /dev/full, so an export to a closed standard
  // output still ends with "Failed to write to standard output." and status
  // 255 instead of succeeding into nothing. Standard error is written off
  // into /dev/null, as its writes were lost before; its failures never
  // changed the status.
  constexpr int kFlags[] = {O_RDONLY, O_RDONLY, O_WRONLY};
  for (int fd = 0; fd <= 2; ++fd) {
    if (fcntl(fd, F_GETFD) != -1 || errno != EBADF) continue;
    // The lowest free descriptor is `fd`, as those below it are open by now.
    // Without /dev/null (a bare chroot) the descriptor stays closed, as before.
    const int opened = open("/dev/null", kFlags[fd]);
    if (opened >= 0 && opened != fd) close(opened);
  }
}

}  // namespace qorarc
