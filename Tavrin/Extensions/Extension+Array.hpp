#pragma once

#include <cstdint>
#include <optional>

#include "Architecture/IdentifiedArray.hpp"

namespace tavrin {

/// The element at a position, or absent for any position outside the list.
template <class Id, class Element>
std::optional<Element> safe(const IdentifiedArray<Id, Element>& list, std::int64_t position) {
  if (position < 0 || position >= list.count()) return std::nullopt;
  return list[position];
}

}  // namespace tavrin
