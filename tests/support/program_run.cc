#include "support/program_run.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <cstdlib>
#include <cstdio>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace qorarc::testing {

std::string QorArcPath() { return QORARC_BINARY; }

std::string TestScriptPath(const std::string& name) { return QORARC_TEST_SCRIPTS "/" + name; }

std::string RunShell(const std::string& command, int* status) {
  std::string out;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("popen failed");
  char buffer[4096];
  for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
  const int result = pclose(pipe);
  if (status != nullptr) *status = result;
  return out;
}

// The program starts with the default action for the signals that end a
// run, as from an interactive shell: a test run by nohup or as a background
// job would otherwise hand down an ignored SIGHUP or SIGINT.
namespace {
void DefaultSignals() {
  for (int signal_number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) signal(signal_number, SIG_DFL);
}
}  // namespace

ProgramResult RunQorArc(const std::vector<std::string>& args,
                        const ProgramOptions& options) {
  TempDir dir;
  Launch launch{args, dir.path() + "/out", ""};
  launch.options = options;
  const Outcome outcome = RunLaunch(launch);
  return {ReadFile(launch.out), outcome.err, outcome.status};
}

Child Start(const Launch& launch) {
  int pipe_fds[2] = {-1, -1};
  if (launch.err.empty() && !launch.err_closed && pipe(pipe_fds) != 0) return {-1};
  std::string program = QorArcPath();
  std::vector<char*> argv = {program.data()};
  for (const std::string& arg : launch.args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  pid_t pid = fork();
  if (pid != 0) {
    if (pipe_fds[1] >= 0) close(pipe_fds[1]);
    return {pid, pipe_fds[0]};
  }
  int in = launch.in.empty() ? -1 : open(launch.in.c_str(), O_RDONLY);
  int err = launch.err_closed  ? -1
            : launch.err.empty() ? pipe_fds[1]
                                 : open(launch.err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if ((!launch.in.empty() && (in < 0 || dup2(in, 0) < 0)) ||
      (!launch.err_closed && (err < 0 || dup2(err, 2) < 0)))
    _exit(127);
  if (launch.out.empty()) {
    close(1);
  } else {
    int out = open(launch.out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (out < 0 || dup2(out, 1) < 0) _exit(127);
    if (out > 2) close(out);
  }
  // The test may run with a standard stream closed, which these took.
  if (in > 2) close(in);
  if (err > 2) close(err);
  if (launch.in.empty()) close(0);
  if (launch.err_closed) close(2);
  if (!launch.options.cwd.empty() && chdir(launch.options.cwd.c_str()) != 0) _exit(127);
  for (const std::string& entry : launch.options.env) {
    if (entry.find('=') == std::string::npos)
      unsetenv(entry.c_str());
    else
      putenv(const_cast<char*>(entry.c_str()));
  }
  if (launch.as_nobody && (setgroups(0, nullptr) != 0 || setgid(65534) != 0 || setuid(65534) != 0))
    _exit(126);
  DefaultSignals();
  if (launch.process_limit != RLIM_INFINITY) {
    // Set after the change of user, which would otherwise count this
    // process against it and make execve fail.
    const rlimit limit = {launch.process_limit, launch.process_limit};
    if (setrlimit(RLIMIT_NPROC, &limit) != 0) _exit(125);
  }
  if (launch.file_size_limit != RLIM_INFINITY) {
    const rlimit limit = {launch.file_size_limit, launch.file_size_limit};
    signal(SIGXFSZ, SIG_IGN);
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(125);
  }
  if (launch.address_space_limit != RLIM_INFINITY) {
    const rlimit limit = {launch.address_space_limit, launch.address_space_limit};
    if (setrlimit(RLIMIT_AS, &limit) != 0) _exit(125);
  }
  alarm(60);
  execve(program.c_str(), argv.data(), environ);
  _exit(127);
}

Outcome RunInterrupted(const Launch& launch, int signal_number, std::chrono::microseconds delay) {
  const Child child = Start(launch);
  if (signal_number != 0) {
    std::this_thread::sleep_for(delay);
    kill(child.pid, signal_number);
  }
  return Finish(child, launch.err);
}

Outcome Finish(const Child& child, const std::string& err_path) {
  Outcome outcome;
  if (child.err_pipe >= 0) {
    char buffer[4096];
    for (ssize_t n; (n = read(child.err_pipe, buffer, sizeof buffer)) > 0;)
      outcome.err.append(buffer, static_cast<size_t>(n));
    close(child.err_pipe);
  }
  int wstatus = 0;
  rusage usage{};
  wait4(child.pid, &wstatus, 0, &usage);
  outcome.max_rss_kib = usage.ru_maxrss;
  if (WIFEXITED(wstatus)) outcome.status = WEXITSTATUS(wstatus);
  if (WIFSIGNALED(wstatus)) outcome.signal = WTERMSIG(wstatus);
  if (!err_path.empty()) outcome.err = ReadFile(err_path);
  return outcome;
}

std::set<std::string> Names(const std::string& dir) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir))
    names.insert(entry.path().filename().string());
  return names;
}

}  // namespace qorarc::testing
