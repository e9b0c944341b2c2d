#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tavrin {

/// A universally unique identifier.
struct UUID {
  std::array<std::uint8_t, 16> bytes{};

  /// A random (version 4) identifier. Any thread.
  static UUID random();
  /// Reads the form "8-4-4-4-12" of hexadecimal digits, either case. Absent for anything else.
  static std::optional<UUID> parse(std::string_view text);
  /// The same form, in capitals.
  std::string text() const;

  auto operator<=>(const UUID&) const = default;
};

}  // namespace tavrin

template <>
struct std::hash<tavrin::UUID> {
  std::size_t operator()(const tavrin::UUID& id) const noexcept {
    return std::hash<std::string_view>{}(
        {reinterpret_cast<const char*>(id.bytes.data()), id.bytes.size()});
  }
};
