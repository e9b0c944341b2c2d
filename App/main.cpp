#include <malloc.h>

#include <variant>

#include "App/Program.hpp"
#include "App/StandardStreams.hpp"

int main(int count, char** values) {
  using namespace tavrin::app;
#ifdef M_ARENA_MAX
  // Each of libmpv's threads would otherwise keep the memory of its largest moment.
  mallopt(M_ARENA_MAX, 2);  // NOLINT: no other thread has begun
#endif
  secureStandardStreams();
  const auto arguments = Arguments::parse(count, values);
  const auto* wanted = std::get_if<Arguments>(&arguments);
  const auto status = wanted ? run(*wanted) : std::get<ExitStatus>(arguments);
  return static_cast<int>(status);
}
