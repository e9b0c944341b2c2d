#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "Tavrin/Foundation/Error.hpp"
#include "Tavrin/Foundation/Mutex.hpp"

namespace tavrin::app {

/// A JSON value whose names keep their order.
using TraceValue = nlohmann::ordered_json;

/// A record of a run: one JSON object per line with "t", seconds since the start, "kind", "name",
/// "args" and, for an action, "state", the fields that it changed. Any thread.
class Trace {
 public:
  enum class Kind { action, cache, player, download, note };

  /// Replaces the file.
  static std::variant<std::shared_ptr<Trace>, Error> open(const std::string& path);
  /// A trace that is kept nowhere.
  static std::shared_ptr<Trace> none();

  /// Whether what is written is kept.
  bool isKept() const { return file_ != nullptr; }
  /// Writes a line; it is on its way to the disk when this returns.
  void write(Kind kind, std::string_view name, const TraceValue& args = TraceValue::object(),
             const std::optional<TraceValue>& state = std::nullopt);
  /// Whether a line could not be written.
  bool hasFailed() const;
  /// Seconds since the start of the run.
  double seconds() const;

 private:
  struct Close {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
  };

  explicit Trace(std::FILE* file) : file_(file) {}

  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  const std::unique_ptr<std::FILE, Close> file_;  // absent when the trace is kept nowhere
  mutable Mutex mutex_;
  bool hasFailed_ TAVRIN_GUARDED_BY(mutex_) = false;
};

}  // namespace tavrin::app
