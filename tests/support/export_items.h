// Values and items for the writers' tests, without an archive behind them.
#pragma once

#include <cstdint>
#include <string_view>

#include "export/export_item.h"

namespace qorarc::testing {

inline constexpr uint8_t kZeros[8] = {};

// A value of type `code` whose bytes start at `payload`.
inline ItemValue Value(uint8_t code, const void* payload) {
  return ItemValue{code, static_cast<const uint8_t*>(payload), {}};
}

// A string value (code 12).
inline ItemValue Text(std::string_view text) { return ItemValue{12, kZeros, text}; }

// An item of 2021-03-04 05:06:07.123456 without class, type or level texts.
inline ExportItem Item(int32_t id, int32_t value_count, ItemValue value) {
  ExportItem item;
  item.date = "2021-03-04";
  item.time = "05:06:07.123456";
  item.id = id;
  item.value_count = value_count;
  item.value = value;
  return item;
}

}  // namespace qorarc::testing
