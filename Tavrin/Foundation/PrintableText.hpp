#pragma once

#include <string>
#include <string_view>

namespace tavrin {

/// The text as it may go to a terminal or a log, in one line, whoever wrote it. A control character
/// is shown as "\x1b", one of Unicode's (also those that change the direction of the text) as
/// "\u202e", a byte that is no UTF-8 as "\xff". All else stays as it is. Any thread.
std::string printable(std::string_view text);

}  // namespace tavrin
