#pragma once

#include <functional>

#include "Tavrin/Foundation/Error.hpp"

namespace tavrin {

struct URLResponse;

/// Decides by a server's answer whether what follows can be the video. Called on a download's own
/// serial queue, or a stream's.
using ResponseTest = std::function<bool(const URLResponse&)>;

/// What is told of an answer that such a test refuses: `ErrorCode::notAccepted`.
Error refusalOf(const URLResponse& response);

}  // namespace tavrin
