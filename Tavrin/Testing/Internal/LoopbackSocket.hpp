#pragma once

#include <cstdint>

#include "Tavrin/Foundation/FileDescriptor.hpp"

namespace tavrin::testing {

/// A socket that listens on a free port of the loopback interface. Stops the process when there is
/// none.
FileDescriptor listenOnLoopback();
std::uint16_t portOf(const FileDescriptor& socket);
/// Takes the next connection that waits, without blocking. Not open when none does.
FileDescriptor acceptFrom(const FileDescriptor& listener);
/// Not open when nobody listens there.
FileDescriptor connectToLoopback(std::uint16_t port);
/// Closing then discards what is unsent and resets the connection.
void resetOnClose(const FileDescriptor& socket);

}  // namespace tavrin::testing
