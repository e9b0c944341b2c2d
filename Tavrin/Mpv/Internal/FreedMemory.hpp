#pragma once

namespace tavrin {

/// Gives the system back, soon and on another thread, what this process has freed and its allocator
/// keeps. Finding out what a clip holds decodes some of it, on threads with a heap each: what that
/// leaves behind is three times as much as a paused clip needs. Any thread.
void giveBackFreedMemory();

}  // namespace tavrin
