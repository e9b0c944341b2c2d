#include <gtest/gtest.h>

#include <fstream>

#include "App/ByteRange.hpp"
#include "App/FolderServer.hpp"
#include "Tavrin/Testing/TemporaryDirectory.hpp"
#include "Tests/Support/Command.hpp"

namespace tavrin::app {
namespace {

TEST(ByteRange, IsReadAgainstTheSizeOfTheFile) {
  EXPECT_EQ(parseByteRange("bytes=0-", 10), (ByteRange{0, 10, true}));
  EXPECT_EQ(parseByteRange("bytes=2-3", 10), (ByteRange{2, 2, true}));
  EXPECT_EQ(parseByteRange("bytes=8-99", 10), (ByteRange{8, 2, true}));
  EXPECT_EQ(parseByteRange("bytes=-3", 10), (ByteRange{7, 3, true}));
  EXPECT_EQ(parseByteRange("bytes=-99", 10), (ByteRange{0, 10, true}));
  for (const char* outside : {"bytes=10-", "bytes=10-20", "bytes=-0"}) {
    EXPECT_EQ(parseByteRange(outside, 10), std::nullopt) << outside;
  }
  for (const char* none : {"", "bytes", "bytes=", "bytes=-", "bytes=5-2", "bytes=a-b",
                           "bytes=0-1,3-4", "lines=0-1", "bytes=99999999999999999999-"}) {
    EXPECT_EQ(parseByteRange(none, 10), ByteRange::whole(10)) << none;
  }
}

TEST(FolderServer, ServesTheNamedFilesAndNoOthers) {
  const testing::TemporaryDirectory folder;
  std::ofstream(folder.path() / "my clip.mp4") << "0123456789";
  std::ofstream(folder.path() / "secret.txt") << "secret";
  const auto started = FolderServer::start(
      folder.path().string(), {{"my clip.mp4", "video/mp4"}, {"missing.mp4", "video/mp4"}});
  ASSERT_TRUE(std::holds_alternative<std::unique_ptr<FolderServer>>(started));
  const auto address = std::get<0>(started)->address();
  const auto ask = [&](const std::string& arguments) {
    return testing::runCommand("curl -s -i --path-as-is " + arguments).output;
  };

  const auto whole = ask(address + "my%20clip.mp4");
  EXPECT_NE(whole.find("200 OK"), whole.npos) << whole;
  EXPECT_NE(whole.find("Content-Type: video/mp4"), whole.npos) << whole;
  EXPECT_NE(whole.find("0123456789"), whole.npos) << whole;
  const auto part = ask("-r 2-4 " + address + "my%20clip.mp4");
  EXPECT_NE(part.find("206 Partial Content"), part.npos) << part;
  EXPECT_NE(part.find("Content-Range: bytes 2-4/10"), part.npos) << part;
  EXPECT_TRUE(part.ends_with("\r\n\r\n234")) << part;
  const auto outside = ask("-r 10-20 " + address + "my%20clip.mp4");
  EXPECT_NE(outside.find("416"), outside.npos) << outside;
  for (const char* path : {"secret.txt", "missing.mp4", "", "../etc/passwd", "%2e%2e/secret.txt"}) {
    const auto answer = ask(address + path);
    EXPECT_NE(answer.find("404 Not Found"), answer.npos) << path << "\n" << answer;
  }
}

}  // namespace
}  // namespace tavrin::app
