#pragma once

#include <string>

/// Uses the module's resources and prints what it found.
void runProbe(const std::string& command);
