#include "App/Trace.hpp"

#include <array>
#include <cerrno>
#include <cmath>
#include <system_error>

namespace tavrin::app {

std::variant<std::shared_ptr<Trace>, Error> Trace::open(const std::string& path) {
  auto* file = std::fopen(path.c_str(), "we");
  if (file == nullptr) return Error{std::generic_category().message(errno)};
  return std::shared_ptr<Trace>(new Trace(file));
}

std::shared_ptr<Trace> Trace::none() { return std::shared_ptr<Trace>(new Trace(nullptr)); }

void Trace::write(Kind kind, std::string_view name, const TraceValue& args,
                  const std::optional<TraceValue>& state) {
  if (!file_) return;
  constexpr std::array names = {"action", "cache", "player", "download", "note"};
  TraceValue event = {
      {"t", 0}, {"kind", names[static_cast<std::size_t>(kind)]}, {"name", name}, {"args", args}};
  if (state) event["state"] = *state;
  // The time is taken under the lock, so that it never goes back from one line to the next.
  const LockGuard lock(mutex_);
  event["t"] = std::round(seconds() * 1e6) / 1e6;
  auto line = event.dump(-1, ' ', false, TraceValue::error_handler_t::replace);
  line += '\n';
  const bool isWritten = std::fwrite(line.data(), 1, line.size(), file_.get()) == line.size() &&
                         std::fflush(file_.get()) == 0;
  if (!isWritten) hasFailed_ = true;
}

bool Trace::hasFailed() const {
  const LockGuard lock(mutex_);
  return hasFailed_;
}

double Trace::seconds() const {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

}  // namespace tavrin::app
