#include "archive/value_elements.h"

namespace qorarc {
namespace {

using value_elements_internal::OrderedElement;

// Element i of a value as shown, as a double when `T` is; scalars have only
// element 0.
template <typename T>
T ShownElement(const ItemValue& value, int i) {
  const ValueCodeTraits& traits = TraitsOf(value.code);
  if (traits.shape != ValueShape::kArray) i = 0;
  const bool stored = traits.stored_order;
  switch (traits.shown) {
    case ElementType::kU8:
      return static_cast<T>(OrderedElement<uint8_t>(value.payload, i, stored));
    case ElementType::kI16:
      return static_cast<T>(OrderedElement<int16_t>(value.payload, i, stored));
    case ElementType::kU16:
      return static_cast<T>(OrderedElement<uint16_t>(value.payload, i, stored));
    case ElementType::kI32:
      return static_cast<T>(OrderedElement<int32_t>(value.payload, i, stored));
    case ElementType::kU32:
      return static_cast<T>(OrderedElement<uint32_t>(value.payload, i, stored));
    case ElementType::kI64:
      return static_cast<T>(OrderedElement<int64_t>(value.payload, i, stored));
    case ElementType::kF32:
      return static_cast<T>(OrderedElement<float>(value.payload, i, stored));
    case ElementType::kF64:
      return static_cast<T>(OrderedElement<double>(value.payload, i, stored));
    default:
      return T{-1};
  }
}

}  // namespace

int32_t IntegerElement(const ItemValue& value, int i) {
  if (CategoryOf(value.code) != ValueCategory::kInteger) return -1;
  return ShownElement<int32_t>(value, i);
}

double RealElement(const ItemValue& value, int i) {
  if (CategoryOf(value.code) != ValueCategory::kReal) return -1.0;
  return ShownElement<double>(value, i);
}

bool FlagElement(const ItemValue& value, int i) {
  if (TraitsOf(value.code).shown != ElementType::kBit) return false;
  return (value.payload[i / 8] >> (i % 8)) & 1;
}

}  // namespace qorarc
