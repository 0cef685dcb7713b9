// What the export loop (archive/read_state.h) has to say about its files,
// beside the items: in the manner of a corruption reporter, narrow, and told
// at the very place in the item stream where it happens.
#pragma once

#include <string>

namespace qorarc {

class LoopReporter {
 public:
  virtual ~LoopReporter() = default;
  // A file is about to be read (also when it then cannot be opened).
  virtual void FileStarted(const std::string& path) = 0;
  // The file could not be read to its end: a bad record that was taken, or
  // an overlong string record.
  virtual void Corruption(const std::string& path) = 0;
  // The file could not be opened or read: `error_number` is the errno of
  // the failed call. Items read before it have been handed over.
  virtual void ReadFailed(const std::string& path, int error_number) = 0;
};

}  // namespace qorarc
