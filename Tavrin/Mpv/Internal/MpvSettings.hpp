#pragma once

#include <span>

namespace tavrin {

struct MpvSetting {
  const char* name;
  const char* value;
  bool isNew = false;  // older versions of libmpv do not have it
};

/// What every handle is set to before it starts.
std::span<const MpvSetting> mpvSettings();

}  // namespace tavrin
