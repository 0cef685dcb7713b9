// A writer of the Thrift compact protocol, for the structs of a Parquet file:
// page headers and the footer. It writes what it is told, in that order, and
// keeps only the last field id of each open struct.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qorarc::parquet {

// Unsigned LEB128: 7 bits a byte, low bits first.
void PutVarint(uint64_t value, std::string* out);
// Folds signed numbers into unsigned ones so that small magnitudes stay short.
inline uint64_t ZigZag(int64_t value) {
  return (static_cast<uint64_t>(value) << 1) ^ static_cast<uint64_t>(value >> 63);
}

class ThriftWriter {
 public:
  // Appends to *out, which must outlive the writer.
  explicit ThriftWriter(std::string* out) : out_(out) {}

  // A struct: its fields, then the stop byte. The top level of a Parquet
  // footer or page header is itself such a struct.
  void BeginStruct() { last_ids_.push_back(0); }
  void EndStruct();

  // Fields of the open struct, in increasing id order (a smaller id than the
  // last one is written in the long form, which readers accept as well).
  void I32Field(int16_t id, int32_t value);
  void I64Field(int16_t id, int64_t value);
  void BinaryField(int16_t id, std::string_view value);
  void BoolField(int16_t id, bool value);
  // Opens a struct (or union) field; close it with EndStruct().
  void BeginStructField(int16_t id);
  // A list field of `size` elements of `element_type` (parquet::compact);
  // the elements follow through the *Element calls or, for structs,
  // BeginStruct()/EndStruct().
  void ListField(int16_t id, uint8_t element_type, uint32_t size);

  void I32Element(int32_t value) { PutVarint(ZigZag(value), out_); }
  void BinaryElement(std::string_view value);

 private:
  void FieldHeader(int16_t id, uint8_t type);

  std::string* out_;
  std::vector<int16_t> last_ids_;  // of each open struct, innermost last
};

}  // namespace qorarc::parquet
