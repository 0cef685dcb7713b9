#include "export/item_output.h"

#include "base/messages.h"
#include "export/writer.h"

namespace qorarc {

ItemOutput::~ItemOutput() = default;

void ItemOutput::Show(const LoopMessage& message) {
  ErrorLine(message.line);
  if (message.read_failure) read_failed_ = true;
}

DirectOutput::DirectOutput(Writer* writer)
    : writer_(writer), views_(writer->showsDateTime()) {}

void DirectOutput::Write(const ArchiveItem& item, const RowMask* left_out) {
  ExportItem view = views_.Build(item);
  view.left_out = left_out;
  writer_->writeItem(view);
}

bool DirectOutput::Failed() const { return writer_->failed(); }

}  // namespace qorarc
