#include "App/StandardStreams.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <iostream>

#include "Tavrin/Foundation/PrintableText.hpp"

namespace tavrin::app {

void secureStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    // The lowest free number is the stream's: those before it are open.
    if (::fcntl(stream, F_GETFD) < 0) static_cast<void>(::open("/dev/null", O_RDWR));  // NOLINT
  }
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
}

void print(const std::string& line) { std::cout << printable(line) << '\n' << std::flush; }

bool isPrinted() { return std::cout.good(); }

void complain(const std::string& what) {
  std::cerr << "workout-player: " << printable(what) << '\n';
}

}  // namespace tavrin::app
