#include "Tavrin/View/UIColor.hpp"

#include <locale>
#include <sstream>
#include <string>

namespace tavrin {

// The catalogue holds "red green blue alpha" as text in <name>.color.
std::shared_ptr<const UIColor> UIColor::named(std::string_view name, const Bundle& bundle) {
  const auto contents = bundle.resource(std::string(name) + ".color");
  if (!contents) return nullptr;
  std::istringstream text{std::string(contents->text())};
  text.imbue(std::locale::classic());
  UIColor color;
  text >> color.red >> color.green >> color.blue >> color.alpha;
  if (!text) return nullptr;
  return std::make_shared<const UIColor>(color);
}

}  // namespace tavrin
