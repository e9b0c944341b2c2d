#include <variant>

#include "App/Program.hpp"

int main(int count, char** values) {
  using namespace tavrin::app;
  const auto arguments = Arguments::parse(count, values);
  const auto* wanted = std::get_if<Arguments>(&arguments);
  const auto status = wanted ? run(*wanted) : std::get<ExitStatus>(arguments);
  return static_cast<int>(status);
}
