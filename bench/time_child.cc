// time_child: runs one command and prints what it cost, for bench/run.sh.
//
//   time_child [-o FILE] COMMAND [ARG]...
//
// The command's standard output goes to FILE when given. One line goes to
// standard output: wall seconds, user CPU seconds, system CPU seconds, peak
// resident memory in KiB, exit status. The memory is getrusage's
// RUSAGE_CHILDREN after the wait: this program has no other child, so it is
// the command's own peak. posix_spawn, not fork, so that the copy of this
// program never counts towards it.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>

#include <cstdio>
#include <cstring>

extern char** environ;

namespace {

double Seconds(const timeval& t) { return static_cast<double>(t.tv_sec) + t.tv_usec / 1e6; }

double Now() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<double>(t.tv_sec) + t.tv_nsec / 1e9;
}

int Usage() {
  std::fputs("Usage: time_child [-o FILE] COMMAND [ARG]...\n", stderr);
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  int first = 1;
  const char* output = nullptr;
  if (argc > 2 && std::strcmp(argv[1], "-o") == 0) {
    output = argv[2];
    first = 3;
  }
  if (first >= argc) return Usage();

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (output != nullptr)
    posix_spawn_file_actions_addopen(&actions, 1, output, O_WRONLY | O_CREAT | O_TRUNC, 0644);

  const double start = Now();
  pid_t pid;
  const int error = posix_spawnp(&pid, argv[first], &actions, nullptr, argv + first, environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    std::fprintf(stderr, "time_child: cannot run '%s': %s\n", argv[first], std::strerror(error));
    return 2;
  }
  int status = 0;
  if (waitpid(pid, &status, 0) != pid) {
    std::perror("time_child: waitpid");
    return 2;
  }
  const double wall = Now() - start;

  rusage usage;
  getrusage(RUSAGE_CHILDREN, &usage);
  const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  std::printf("%.4f %.4f %.4f %ld %d\n", wall, Seconds(usage.ru_utime), Seconds(usage.ru_stime),
              usage.ru_maxrss, code);
  return 0;
}
