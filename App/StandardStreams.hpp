#pragma once

#include <string>

namespace tavrin::app {

/// Makes the program's standard streams safe to use; call it first. A stream that is closed is
/// opened at /dev/null: a file of the program would otherwise take its number and receive what is
/// printed. A pipe that nobody reads is a write that fails in place of the process's end.
void secureStandardStreams();

/// Writes a line to standard output at once, as a terminal may have it.
void print(const std::string& line);
/// Whether all that was printed has been taken.
bool isPrinted();
/// Writes a line to standard error, with the program's name in front.
void complain(const std::string& what);

}  // namespace tavrin::app
