#include "App/ScreenLayout.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tavrin::app {

namespace {

constexpr double margin = 16;

bool contains(const Rect& rect, double x, double y) {
  return x >= rect.x && x < rect.x + rect.width && y >= rect.y && y < rect.y + rect.height;
}

// Higher by so much on both sides.
Rect grown(const Rect& rect, double by) {
  return {rect.x, rect.y - by, rect.width, rect.height + 2 * by};
}

Rect centred(double x, double y, double side) { return {x - side / 2, y - side / 2, side, side}; }

// As many items as fit, the current one among them.
void placeItems(ScreenLayout& layout, double width, double top, double height,
                std::int64_t itemCount, std::int64_t current) {
  const double gap = layout.itemsHaveNames ? 8 : 4;
  const double least = layout.itemsHaveNames ? 112 : 10;
  const double most = layout.itemsHaveNames ? 220 : 120;
  const double room = width - 2 * margin + gap;
  const auto fitting = std::max<std::int64_t>(1, std::llround(std::floor(room / (least + gap))));
  const auto shown = std::min(itemCount, fitting);
  layout.firstItem = std::clamp<std::int64_t>(current - shown / 2, 0, itemCount - shown);
  const double each = std::min(most, room / static_cast<double>(shown) - gap);
  const double taken = (each + gap) * static_cast<double>(shown) - gap;
  for (std::int64_t i = 0; i < shown; ++i) {
    const double x = (width - taken) / 2 + (each + gap) * static_cast<double>(i);
    layout.items.push_back({x, top, each, height});
  }
}

// The three that drive playback in the middle, the sound at the right edge; side by side where
// there is no room for that.
void placeButtons(ScreenLayout& layout, double width, double middle, double playSide) {
  constexpr double side = 40;
  double center = width / 2;
  double apart = playSide + 16;
  double mute = width - margin - side / 2 + 4;
  if (center + apart + side > mute) {
    apart = width / 4;
    center = apart * 1.5;
    mute = apart * 3.5;
    playSide = side;
  }
  layout.playPause = centred(center, middle, playSide);
  layout.previous = centred(center - apart, middle, side);
  layout.next = centred(center + apart, middle, side);
  layout.mute = centred(mute, middle, side);
}

}  // namespace

ScreenLayout ScreenLayout::make(Size screen, std::int64_t itemCount,
                                std::optional<std::int64_t> current) {
  ScreenLayout layout;
  const auto [width, height] = screen;
  const bool isTall = height >= 440;
  const bool hasHeader = height >= 240;
  const bool hasItems = height >= 180;
  layout.itemsHaveNames = isTall && width >= 420;

  const double headerHeight = hasHeader ? (isTall ? 56 : 40) : 0;
  const double itemHeight = hasItems ? (layout.itemsHaveNames ? 56 : 6) : 0;
  const double itemsHeight = hasItems ? itemHeight + margin : 0;
  const double controlsHeight = isTall ? 76 : 56;
  const double itemsTop = height - itemsHeight;
  const double controlsTop = itemsTop - controlsHeight;

  layout.header = {0, 0, width, headerHeight};
  layout.stage = {0, headerHeight, width, std::max(0.0, controlsTop - headerHeight)};
  layout.controls = {0, controlsTop, width, controlsHeight};
  layout.progress = {margin, controlsTop + 10, width - 2 * margin, 4};
  if (hasHeader) layout.leave = centred(margin + 14, headerHeight / 2, 40);

  const double middle = controlsTop + 10 + (controlsHeight - 10) / 2 + 2;
  placeButtons(layout, width, middle, isTall ? 48 : 40);
  if (hasItems && itemCount > 0) {
    placeItems(layout, width, itemsTop, itemHeight, itemCount, current.value_or(0));
  }
  return layout;
}

double ScreenLayout::partAt(double x) const {
  return std::clamp((x - progress.x) / std::max(1.0, progress.width), 0.0, 1.0);
}

std::optional<ScreenControl> ScreenLayout::controlAt(double x, double y) const {
  using Kind = ScreenControl::Kind;
  const std::pair<const Rect*, Kind> buttons[] = {{&leave, Kind::leave},
                                                  {&previous, Kind::previous},
                                                  {&playPause, Kind::playPause},
                                                  {&next, Kind::next},
                                                  {&mute, Kind::mute}};
  for (const auto& [rect, kind] : buttons) {
    if (contains(*rect, x, y)) return ScreenControl{kind};
  }
  if (contains(grown(progress, 8), x, y)) return ScreenControl{Kind::position};
  for (std::size_t i = 0; i < items.size(); ++i) {
    // A thin line is hard to hit.
    const Rect target = itemsHaveNames ? items[i] : grown(items[i], 6);
    if (contains(target, x, y)) {
      return ScreenControl{Kind::item, firstItem + static_cast<std::int64_t>(i)};
    }
  }
  return std::nullopt;
}

}  // namespace tavrin::app
