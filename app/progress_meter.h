// The progress of a long export on a terminal: one status line on standard
// error, rewritten in place at most four times a second once the export has
// run for a second, and a closing line at the end. Forced onto a standard
// error that is no terminal, the status lines are plain lines instead. It sits between the
// export loop and the item processor as an ItemSink and a LoopReporter of
// its own and reads the counters there, so that it costs no system call per
// item.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "archive/discovery.h"
#include "archive/item_sink.h"
#include "archive/loop_reporter.h"
#include "archive/read_state.h"
#include "export/item_processor.h"

namespace qorarc {

class ProgressMeter : public ItemSink, public LoopReporter {
 public:
  // Whether to show progress: never with QORARC_PROGRESS=0; always with
  // QORARC_PROGRESS=1, from the start (for tests and logs); otherwise when
  // standard error is a terminal and the document goes elsewhere (a file,
  // or a standard output that is not that terminal).
  enum class Mode { kOff, kTerminal, kForced };
  static Mode Wanted(bool output_file);

  // Passes everything on to `*processor`; `*reader` gives the bytes read.
  ProgressMeter(Mode mode, ItemProcessor* processor, const AReadState* reader,
                const std::vector<ArchiveFileEntry>& files, int32_t item_limit);

  // ItemSink.
  bool Done() const override { return processor_->Done(); }
  bool Item(const ArchiveItem& item) override;
  void Consumed(const ReadPosition& position) override { processor_->Consumed(position); }

  // LoopReporter.
  void FileStarted(const std::string& path) override;
  void Corruption(const std::string& path) override { processor_->Corruption(path); }
  void ReadFailed(const std::string& path, int error_number) override {
    processor_->ReadFailed(path, error_number);
  }

  // Replaces the status line, if one was shown, by the closing line.
  void Finish();

 private:
  using Clock = std::chrono::steady_clock;

  void Update(bool force);
  int64_t ItemsWritten() const;

  Mode mode_;
  ItemProcessor* processor_;
  const AReadState* reader_;
  size_t total_files_;
  uint64_t total_bytes_ = 0;
  int32_t item_limit_;
  size_t files_started_ = 0;
  uint32_t records_ = 0;
  bool log_lines_;  // plain lines, not one line redrawn (see kLogInterval)
  bool shown_ = false;
  Clock::time_point start_;
  Clock::time_point next_update_;
};

}  // namespace qorarc
