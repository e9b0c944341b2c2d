#include "Tavrin/Foundation/FatalError.hpp"

#include <cstdio>
#include <cstdlib>

namespace tavrin {

void fatalError(std::string_view message) {
  static_cast<void>(std::fflush(stdout));
  static_cast<void>(
      std::fprintf(stderr, "%.*s\n", static_cast<int>(message.size()), message.data()));
  std::abort();
}

}  // namespace tavrin
