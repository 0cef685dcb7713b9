#include "export/formless_items.h"

#include "export/view_builder.h"

namespace qorarc {

void FormlessItems::Count(const ArchiveItem& item) {
  if (count_++ > 0) return;
  // The item as the document shows it: its "id" and its "ts".
  // The view's texts live in its builder.
  ViewBuilder builder;
  const ExportItem view = builder.Build(item);
  first_ = "ID " + std::to_string(view.id) + " at " + std::string(view.date) + "T" +
           std::string(view.time) + "Z";
}

std::string FormlessItems::WarningLine() const {
  const bool one = count_ == 1;
  return "Warning: " + std::to_string(count_) + (one ? " item" : " items") +
         " of value type 25 or 27 " + (one ? "has" : "have") +
         " no JSON form; " + (one ? "its" : "their") +
         " values were written as null (first: " + first_ + ").";
}

}  // namespace qorarc
