#include "Tavrin/Foundation/ResponseTest.hpp"
#include "Tavrin/Foundation/URLSession.hpp"

namespace tavrin {

Error refusalOf(const URLResponse& response) {
  return {ErrorCode::notAccepted, "The server answered with " +
                                      response.mimeType.value_or("something else") +
                                      " in the place of a video"};
}

}  // namespace tavrin
