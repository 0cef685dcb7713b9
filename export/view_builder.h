// Builds the writers' view of a decoded item: its texts and a view of its
// value. Every writer thread has its own builder, made for what its writer
// reads (Writer::showsDateTime()).
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "archive/archive_format.h"
#include "export/export_item.h"
#include "export/time_text.h"

namespace qorarc {

class ViewBuilder {
 public:
  // Without `date_time`, the views' date and time texts are left empty:
  // formatting them is most of the cost of a view.
  explicit ViewBuilder(bool date_time = true);

  // The view of `item`. Its texts point into the builder and into `item`:
  // they stay valid until the next call or until `item` changes.
  ExportItem Build(const ArchiveItem& item);

 private:
  // Class and type texts by type byte, looked up once at construction
  // rather than per item.
  struct RecordTexts {
    std::string_view class_name;
    std::string_view type_name;
  };
  std::array<RecordTexts, 256> record_texts_;
  bool date_time_;
  DateTextCache dates_;
  char time_text_[kTimeTextSize];
};

}  // namespace qorarc
