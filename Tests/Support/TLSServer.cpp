#include "Tests/Support/TLSServer.hpp"

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <utility>

#include "Tests/Support/Command.hpp"

namespace tavrin::testing {

TLSServer::TLSServer(std::string folder, const TLSCertificate& certificate)
    : folder_(std::move(folder)) {
  runCommand("cd " + folder_ +
             " && openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes"
             " -keyout key.pem -out request.pem -subj /CN=localhost"
             " -addext subjectAltName=" +
             certificate.names +
             " && openssl x509 -req -in request.pem -signkey key.pem -copy_extensions copy"
             " -out cert.pem -days " +
             std::to_string(certificate.days));
}

URL TLSServer::serve(const std::string& name, std::string_view answer) const {
  std::ofstream(folder_ + "/" + name) << answer;
  return *URL::parse("https://127.0.0.1:4433/" + name);
}

void TLSServer::start() const {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) std::abort();
  if (::fork() == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(ends[1], STDOUT_FILENO);
    const int nowhere = ::open("/dev/null", O_RDWR);
    ::dup2(nowhere, STDERR_FILENO);
    if (::chdir(folder_.c_str()) == 0) {
      ::execlp("openssl", "openssl", "s_server", "-HTTP", "-accept", "4433", "-key", "key.pem",
               "-cert", "cert.pem", nullptr);
    }
    ::_exit(127);
  }
  ::close(ends[1]);
  const std::unique_ptr<FILE, int (*)(FILE*)> output(::fdopen(ends[0], "r"), std::fclose);
  char line[256];
  while (std::fgets(line, sizeof line, output.get()) != nullptr) {
    if (std::string_view(line).starts_with("ACCEPT")) return;
  }
}

}  // namespace tavrin::testing
