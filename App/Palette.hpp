#pragma once

#include "Tavrin/View/Geometry.hpp"
#include "Tavrin/View/UIColor.hpp"

// The colours of the screen, but for the module's own accent.
namespace tavrin::app::palette {

constexpr UIColor rgb(unsigned hex, double alpha = 1) {
  return {((hex >> 16U) & 255U) / 255.0, ((hex >> 8U) & 255U) / 255.0, (hex & 255U) / 255.0, alpha};
}

constexpr UIColor background = rgb(0x0C0F13);
constexpr UIColor stage = rgb(0x000000);
constexpr UIColor panel = rgb(0x171C22);
constexpr UIColor panelRaised = rgb(0x212830);
constexpr UIColor track = rgb(0x2B333C);
constexpr UIColor loaded = rgb(0x56626E);
constexpr UIColor primary = rgb(0xF3F6F8);
constexpr UIColor secondary = rgb(0x9DA8B3);
constexpr UIColor faint = rgb(0x76818C);
constexpr UIColor disabled = rgb(0x4A545E);
constexpr UIColor onAccent = rgb(0x06150F);
constexpr UIColor blue = rgb(0x7FB2FF);
constexpr UIColor amber = rgb(0xF6BE5B);
constexpr UIColor red = rgb(0xFF7A70);

}  // namespace tavrin::app::palette

namespace tavrin::app {

constexpr Rect inset(const Rect& rect, double by) {
  return {rect.x + by, rect.y + by, rect.width - 2 * by, rect.height - 2 * by};
}

}  // namespace tavrin::app
