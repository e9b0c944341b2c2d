#pragma once

#include <string>

namespace tavrin::testing {

/// Whether this user may make a network and mounts of a process's own. Tried in another process.
bool canEnterPrivateNetwork();

/// Gives this process, which must have one thread, a loopback interface of its own on which a name
/// server swallows every question, and `authority` (a PEM file) as all that certificates are
/// checked against, unless it is empty. False, and half done, where that is not permitted.
bool enterPrivateNetwork(const std::string& authority = {});

}  // namespace tavrin::testing
