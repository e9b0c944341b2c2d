#pragma once

#include <string>

namespace tavrin {

/// Why an asynchronous operation failed, as text for a person.
struct Error {
  std::string description;

  bool operator==(const Error&) const = default;
};

}  // namespace tavrin
