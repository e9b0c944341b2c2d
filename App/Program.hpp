#pragma once

#include "App/Arguments.hpp"

namespace tavrin::app {

/// Does what the arguments ask for. The engine of every player made from now on is libmpv's. Main
/// queue only; returns when the run is over and the player has been released.
ExitStatus run(const Arguments& arguments);

}  // namespace tavrin::app
