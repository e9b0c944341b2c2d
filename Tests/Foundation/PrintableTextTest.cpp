#include <gtest/gtest.h>

#include "Tavrin/Foundation/PrintableText.hpp"

namespace tavrin {
namespace {

TEST(PrintableText, ShowsWhatATerminalWouldObeyAndNothingElse) {
  for (const char* kept : {"", "https://host/a%20b.mp4?x=1", "C:\\x1b",
                           "Größe 体操 תרגיל 🏋🏽‍♀️"}) {
    EXPECT_EQ(printable(kept), kept);
  }
  using namespace std::string_view_literals;
  EXPECT_EQ(printable("a\x1b[31m\r\nb\0\x7f"sv), "a\\x1b[31m\\x0d\\x0ab\\x00\\x7f");
  EXPECT_EQ(printable("\u009b31m \u0085 \u202egpj \u2066 \u200f \u2028"),
            "\\u009b31m \\u0085 \\u202egpj \\u2066 \\u200f \\u2028");
  // Cut, overlong, a surrogate's half, beyond the last character.
  EXPECT_EQ(printable("\x9b\xc3"), "\\x9b\\xc3");
  EXPECT_EQ(printable("\xc0\x9b \xe0\x82\x9b"), "\\xc0\\x9b \\xe0\\x82\\x9b");
  EXPECT_EQ(printable("\xed\xa0\x80 \xf4\x90\x80\x80"), "\\xed\\xa0\\x80 \\xf4\\x90\\x80\\x80");
}

}  // namespace
}  // namespace tavrin
