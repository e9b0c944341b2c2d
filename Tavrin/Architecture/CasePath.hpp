#pragma once

#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

namespace tavrin {

/// The payload of a case that has none.
using EmptyPayload = std::monostate;

/// Embeds a payload into one case of an enumeration, and extracts it from there.
///
/// `Case` is an alternative of `Root::Cases`, the variant in the root's field `value`, and names
/// its payload's type `Payload`. `Case::payload()` reads it.
template <class Root, class Case>
struct CasePath {
  using Payload = typename Case::Payload;

  Root embed(Payload payload) const {
    if constexpr (std::is_same_v<Payload, EmptyPayload>) {
      return Root{Case{}};
    } else {
      return Root{Case{std::move(payload)}};
    }
  }
  /// Absent when the root is another case.
  std::optional<Payload> extract(const Root& root) const {
    const auto* found = std::get_if<Case>(&root.value);
    return found ? std::optional<Payload>(found->payload()) : std::nullopt;
  }
};

/// A case without a payload. A distinct type for each `Tag`.
template <class Tag>
struct EmptyCase {
  using Payload = EmptyPayload;
  Payload payload() const { return {}; }
  bool operator==(const EmptyCase&) const = default;
};

/// A case with one payload. A distinct type for each `Tag`.
template <class Tag, class PayloadType>
struct PayloadCase {
  using Payload = PayloadType;
  Payload values;
  const Payload& payload() const { return values; }
  bool operator==(const PayloadCase&) const = default;
};

}  // namespace tavrin
