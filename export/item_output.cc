#include "export/item_output.h"

#include "export/writer.h"

namespace qorarc {

ItemOutput::~ItemOutput() = default;

void DirectOutput::Write(const ArchiveItem& item) { writer_->writeItem(views_.Build(item)); }

bool DirectOutput::Failed() const { return writer_->failed(); }

}  // namespace qorarc
