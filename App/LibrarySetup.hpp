#pragma once

namespace tavrin::app {

/// Chooses the library's engine for the whole program.
void chooseEngine(bool hasSound);
/// Chooses the library's cache for the whole program: it keeps media alone, so that the page of a
/// network that wants a login is not kept in a video's place.
void chooseCache();

}  // namespace tavrin::app
