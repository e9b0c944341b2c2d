#pragma once

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin::benchmarks {

/// What a figure must reach.
struct Bar {
  enum class Comparison { atMost, atLeast };

  Comparison comparison;
  double limit;

  bool holds(double value) const {
    return comparison == Comparison::atMost ? value <= limit : value >= limit;
  }
  const char* symbol() const { return comparison == Comparison::atMost ? "<=" : ">="; }
};

inline Bar atMost(double limit) { return {Bar::Comparison::atMost, limit}; }
inline Bar atLeast(double limit) { return {Bar::Comparison::atLeast, limit}; }

/// The figures of one program: which were asked for, and whether all that were reported hold.
///
///     int main(int argc, char** argv) {
///       Figures figures(argc, argv);
///       if (figures.isWanted("store.send")) {
///         figures.report("store.send", measure(), "ns", atMost(200));
///       }
///       return figures.exitStatus();
///     }
class Figures {
 public:
  /// The arguments are prefixes of the ids to measure; without any, all are.
  Figures(int argc, char** argv) : prefixes_(argv + std::min(argc, 1), argv + argc) {}

  bool isWanted(std::string_view id) const {
    return prefixes_.empty() || std::ranges::any_of(prefixes_, [id](const auto& prefix) {
             return id.starts_with(prefix);
           });
  }

  /// Calls `group` when one of the ids that it reports is wanted.
  void measure(std::initializer_list<std::string_view> ids, void (*group)(Figures&)) {
    if (std::ranges::any_of(ids, [this](auto id) { return isWanted(id); })) group(*this);
  }

  /// Prints one line of JSON on standard output. A value that is no number falls short.
  void report(const std::string& id, double value, const std::string& unit, Bar bar) {
    const bool holds = bar.holds(value);
    allHold_ = allHold_ && holds;
    std::printf(R"({"id":"%s","value":%s,"unit":"%s","bar":"%s %s","holds":%s})"
                "\n",
                id.c_str(), number(value).c_str(), unit.c_str(), bar.symbol(),
                number(bar.limit).c_str(), holds ? "true" : "false");
    std::fflush(stdout);
  }

  /// 0 when every reported figure holds, else 1.
  int exitStatus() const { return allHold_ ? 0 : 1; }

 private:
  static std::string number(double value) {
    if (!std::isfinite(value)) return "null";
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", value);
    return text;
  }

  std::vector<std::string> prefixes_;
  bool allHold_ = true;
};

}  // namespace tavrin::benchmarks
