#include "App/FailureCard.hpp"

#include <algorithm>
#include <vector>

#include "App/Palette.hpp"

namespace tavrin::app {

namespace {

struct Paragraph {
  std::string text;
  UIColor color;
  TextStyle style;
};

// One way to fill the card, with more or less in it.
struct Filling {
  double iconSide = 0;  // absent when 0
  std::vector<Paragraph> paragraphs;

  double height(const Canvas& canvas, double width) const {
    double height = iconSide > 0 ? iconSide + gap : 0;
    for (const auto& each : paragraphs) {
      height += canvas.heightOf(each.text, width, each.style) + gap;
    }
    return height - gap;
  }

  static constexpr double gap = 8;
};

// From the one with everything to the smallest.
std::vector<Filling> fillings(const FailureCard& card) {
  using Weight = TextStyle::Weight;
  constexpr auto center = TextStyle::Align::center;
  const auto title = [](double size) {
    return Paragraph{"Could not load",
                     palette::primary,
                     {.size = size, .weight = Weight::semibold, .align = center}};
  };
  const auto line = [](const std::string& text, const UIColor& color, double size) {
    return Paragraph{text, color, {.size = size, .align = center}};
  };
  const auto item = line(card.item, palette::secondary, 13);
  const auto why = line(card.why, palette::faint, 13);
  const auto smallWhy = line(card.why, palette::secondary, 11);
  return {{44, {title(17), item, why}},
          {0, {title(17), item, why}},
          {0, {title(15), why}},
          {0, {title(13), smallWhy}},
          {0, {card.why.empty() ? title(13) : smallWhy}}};
}

}  // namespace

void FailureCard::draw(Canvas& canvas, const Rect& stage) const {
  const double edge = stage.height >= 190 ? 20 : 8;
  const double width = std::max(1.0, std::min(480.0, stage.width - 24) - 2 * edge);
  const double room = std::max(1.0, stage.height - 8 - 2 * edge);
  const auto all = fillings(*this);
  const auto fitting = std::ranges::find_if(
      all, [&](const Filling& each) { return each.height(canvas, width) <= room; });
  const auto& filling = fitting == all.end() ? all.back() : *fitting;

  const double height = std::min(filling.height(canvas, width), room);
  const Rect inside{stage.x + (stage.width - width) / 2, stage.y + (stage.height - height) / 2,
                    width, height};
  const auto card = inset(inside, -edge);
  canvas.fill(card, palette::panel, 16);
  canvas.outline(card, palette::panelRaised, 16, 1);
  double y = inside.y;
  if (filling.iconSide > 0) {
    const double side = filling.iconSide;
    const Rect disc{inside.x + (width - side) / 2, y, side, side};
    auto tint = palette::red;
    tint.alpha = 0.16;
    canvas.fill(disc, tint, side / 2);
    canvas.icon(icon, inset(disc, side / 4), palette::red);
    y += side + Filling::gap;
  }
  for (const auto& each : filling.paragraphs) {
    const double left = inside.y + height - y;
    const double taken = std::min(left, canvas.heightOf(each.text, width, each.style));
    canvas.paragraph(each.text, {inside.x, y, width, taken}, each.color, each.style);
    y += taken + Filling::gap;
  }
}

}  // namespace tavrin::app
