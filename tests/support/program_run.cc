#include "support/program_run.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>

extern char** environ;

namespace qorarc::testing {

std::string QorArcPath() { return QORARC_BINARY; }

ProgramResult RunQorArc(const std::vector<std::string>& args,
                        const ProgramOptions& options) {
  int out_pipe[2], err_pipe[2];
  if (pipe(out_pipe) != 0 || pipe(err_pipe) != 0) throw std::runtime_error("pipe failed");
  pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("fork failed");
  if (pid == 0) {
    int in = open("/dev/null", O_RDONLY);
    dup2(in, 0);
    dup2(out_pipe[1], 1);
    dup2(err_pipe[1], 2);
    for (int fd : {in, out_pipe[0], out_pipe[1], err_pipe[0], err_pipe[1]}) close(fd);
    if (!options.cwd.empty() && chdir(options.cwd.c_str()) != 0) _exit(127);
    for (const std::string& entry : options.env) {
      if (entry.find('=') == std::string::npos)
        unsetenv(entry.c_str());
      else
        putenv(const_cast<char*>(entry.c_str()));
    }
    std::vector<char*> argv;
    std::string program = QorArcPath();
    argv.push_back(program.data());
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    execve(program.c_str(), argv.data(), environ);
    _exit(127);
  }
  close(out_pipe[1]);
  close(err_pipe[1]);
  // Read both outputs until they close.
  ProgramResult result;
  pollfd fds[2] = {{out_pipe[0], POLLIN, 0}, {err_pipe[0], POLLIN, 0}};
  int open_outputs = 2;
  while (open_outputs > 0) {
    if (poll(fds, 2, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      char buffer[65536];
      ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
      if (n > 0) {
        (i == 0 ? result.out : result.err).append(buffer, n);
      } else {
        close(fds[i].fd);
        fds[i].fd = -1;
        --open_outputs;
      }
    }
  }
  int wstatus = 0;
  while (waitpid(pid, &wstatus, 0) < 0 && errno == EINTR) {
  }
  result.status = WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : -1;
  return result;
}

}  // namespace qorarc::testing
