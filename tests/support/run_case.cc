#include "support/run_case.h"

#include <gtest/gtest.h>

#include <random>

#include "support/files.h"
#include "support/program_run.h"
#include "support/random_archive.h"

namespace qorarc::testing {

void ExpectRun(const RunCase& c, const std::function<void(const std::string& root)>& write_archive) {
  TempDir dir;
  const std::string root = dir.path() + "/arc";
  write_archive(root);
  std::vector<std::string> args = {"-i", root};
  args.insert(args.end(), c.args.begin(), c.args.end());
  ProgramResult r = RunQorArc(args);
  for (size_t at; (at = r.err.find(root)) != std::string::npos;) r.err.replace(at, root.size(), "@arc");
  EXPECT_EQ(r.out, c.out);
  EXPECT_EQ(r.err, c.err);
  EXPECT_EQ(r.status, c.status);
}

void ForEachReadbackArchive(
    const std::string& dir, const std::function<void(const std::string& root)>& write_edges,
    const std::string& edges_name,
    const std::function<void(const std::string& root, const std::string& name,
                             const std::string& label)>& add) {
  write_edges(dir + "/edges");
  add(dir + "/edges", edges_name, "edges");
  add(std::string(QORARC_TEST_SCRIPTS) + "/../sample/arc", "plant", "sample");
  for (uint64_t seed = 1; seed <= 12; ++seed) {
    const std::string root = dir + "/" + std::to_string(seed);
    Random r{std::mt19937_64(seed)};
    WriteRandomArchive(r, root, {.non_finite = true, .text_arrays = true});
    add(root, "plant", "random" + std::to_string(seed));
  }
}

void ExpectCheckPasses(const std::string& command) {
  int status = -1;
  const std::string output = RunShell(command + " 2>&1", &status);
  EXPECT_EQ(status, 0) << output;
  EXPECT_EQ(output, "ok\n");
}

}  // namespace qorarc::testing
