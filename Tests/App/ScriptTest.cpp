#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "App/Script.hpp"

namespace tavrin::app {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Kind = ScriptCommand::Kind;
using std::chrono::milliseconds;

std::string errorOf(std::string_view text) {
  const auto parsed = parseScript(text, 6);
  const auto* error = std::get_if<TextError>(&parsed);
  return error ? error->text() : "no error";
}

TEST(Script, ReadsEveryCommand) {
  const auto parsed = parseScript(
      "set 6; wait ready;wait 2s ; wait 1.5s;; wait 250ms\n"
      "# a comment; set 99\n"
      "next;prev;mute;pause;play;seek 3.5s; wait end; wait stored\n"
      "snapshot out of order.png; quit",
      6);
  const auto* script = std::get_if<Script>(&parsed);
  ASSERT_NE(script, nullptr);
  EXPECT_THAT(
      *script,
      ElementsAre(ScriptCommand{.kind = Kind::set, .number = 6}, ScriptCommand{Kind::waitReady},
                  ScriptCommand{.kind = Kind::waitTime, .duration = milliseconds(2000)},
                  ScriptCommand{.kind = Kind::waitTime, .duration = milliseconds(1500)},
                  ScriptCommand{.kind = Kind::waitTime, .duration = milliseconds(250)},
                  ScriptCommand{Kind::next}, ScriptCommand{Kind::previous},
                  ScriptCommand{Kind::mute}, ScriptCommand{Kind::pause}, ScriptCommand{Kind::play},
                  ScriptCommand{.kind = Kind::seek, .duration = milliseconds(3500)},
                  ScriptCommand{Kind::waitEnd}, ScriptCommand{Kind::waitStored},
                  ScriptCommand{.kind = Kind::snapshot, .path = "out of order.png"},
                  ScriptCommand{Kind::quit}));
}

TEST(Script, TellsWhereACommandIsWrong) {
  EXPECT_THAT(errorOf("next;\n  jump 3"), HasSubstr("line 2, column 3: \"jump\" is no command"));
  EXPECT_THAT(errorOf("next now"), HasSubstr("line 1, column 6: nothing may follow"));
  EXPECT_THAT(errorOf("set 1; snapshot"), HasSubstr("line 1, column 8: \"snapshot\" needs"));
  EXPECT_THAT(errorOf("mute; wait ready; set 1"), HasSubstr("line 1, column 7: there is no item"));
  for (const char* set :
       {"set", "set 0", "set 7", "set -1", "set x", "set 1 2", "set 99999999999999999999"}) {
    EXPECT_THAT(errorOf(set), HasSubstr("needs the number of an item, 1 to 6")) << set;
  }
  EXPECT_THAT(errorOf("seek 3"), HasSubstr("line 1, column 6: \"seek\" needs a time"));
  for (const char* wait : {"wait", "wait 2", "wait s", "wait -1s", "wait nans", "wait 1e9s",
                           "wait 86401s", "wait 2 s", "wait for it"}) {
    EXPECT_THAT(errorOf(wait), HasSubstr("\"wait\" needs")) << wait;
  }
}

}  // namespace
}  // namespace tavrin::app
