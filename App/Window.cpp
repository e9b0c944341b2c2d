#include "App/Window.hpp"

#include <SDL.h>

#include <algorithm>
#include <cstdlib>

#include "Tavrin/Foundation/PrintableText.hpp"

namespace tavrin::app {

namespace {

Error sdlError() { return Error{SDL_GetError()}; }

// Without a display the library would still find drivers that draw nowhere, or take the console.
bool hasDisplay() {
  constexpr const char* names[] = {"DISPLAY", "WAYLAND_DISPLAY", "SDL_VIDEODRIVER"};
  return std::ranges::any_of(names, [](const char* name) {
    const auto* value = std::getenv(name);  // NOLINT: the environment is left as it is
    return value != nullptr && *value != '\0';
  });
}

}  // namespace

void Window::Free::operator()(SDL_Window* window) const { SDL_DestroyWindow(window); }
void Window::Free::operator()(SDL_Renderer* renderer) const { SDL_DestroyRenderer(renderer); }
void Window::Free::operator()(SDL_Texture* texture) const { SDL_DestroyTexture(texture); }

std::variant<std::unique_ptr<Window>, Error> Window::open(const std::string& title, int width,
                                                          int height) {
  if (!hasDisplay()) return Error{"there is no display"};
  SDL_SetHint(SDL_HINT_VIDEO_ALLOW_SCREENSAVER, "0");
  if (SDL_Init(SDL_INIT_VIDEO) != 0) return sdlError();
  std::unique_ptr<Window> window(new Window);
  window->window_.reset(SDL_CreateWindow(
      printable(title).c_str(), SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED, width, height,
      static_cast<Uint32>(SDL_WINDOW_RESIZABLE) | static_cast<Uint32>(SDL_WINDOW_ALLOW_HIGHDPI)));
  if (!window->window_) return sdlError();
  SDL_SetWindowMinimumSize(window->window_.get(), 240, 160);
  window->renderer_.reset(SDL_CreateRenderer(window->window_.get(), -1, 0));
  if (!window->renderer_) {
    window->renderer_.reset(SDL_CreateRenderer(window->window_.get(), -1, SDL_RENDERER_SOFTWARE));
  }
  if (!window->renderer_) return sdlError();
  window->wakeUpEvent_ = SDL_RegisterEvents(1);
  DispatchQueue::main().setWakeUp([self = window.get()] { self->wake(); });
  return window;
}

Window::~Window() {
  DispatchQueue::main().setWakeUp({});
  texture_.reset();
  renderer_.reset();
  window_.reset();
  SDL_Quit();
}

void Window::wake() {
  SDL_Event event{};
  event.type = wakeUpEvent_;
  SDL_PushEvent(&event);
}

void Window::pictureIsNew() {
  if (!needsDrawing_.exchange(true)) wake();
}

void Window::run(WorkoutPlayer& player, const std::function<bool()>& tick) {
  constexpr int pause = 20;  // milliseconds
  bool hadJobs = false;
  while (!hasLeft_) {
    SDL_Event event;
    bool hasEvent = SDL_WaitEventTimeout(&event, hadJobs ? 0 : pause) == 1;
    for (; hasEvent; hasEvent = SDL_PollEvent(&event) == 1) handle(event, player);
    hadJobs = DispatchQueue::main().poll();
    if (!tick()) return;
    const auto frame = player.imageFrame(WorkoutPlayer::Clock::now());
    if (frame && frame->bitmap != image_) {
      image_ = frame->bitmap;
      needsDrawing_ = true;
    }
    if (needsDrawing_.exchange(false)) draw(player);
  }
}

void Window::handle(const SDL_Event& event, WorkoutPlayer& player) {
  switch (event.type) {
    case SDL_QUIT:
      hasLeft_ = true;
      return;
    case SDL_KEYDOWN:
      if (event.key.repeat == 0) {
        handleKey(event.key.keysym.sym, (event.key.keysym.mod & KMOD_SHIFT) != 0, player);
      }
      return;
    case SDL_MOUSEBUTTONDOWN:
      if (event.button.button == SDL_BUTTON_LEFT) pointAt(event.button.x, event.button.y, player);
      return;
    case SDL_MOUSEBUTTONUP:
      if (event.button.button == SDL_BUTTON_LEFT) isDragging_ = false;
      return;
    case SDL_MOUSEMOTION: {
      if (isDragging_) return drag(event.motion.x, player);
      const auto hovered = layout(player).controlAt(event.motion.x, event.motion.y);
      if (hovered != std::exchange(hovered_, hovered)) needsDrawing_ = true;
      return;
    }
    case SDL_WINDOWEVENT:
      needsDrawing_ = true;
      return;
    case SDL_RENDER_TARGETS_RESET:
    case SDL_RENDER_DEVICE_RESET:
      texture_.reset();
      needsDrawing_ = true;
      return;
    default:
      return;
  }
}

void Window::pointAt(int x, int y, WorkoutPlayer& player) {
  const auto control = layout(player).controlAt(x, y);
  if (!control) return;
  isDragging_ = control->kind == ScreenControl::Kind::position;
  isDragging_ ? drag(x, player) : press(*control, player);
}

void Window::drag(int x, WorkoutPlayer& player) const {
  player.seek(layout(player).partAt(x) * player.duration().value_or(0));
}

void Window::handleKey(std::int32_t key, bool hasShift, WorkoutPlayer& player) {
  using Kind = ScreenControl::Kind;
  constexpr double jump = 5;  // seconds
  const bool goesOn = key == SDLK_l || (hasShift && key == SDLK_RIGHT);
  const bool goesBack = key == SDLK_j || (hasShift && key == SDLK_LEFT);
  if (goesOn || goesBack) return player.seek(player.seconds() + (goesOn ? jump : -jump));
  switch (key) {
    case SDLK_SPACE:
      return press({Kind::playPause}, player);
    case SDLK_n:
    case SDLK_RIGHT:
      return press({Kind::next}, player);
    case SDLK_p:
    case SDLK_LEFT:
      return press({Kind::previous}, player);
    case SDLK_m:
      return press({Kind::mute}, player);
    case SDLK_q:
    case SDLK_ESCAPE:
      return press({Kind::leave}, player);
    default:
      if (key >= SDLK_1 && key <= SDLK_9) press({Kind::item, key - SDLK_1}, player);
  }
}

void Window::press(ScreenControl control, WorkoutPlayer& player) {
  using Kind = ScreenControl::Kind;
  switch (control.kind) {
    case Kind::leave:
      hasLeft_ = true;
      return;
    case Kind::previous:
      return player.previous();
    case Kind::next:
      return player.next();
    case Kind::mute:
      return player.toggleMute();
    case Kind::playPause:
      return player.isPlaying() ? player.pause() : player.play();
    case Kind::item:
      if (control.position < player.state().media().count()) player.set(control.position);
      return;
    case Kind::position:  // it is dragged
      return;
  }
}

ScreenLayout Window::layout(const WorkoutPlayer& player) const {
  int width = 0;
  int height = 0;
  SDL_GetWindowSize(window_.get(), &width, &height);
  const Size size{static_cast<double>(width), static_cast<double>(height)};
  return ScreenLayout::make(size, player.state().media().count(), player.target());
}

void Window::fitCanvas() {
  int points = 0;
  int width = 0;
  int height = 0;
  SDL_GetWindowSize(window_.get(), &points, nullptr);
  SDL_GetRendererOutputSize(renderer_.get(), &width, &height);
  width = std::max(width, 1);
  height = std::max(height, 1);
  if (canvas_ && texture_ && canvas_->width() == width && canvas_->height() == height) return;
  canvas_ = std::make_unique<Canvas>(width, height, std::max(1.0, double{1} * width / points));
  texture_.reset(SDL_CreateTexture(renderer_.get(), SDL_PIXELFORMAT_RGB888,
                                   SDL_TEXTUREACCESS_STREAMING, width, height));
}

void Window::draw(const WorkoutPlayer& player) {
  fitCanvas();
  if (!texture_) return;
  drawScreen(*canvas_, screenModel(player, WorkoutPlayer::Clock::now()), hovered_);
  SDL_UpdateTexture(texture_.get(), nullptr, canvas_->pixels(),
                    static_cast<int>(canvas_->stride()));
  SDL_RenderCopy(renderer_.get(), texture_.get(), nullptr, nullptr);
  SDL_RenderPresent(renderer_.get());
}

}  // namespace tavrin::app
