// A program that uses the module's resources, to be run at different places on disk.
#include <unistd.h>

#include "Tests/Resources/Probe/ResourceProbe.hpp"

int main(int argc, char** argv) {
  // The place the program was started from must not matter.
  if (argc != 2 || chdir("/") != 0) return 2;
  runProbe(argv[1]);
  return 0;
}
