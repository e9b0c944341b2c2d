#include "App/AudioDevice.hpp"

#include <SDL.h>

namespace tavrin::app {

bool hasAudioDevice() {
  if (SDL_InitSubSystem(SDL_INIT_AUDIO) != 0) return false;
  const bool hasOne = SDL_GetNumAudioDevices(SDL_FALSE) > 0;
  SDL_QuitSubSystem(SDL_INIT_AUDIO);
  return hasOne;
}

}  // namespace tavrin::app
