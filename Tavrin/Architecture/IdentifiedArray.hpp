#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Tavrin/Foundation/CopyOnWrite.hpp"

namespace tavrin {

/// An ordered collection with at most one element per identifier, the element's `id` field.
/// Copies share storage until one of them is changed.
template <class Id, class Element>
class IdentifiedArray {
 public:
  using const_iterator = typename std::vector<Element>::const_iterator;

  IdentifiedArray() = default;
  /// Takes the elements in order; of those with one identifier, the first.
  explicit IdentifiedArray(std::vector<Element> elements) {
    auto& storage = storage_.mutate();
    storage.elements.reserve(elements.size());
    storage.positions.reserve(elements.size());
    for (auto& element : elements) storage.append(std::move(element));
  }

  std::int64_t count() const { return static_cast<std::int64_t>(storage_->elements.size()); }
  bool isEmpty() const { return count() == 0; }
  const_iterator begin() const { return storage_->elements.begin(); }
  const_iterator end() const { return storage_->elements.end(); }

  /// The element at a position, which must lie inside the collection.
  const Element& operator[](std::int64_t position) const {
    return storage_->elements[static_cast<std::size_t>(position)];
  }
  /// The element with the identifier, or absent.
  std::optional<Element> operator[](const Id& id) const {
    const auto position = index(id);
    return position ? std::optional<Element>((*this)[*position]) : std::nullopt;
  }
  /// The position of the element with the identifier, or absent.
  std::optional<std::int64_t> index(const Id& id) const {
    const auto found = storage_->positions.find(id);
    if (found == storage_->positions.end()) return std::nullopt;
    return static_cast<std::int64_t>(found->second);
  }

  /// Adds the element at the end and returns true, or does nothing when its identifier is present.
  bool append(Element element) {
    if (index(element.id)) return false;
    return storage_.mutate().append(std::move(element));
  }

  friend bool operator==(const IdentifiedArray& a, const IdentifiedArray& b) {
    return a.storage_.sharesStorageWith(b.storage_) || a.storage_->elements == b.storage_->elements;
  }

 private:
  struct Storage {
    std::vector<Element> elements;
    std::unordered_map<Id, std::size_t> positions;

    bool append(Element element) {
      if (!positions.try_emplace(element.id, elements.size()).second) return false;
      elements.push_back(std::move(element));
      return true;
    }
  };

  CopyOnWrite<Storage> storage_;
};

/// The element at a position, or absent for any position outside the list.
template <class Id, class Element>
std::optional<Element> safe(const IdentifiedArray<Id, Element>& list, std::int64_t position) {
  if (position < 0 || position >= list.count()) return std::nullopt;
  return list[position];
}

}  // namespace tavrin
