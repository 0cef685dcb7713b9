#include "output/output_file.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "support/files.h"

namespace qorarc {
namespace {

using testing::ReadFile;

namespace fs = std::filesystem;

// Entries in a directory: a new file left behind shows as one too many.
std::ptrdiff_t Entries(const std::string& dir) {
  return std::distance(fs::directory_iterator(dir), fs::directory_iterator());
}

// Runs every test with an unnamed new file and with a hidden one; the
// end-to-end tests (tests/data_safety_test.cc) run only the unnamed one.
class OutputFileTest : public ::testing::TestWithParam<bool> {
 protected:
  testing::TempDir temp_;
  const std::string dir_ = temp_.path();
  const std::string path_ = dir_ + "/out.json";
};

// A new file appears only at Commit(), with 0666 less the umask; a file
// replaced through a link keeps its mode, and the link stays a link.
TEST_P(OutputFileTest, FileAppearsWholeAtCommit) {
  const mode_t mask = umask(027);
  {
    OutputFile file(GetParam());
    ASSERT_TRUE(file.Open(path_));
    *file.stream() << "document";
    EXPECT_FALSE(fs::exists(path_));
    EXPECT_EQ(Entries(dir_), GetParam() ? 0 : 1);  // the hidden name
    EXPECT_TRUE(file.Commit());
  }
  umask(mask);
  EXPECT_EQ(ReadFile(path_), "document");
  EXPECT_EQ(fs::status(path_).permissions(), fs::perms(0640));

  chmod(path_.c_str(), 0604);
  fs::create_symlink("out.json", dir_ + "/link");
  {
    OutputFile file(GetParam());
    ASSERT_TRUE(file.Open(dir_ + "/link"));
    *file.stream() << "new";
    EXPECT_EQ(ReadFile(path_), "document");
    EXPECT_TRUE(file.Commit());
  }
  EXPECT_EQ(ReadFile(path_), "new");
  EXPECT_EQ(fs::status(path_).permissions(), fs::perms(0604));
  EXPECT_TRUE(fs::is_symlink(dir_ + "/link"));
  EXPECT_EQ(Entries(dir_), 2);
}

// A stream that failed is never put in place; the previous file stays.
TEST_P(OutputFileTest, FailedStreamIsNotCommitted) {
  std::ofstream(path_) << "old";
  OutputFile file(GetParam());
  ASSERT_TRUE(file.Open(path_));
  *file.stream() << "new";
  file.stream()->setstate(std::ios::badbit);
  EXPECT_FALSE(file.Commit());
  EXPECT_EQ(ReadFile(path_), "old");
  EXPECT_EQ(Entries(dir_), 1);
}

// A signal removes the new file, then ends the process as that signal.
// The child keeps the actions in force, which may hold the handlers already;
// a signal the test runs with ignored is left alone, as the program does.
TEST_P(OutputFileTest, SignalRemovesTheNewFile) {
  std::ofstream(path_) << "old";
  for (int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
    SCOPED_TRACE(signal_number);
    struct sigaction action;
    if (sigaction(signal_number, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
    const pid_t pid = fork();
    if (pid == 0) {
      OutputFile file(GetParam());
      if (!file.Open(path_)) _exit(3);
      *file.stream() << std::string(1 << 20, 'x') << std::flush;
      raise(signal_number);
      _exit(4);
    }
    int wstatus = 0;
    ASSERT_EQ(waitpid(pid, &wstatus, 0), pid);
    ASSERT_TRUE(WIFSIGNALED(wstatus)) << wstatus;
    EXPECT_EQ(WTERMSIG(wstatus), signal_number);
    EXPECT_EQ(ReadFile(path_), "old");
    EXPECT_EQ(Entries(dir_), 1);
  }
}

INSTANTIATE_TEST_SUITE_P(NewFile, OutputFileTest, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& info) {
                           return std::string(info.param ? "Unnamed" : "Hidden");
                         });

}  // namespace
}  // namespace qorarc
