#include "app/output_file.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "support/files.h"

namespace qorarc {
namespace {

using testing::ReadFile;

namespace fs = std::filesystem;

void Write(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::set<std::string> Names(const std::string& dir) {
  std::set<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(dir))
    names.insert(entry.path().filename().string());
  return names;
}

int Mode(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? static_cast<int>(st.st_mode & 07777) : -1;
}

// Runs every test with an unnamed new file and with a hidden one.
class OutputFileTest : public ::testing::TestWithParam<bool> {
 protected:
  testing::TempDir temp_;
  const std::string dir_ = temp_.path();
};

TEST_P(OutputFileTest, NewFileAppearsOnlyAtCommit) {
  const std::string path = dir_ + "/out.json";
  const mode_t mask = umask(027);
  {
    OutputFile file(GetParam());
    ASSERT_TRUE(file.Open(path));
    *file.stream() << "document";
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(Names(dir_).size(), GetParam() ? 0u : 1u);  // the hidden name
    EXPECT_TRUE(file.Commit());
  }
  umask(mask);
  EXPECT_EQ(ReadFile(path), "document");
  EXPECT_EQ(Mode(path), 0640);
  EXPECT_EQ(Names(dir_), std::set<std::string>{"out.json"});
}

TEST_P(OutputFileTest, ReplacedFileKeepsItsModeAndLinksStayLinks) {
  const std::string path = dir_ + "/out.json";
  Write(path, "old");
  chmod(path.c_str(), 0604);
  fs::create_symlink("out.json", dir_ + "/link");
  {
    OutputFile file(GetParam());
    ASSERT_TRUE(file.Open(dir_ + "/link"));
    *file.stream() << "new";
    EXPECT_EQ(ReadFile(path), "old");
    EXPECT_TRUE(file.Commit());
  }
  EXPECT_EQ(ReadFile(path), "new");
  EXPECT_EQ(Mode(path), 0604);
  EXPECT_TRUE(fs::is_symlink(dir_ + "/link"));
  EXPECT_EQ(Names(dir_), (std::set<std::string>{"link", "out.json"}));
}

// A stream that failed is never put in place; the previous file stays.
TEST_P(OutputFileTest, FailedStreamIsNotCommitted) {
  const std::string path = dir_ + "/out.json";
  Write(path, "old");
  OutputFile file(GetParam());
  ASSERT_TRUE(file.Open(path));
  *file.stream() << "new";
  file.stream()->setstate(std::ios::badbit);
  EXPECT_FALSE(file.Commit());
  EXPECT_EQ(ReadFile(path), "old");
  EXPECT_EQ(Names(dir_), std::set<std::string>{"out.json"});
}

// A signal ends the process as that signal, after the new file is removed.
TEST_P(OutputFileTest, SignalRemovesTheNewFile) {
  const std::string path = dir_ + "/out.json";
  Write(path, "old");
  for (int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
    SCOPED_TRACE(signal_number);
    pid_t pid = fork();
    if (pid == 0) {
      // As from an interactive shell, whatever the test runner ignores.
      signal(signal_number, SIG_DFL);
      OutputFile file(GetParam());
      if (!file.Open(path)) _exit(3);
      *file.stream() << std::string(1 << 20, 'x') << std::flush;
      raise(signal_number);
      _exit(4);
    }
    int wstatus = 0;
    ASSERT_EQ(waitpid(pid, &wstatus, 0), pid);
    ASSERT_TRUE(WIFSIGNALED(wstatus)) << wstatus;
    EXPECT_EQ(WTERMSIG(wstatus), signal_number);
    EXPECT_EQ(ReadFile(path), "old");
    EXPECT_EQ(Names(dir_), std::set<std::string>{"out.json"});
  }
}

INSTANTIATE_TEST_SUITE_P(NewFile, OutputFileTest, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& info) {
                           return std::string(info.param ? "Unnamed" : "Hidden");
                         });

}  // namespace
}  // namespace qorarc
