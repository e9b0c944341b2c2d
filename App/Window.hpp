#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "App/Canvas.hpp"
#include "App/Screen.hpp"
#include "App/WorkoutPlayer.hpp"

struct SDL_Renderer;
struct SDL_Texture;
struct SDL_Window;
union SDL_Event;

namespace tavrin::app {

/// The player in a window. It owns the main thread while it runs, and pumps the main queue. Main
/// queue only, but for `pictureIsNew`.
class Window {
 public:
  /// Returns why there can be no window, such as that there is no display. `width` and `height` are
  /// in points.
  static std::variant<std::unique_ptr<Window>, Error> open(const std::string& title, int width,
                                                           int height);
  ~Window();
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  /// Has the window drawn again, soon. Any thread.
  void pictureIsNew();
  /// Shows the player until the person leaves or `tick`, called some fifty times a second, returns
  /// false.
  void run(WorkoutPlayer& player, const std::function<bool()>& tick);

 private:
  struct Free {
    void operator()(SDL_Window* window) const;
    void operator()(SDL_Renderer* renderer) const;
    void operator()(SDL_Texture* texture) const;
  };

  Window() = default;

  void wake();
  void handle(const SDL_Event& event, WorkoutPlayer& player);
  void handleKey(std::int32_t key, bool hasShift, WorkoutPlayer& player);
  void press(ScreenControl control, WorkoutPlayer& player);
  void pointAt(int x, int y, WorkoutPlayer& player);
  void drag(int x, WorkoutPlayer& player) const;
  ScreenLayout layout(const WorkoutPlayer& player) const;
  void fitCanvas();
  void draw(const WorkoutPlayer& player);

  std::uint32_t wakeUpEvent_ = 0;
  std::unique_ptr<SDL_Window, Free> window_;
  std::unique_ptr<SDL_Renderer, Free> renderer_;
  std::unique_ptr<SDL_Texture, Free> texture_;
  std::unique_ptr<Canvas> canvas_;
  std::optional<ScreenControl> hovered_;
  std::shared_ptr<const Bitmap> image_;  // drawn last
  bool isDragging_ = false;              // the position
  bool hasLeft_ = false;
  std::atomic<bool> needsDrawing_{true};
};

}  // namespace tavrin::app
