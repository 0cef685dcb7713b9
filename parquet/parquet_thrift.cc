#include "parquet/parquet_thrift.h"

#include "parquet/parquet_format.h"

namespace qorarc::parquet {

void PutVarint(uint64_t value, std::string* out) {
  while (value >= 0x80) {
    out->push_back(static_cast<char>((value & 0x7F) | 0x80));
    value >>= 7;
  }
  out->push_back(static_cast<char>(value));
}

void ThriftWriter::EndStruct() {
  out_->push_back(static_cast<char>(compact::kStop));
  last_ids_.pop_back();
}

void ThriftWriter::FieldHeader(int16_t id, uint8_t type) {
  int16_t& last = last_ids_.back();
  int delta = id - last;
  if (delta > 0 && delta <= compact::kMaxShortFieldDelta) {
    out_->push_back(static_cast<char>(delta << 4 | type));
  } else {
    out_->push_back(static_cast<char>(type));
    PutVarint(ZigZag(id), out_);
  }
  last = id;
}

void ThriftWriter::I32Field(int16_t id, int32_t value) {
  FieldHeader(id, compact::kI32);
  PutVarint(ZigZag(value), out_);
}

void ThriftWriter::I64Field(int16_t id, int64_t value) {
  FieldHeader(id, compact::kI64);
  PutVarint(ZigZag(value), out_);
}

void ThriftWriter::BinaryField(int16_t id, std::string_view value) {
  FieldHeader(id, compact::kBinary);
  BinaryElement(value);
}

void ThriftWriter::BoolField(int16_t id, bool value) {
  FieldHeader(id, value ? compact::kBooleanTrue : compact::kBooleanFalse);
}

void ThriftWriter::BeginStructField(int16_t id) {
  FieldHeader(id, compact::kStruct);
  BeginStruct();
}

void ThriftWriter::ListField(int16_t id, uint8_t element_type, uint32_t size) {
  FieldHeader(id, compact::kList);
  if (size <= compact::kMaxShortListSize) {
    out_->push_back(static_cast<char>(size << 4 | element_type));
  } else {
    out_->push_back(static_cast<char>(compact::kLongListSize << 4 | element_type));
    PutVarint(size, out_);
  }
}

void ThriftWriter::BinaryElement(std::string_view value) {
  PutVarint(value.size(), out_);
  out_->append(value);
}

}  // namespace qorarc::parquet
