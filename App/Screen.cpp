#include "App/Screen.hpp"

#include <algorithm>
#include <cmath>
#include <string>

#include "App/FailureCard.hpp"
#include "App/Palette.hpp"
#include "App/ScreenText.hpp"
#include "Tavrin/Resources/TavrinAsset.hpp"

namespace tavrin::app {

namespace {

using Weight = TextStyle::Weight;
using Align = TextStyle::Align;
using Kind = ScreenControl::Kind;
using namespace palette;

Rect fitted(double width, double height, const Rect& into) {
  const double scale = std::min(into.width / width, into.height / height);
  const Size size{width * scale, height * scale};
  return {into.x + (into.width - size.width) / 2, into.y + (into.height - size.height) / 2,
          size.width, size.height};
}

class ScreenPainter {
 public:
  ScreenPainter(Canvas& canvas, const ScreenModel& model, std::optional<ScreenControl> hovered)
      : canvas_(canvas),
        model_(model),
        hovered_(hovered),
        layout_(ScreenLayout::make(canvas.size(), count(), model.current)),
        accent_(*TavrinAsset::Assets::accentColor().color()) {}

  void paint() {
    const auto [width, height] = canvas_.size();
    canvas_.fill({0, 0, width, height}, background);
    paintStage();
    if (layout_.header.height > 0) paintHeader();
    paintProgress();
    paintControls();
    for (std::size_t i = 0; i < layout_.items.size(); ++i) {
      const auto position = layout_.firstItem + static_cast<std::int64_t>(i);
      paintItem(layout_.items[i], position);
    }
  }

 private:
  std::int64_t count() const { return static_cast<std::int64_t>(model_.items.size()); }
  const ScreenModel::Item& item(std::int64_t position) const {
    return model_.items[static_cast<std::size_t>(position)];
  }
  bool isHovered(ScreenControl control) const { return hovered_ == control; }

  std::string place() const {
    return std::to_string(*model_.current + 1) + " of " + std::to_string(count());
  }

  void paintHeader() {
    const auto& header = layout_.header;
    const bool isTall = header.height > 50;
    paintIcon(TavrinAsset::Assets::icBack(), layout_.leave, 22, true, {Kind::leave});
    const double left = layout_.leave.x + layout_.leave.width + 4;
    double right = header.width - 16;
    if (model_.current) {
      const TextStyle small{.size = 13, .weight = Weight::medium, .align = Align::center};
      const double width = canvas_.widthOf(place(), small) + 20;
      const Rect pill{right - width, header.height / 2 - 13, width, 26};
      canvas_.fill(pill, panelRaised, 13);
      canvas_.text(place(), pill, secondary, small);
      right = pill.x - 12;
    }
    const double room = std::max(0.0, right - left);
    const TextStyle title{.size = isTall ? 17.0 : 15.0, .weight = Weight::semibold};
    canvas_.text(model_.title, {left, 0, room, header.height}, primary, title);
    if (!model_.current) return;
    const double used = canvas_.widthOf(model_.title, title) + 24;
    if (room - used < 60) return;
    canvas_.text(item(*model_.current).name, {left + used, 0, room - used, header.height},
                 secondary, {.size = 14, .align = Align::trailing});
  }

  void paintStage() {
    const auto& stage = layout_.stage;
    canvas_.fill(stage, palette::stage);
    switch (model_.stage) {
      case ScreenModel::Stage::failed:
        return paintCard();
      case ScreenModel::Stage::shown: {
        const bool isDrawn =
            model_.isVideo() ? canvas_.picture(stage, model_.drawVideo) : model_.image != nullptr;
        if (model_.image && !model_.isVideo()) {
          canvas_.bitmap(*model_.image, fitted(model_.image->width, model_.image->height, stage));
        }
        if (!isDrawn) return paintNote("Loading");
        if (!model_.note.empty()) paintNote(model_.note);
        return;
      }
      case ScreenModel::Stage::loading:
        return paintNote(model_.note);
      case ScreenModel::Stage::empty:
        canvas_.text(model_.title, inset(stage, 24), primary,
                     {.size = 24, .weight = Weight::semibold, .align = Align::center});
    }
  }

  void paintNote(const std::string& note) {
    const TextStyle style{.size = 13, .weight = Weight::medium, .align = Align::center};
    const auto& stage = layout_.stage;
    const double width = std::min(canvas_.widthOf(note, style) + 32, stage.width - 8);
    const Rect pill{stage.x + (stage.width - width) / 2, stage.y + stage.height / 2 - 17, width,
                    34};
    auto shade = panelRaised;
    shade.alpha = 0.92;
    canvas_.fill(pill, shade, 17);
    canvas_.text(note, inset(pill, 8), secondary, style);
  }

  void paintCard() {
    const auto& failed = item(*model_.current);
    const auto text = "Item " + place() + "  ·  " + failed.name;
    FailureCard{*kindIcon(failed).image(), text, model_.failure}.draw(canvas_, layout_.stage);
  }

  // What has been played lies on what has come, and that on the whole.
  void paintProgress() {
    const auto& bar = layout_.progress;
    const auto paintPart = [&](double part, const UIColor& color) {
      canvas_.fill({bar.x, bar.y, std::max(bar.height, bar.width * part), bar.height}, color, 2);
    };
    canvas_.fill(bar, track, 2);
    if (model_.loaded > 0) paintPart(model_.loaded, loaded);
    if (!model_.duration || *model_.duration <= 0) return;
    const double part = std::clamp(model_.seconds / *model_.duration, 0.0, 1.0);
    paintPart(part, accent_);
    if (!model_.canSeek) return;
    const double side = isHovered({Kind::position}) ? 14 : 10;
    canvas_.fill({bar.x + bar.width * part - side / 2, bar.y + (bar.height - side) / 2, side, side},
                 accent_, side / 2);
  }

  void paintControls() {
    using namespace TavrinAsset::Assets;
    const auto& button = layout_.playPause;
    const bool canPlay = model_.isVideo() && model_.stage == ScreenModel::Stage::shown;
    auto disc = canPlay ? accent_ : panelRaised;
    if (canPlay && isHovered({Kind::playPause})) disc = rgb(0x4CE6BC);
    canvas_.fill(button, disc, button.width / 2);
    const auto& onDisc = canPlay ? onAccent : disabled;
    if (model_.isPlaying) {
      canvas_.icon(*icPause().image(), inset(button, button.width * 0.26), onDisc);
    } else {
      const double side = button.width;
      canvas_.triangle({button.x + side * 0.40, button.y + side * 0.33, side * 0.28, side * 0.34},
                       onDisc);
    }
    paintIcon(icPrevious(), layout_.previous, 24, model_.canGoBack, {Kind::previous});
    paintIcon(icNext(), layout_.next, 24, model_.canGoOn, {Kind::next});
    paintIcon(model_.isMuted ? mutedButton() : muteButton(), layout_.mute, 24, true, {Kind::mute});

    const Rect left{layout_.progress.x, layout_.controls.y + 10,
                    layout_.previous.x - layout_.progress.x - 8, layout_.controls.height - 6};
    // A part of a time would be another time.
    const TextStyle style{.size = 13, .weight = Weight::medium};
    const auto text = positionText();
    if (canvas_.widthOf(text, style) <= left.width) canvas_.text(text, left, secondary, style);
    paintDownloads();
  }

  void paintDownloads() {
    const double start = layout_.next.x + layout_.next.width + 16;
    const Rect room{start, layout_.controls.y + 10, layout_.mute.x - 8 - start,
                    layout_.controls.height - 6};
    constexpr double least = 90;
    if (model_.downloads.empty() || room.width < least) return;
    canvas_.text(model_.downloads, room, faint, {.size = 12, .align = Align::trailing});
  }

  std::string positionText() const {
    if (model_.stage != ScreenModel::Stage::shown) return "";
    if (!model_.isVideo()) return "Animated image";
    if (!model_.duration) return clockText(model_.seconds);
    return clockText(model_.seconds) + " / " + clockText(std::round(*model_.duration));
  }

  void paintIcon(const TavrinImages& icon, const Rect& button, double side, bool isEnabled,
                 ScreenControl control) {
    if (isEnabled && isHovered(control)) canvas_.fill(button, panelRaised, button.width / 2);
    canvas_.icon(*icon.image(), inset(button, (button.width - side) / 2),
                 isEnabled ? primary : disabled);
  }

  static const TavrinImages& kindIcon(const ScreenModel::Item& item) {
    return item.isVideo ? TavrinAsset::Assets::icDetailsVideo()
                        : TavrinAsset::Assets::icDetailsTime();
  }

  struct Look {
    std::string label;
    UIColor color;
  };
  Look lookOf(const ScreenModel::Item& item) const {
    if (item.hasFailed) return {"could not load", red};
    if (!item.cache) return {"image", secondary};
    if (*item.cache == CacheState::inMemory) return {"in memory", accent_};
    if (*item.cache == CacheState::onDisk) return {"on disk", blue};
    if (!item.download) return {"streaming", amber};
    const auto come = progressText(*item.download);
    return {come.empty() ? "to load" : "loading " + come, amber};
  }

  void paintItem(const Rect& rect, std::int64_t position) {
    const auto& shown = item(position);
    const auto look = lookOf(shown);
    const bool isCurrent = model_.current == position;
    if (!layout_.itemsHaveNames) {
      auto color = look.color;
      color.alpha = isCurrent ? 1 : 0.4;
      return canvas_.fill(rect, color, 3);
    }
    const bool isRaised = isCurrent || isHovered({Kind::item, position});
    canvas_.fill(rect, isRaised ? panelRaised : panel, 10);
    if (isCurrent) canvas_.outline(rect, accent_, 10, 1.5);
    const Rect icon{rect.x + 12, rect.y + 10, 16, 16};
    canvas_.icon(*kindIcon(shown).image(), icon, isCurrent ? primary : secondary);
    const double left = icon.x + 22;
    const double room = rect.x + rect.width - 8 - left;
    canvas_.text(shown.name, {left, rect.y + 8, room, 20}, isCurrent ? primary : secondary,
                 {.size = 13, .weight = Weight::medium});
    canvas_.fill({icon.x + 5, rect.y + 36, 6, 6}, look.color, 3);
    canvas_.text(look.label, {left, rect.y + 30, room, 18}, secondary, {.size = 11.5});
  }

  Canvas& canvas_;
  const ScreenModel& model_;
  const std::optional<ScreenControl> hovered_;
  const ScreenLayout layout_;
  const UIColor accent_;
};

}  // namespace

void drawScreen(Canvas& canvas, const ScreenModel& model, std::optional<ScreenControl> hovered) {
  ScreenPainter(canvas, model, hovered).paint();
}

}  // namespace tavrin::app
