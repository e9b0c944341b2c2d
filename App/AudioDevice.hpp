#pragma once

namespace tavrin::app {

/// Whether sound can be heard on this machine. Without a device each video would look for one anew,
/// in vain. Main queue only.
bool hasAudioDevice();

}  // namespace tavrin::app
