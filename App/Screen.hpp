#pragma once

#include <optional>

#include "App/Canvas.hpp"
#include "App/ScreenLayout.hpp"
#include "App/ScreenModel.hpp"

namespace tavrin::app {

/// Draws what a person sees: the picture, the controls, the title, and how each item is doing. The
/// window and the snapshots draw by it. Main queue only.
void drawScreen(Canvas& canvas, const ScreenModel& model,
                std::optional<ScreenControl> hovered = std::nullopt);

}  // namespace tavrin::app
