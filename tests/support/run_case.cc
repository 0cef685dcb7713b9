#include "support/run_case.h"

#include <gtest/gtest.h>

#include "support/files.h"
#include "support/program_run.h"

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

}  // namespace qorarc::testing
