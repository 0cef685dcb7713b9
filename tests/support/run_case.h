// One row of the end-to-end format tables: a run of the program over an
// archive the test writes, and what it must print and return.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace qorarc::testing {

struct RunCase {
  const char* name;
  std::vector<std::string> args;  // after "-i <root>"
  std::string out;
  std::string err;  // the archive's root written as "@arc"
  int status = 0;
};

inline void PrintTo(const RunCase& c, std::ostream* os) { *os << c.name; }

// Writes the archive with `write_archive(root)` in a new directory, runs the
// case over it and checks its standard output, standard error and status.
void ExpectRun(const RunCase& c, const std::function<void(const std::string& root)>& write_archive);

// The archives a format's reader checks an export of: the test's edge
// archive (written by `write_edges` under `dir`, archive `edges_name`), the
// shipped sample archive and twelve random archives. Calls
// add(root, archive name, label) for each, `label` naming it in the files
// made of it.
void ForEachReadbackArchive(
    const std::string& dir, const std::function<void(const std::string& root)>& write_edges,
    const std::string& edges_name,
    const std::function<void(const std::string& root, const std::string& name,
                             const std::string& label)>& add);

// Runs a reader's check script and expects it to print "ok" alone.
void ExpectCheckPasses(const std::string& command);

}  // namespace qorarc::testing
