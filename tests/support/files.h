// Files for tests: a temporary directory and reading a whole file.
#pragma once

#include <string>

namespace qorarc::testing {

// A fresh empty directory under the system's temporary directory, removed
// when the object goes away.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// Reads a whole file; empty when it cannot be read.
std::string ReadFile(const std::string& path);

}  // namespace qorarc::testing
