#include <gtest/gtest.h>

#include <string>

#include "Tavrin/Foundation/URL.hpp"

namespace tavrin {
namespace {

TEST(URL, KeepsEveryByteAndRefusesOnlySpacesAndControls) {
  for (const char* text : {"http://h/a[1]|b.mp4?q=[x]|y#f", "HTTP://H/\xC3\xA9.mp4", "a/b", "%zz",
                           "http://u:p@[::1]:8080/x", "mailto:a@b", "//h/x", "?q", "#f"}) {
    const auto url = URL::parse(text);
    ASSERT_TRUE(url) << text;
    EXPECT_EQ(url->absoluteString(), text);
    EXPECT_EQ(URLComponents::split(*url)->url(), url) << text;
  }
  for (const auto& text : {std::string(), std::string("a b"), std::string("a\nb"),
                           std::string("a\x7F"), std::string("a\0b", 3)}) {
    EXPECT_FALSE(URL::parse(text)) << text;
  }
}

TEST(URL, TellsASchemeFromOtherColons) {
  EXPECT_EQ(URL::parse("https://h/x")->scheme(), "https");
  EXPECT_EQ(URL::parse("clip.mp4")->scheme(), std::nullopt);
  EXPECT_EQ(URL::parse("a/b:c")->scheme(), std::nullopt);
  EXPECT_EQ(URL::parse("?a:b")->scheme(), std::nullopt);
  EXPECT_EQ(URL::parse("1a://h")->scheme(), std::nullopt);
  EXPECT_FALSE(URLComponents::split(*URL::parse("1a://h")));
}

TEST(URL, AnotherSchemeChangesNothingElse) {
  auto components = URLComponents::split(*URL::parse("http://u@h:1//a%20b/?q=http://x#f:g"));
  components->scheme = "private";
  EXPECT_EQ(components->url()->absoluteString(), "private://u@h:1//a%20b/?q=http://x#f:g");
  components->scheme = "not valid";
  EXPECT_EQ(components->url(), std::nullopt);
}

TEST(URL, TheLastPathComponentIsDecodedWithoutQueryAndFragment) {
  const auto last = [](const char* text) { return URL::parse(text)->lastPathComponent(); };
  EXPECT_EQ(last("http://h/a/b.mp4?x=/y#/z"), "b.mp4");
  EXPECT_EQ(last("http://h/a/b/"), "b");
  EXPECT_EQ(last("http://h/"), "/");
  EXPECT_EQ(last("http://h"), "");
  EXPECT_EQ(last("http://h/b%20c.mp4"), "b c.mp4");
  EXPECT_EQ(last("http://h/100%"), "100%");
  EXPECT_EQ(last("http://h/%2e%2E"), "..");
  EXPECT_EQ(last("http://h/a%2Fb"), "a/b");
  EXPECT_EQ(last("http://h/a%00b"), std::string("a\0b", 3));
}

}  // namespace
}  // namespace tavrin
