#include <gtest/gtest.h>

#include <filesystem>

#include "Tavrin/Testing/TemporaryDirectory.hpp"
#include "Tests/Support/Command.hpp"

// Runs a program that uses the resources, at every place where they must be found. A build whose
// module is a shared library has no such program.
#ifdef TAVRIN_PROBE

namespace tavrin {
namespace {

namespace fs = std::filesystem;
using testing::CommandResult;
using testing::runCommand;

class BundleLookupTest : public ::testing::Test {
 protected:
  static void install(const fs::path& prefix) {
    const auto result = runCommand(TAVRIN_CMAKE " --install " TAVRIN_BUILD_DIR
                                                " --component TavrinResources --prefix " +
                                   prefix.string());
    ASSERT_EQ(result.status, 0) << result.output;
  }
  static fs::path copy(const fs::path& file, const fs::path& directory) {
    fs::create_directories(directory);
    fs::copy_file(file, directory / file.filename());
    return directory / file.filename();
  }
  static CommandResult run(const fs::path& program, const std::string& command,
                           const std::string& before = "") {
    return runCommand(before + " " + program.string() + " '" + command + "'");
  }
  static std::string used(const fs::path& prefix) {
    const auto directory = (prefix / "share/tavrin/Resources").string() + "\n";
    return directory + directory + "48\n1\n";
  }

  testing::TemporaryDirectory temporary;
  const fs::path root = fs::canonical(temporary.path());
};

TEST_F(BundleLookupTest, FromTheBuildTree) {
  EXPECT_EQ(run(TAVRIN_PROBE, "use").output, used(TAVRIN_BUILD_DIR));
  EXPECT_EQ(run(TAVRIN_PROBE_SHARED, "use").output, used(TAVRIN_BUILD_DIR));
}

TEST_F(BundleLookupTest, FromAnExecutableInAPrefixAndAfterItMoved) {
  install(root / "prefix");
  const auto program = copy(TAVRIN_PROBE, root / "prefix/bin");
  EXPECT_EQ(run(program, "use").output, used(root / "prefix"));

  fs::rename(root / "prefix", root / "other place");
  const auto inPlace = "cd '" + (root / "other place").string() + "' && ";
  EXPECT_EQ(run("bin/ResourceProbe", "use", inPlace).output, used(root / "other place"));
}

// The executable lies elsewhere: what counts is where the library is.
TEST_F(BundleLookupTest, FromASharedLibraryInAPrefixAndAfterItMoved) {
  install(root / "prefix");
  const auto program = copy(TAVRIN_PROBE_SHARED, root / "elsewhere/bin");
  for (const auto* folder : {"lib", "lib/x86_64-linux-gnu"}) {
    const auto library = copy(TAVRIN_PROBE_LIBRARY, root / "prefix" / folder);
    const auto path = "LD_LIBRARY_PATH=" + library.parent_path().string();
    EXPECT_EQ(run(program, "use", path).output, used(root / "prefix"));
    fs::remove(library);
  }

  copy(TAVRIN_PROBE_LIBRARY, root / "prefix/lib");
  fs::rename(root / "prefix", root / "moved");
  const auto inPlace = "cd " + (root / "moved").string() + " && LD_LIBRARY_PATH=lib";
  EXPECT_EQ(run(program, "use", inPlace).output, used(root / "moved"))
      << "found by a relative name, which the program's change of directory makes wrong";
}

TEST_F(BundleLookupTest, AMissingAssetStopsTheProcessOrIsAbsent) {
  const auto program = copy(TAVRIN_PROBE, root / "bare/bin");
  const auto firstLine = [](const std::string& text) { return text.substr(0, text.find('\n')); };

  auto result = run(program, "image");
  EXPECT_EQ(result.status, 134);
  EXPECT_EQ(firstLine(result.output), "Unable to load image asset named muted_button.");
  result = run(program, "color");
  EXPECT_EQ(result.status, 134);
  EXPECT_EQ(firstLine(result.output), "Unable to load color asset named AccentColor.");
  for (const auto* command : {"image resource", "color resource"}) {
    result = run(program, command);
    EXPECT_EQ(result.status, 134);
    EXPECT_EQ(result.output.find("Unable"), std::string::npos);
  }
  EXPECT_EQ(run(program, "optional color").output, "absent\nabsent\nabsent\n");
}

TEST_F(BundleLookupTest, AColorIsLookedUpOnceAnImageEachTime) {
  install(root / "prefix");
  const auto program = copy(TAVRIN_PROBE, root / "prefix/bin");
  EXPECT_EQ(run(program, "color twice").output, "same\n");

  install(root / "prefix");
  const auto result = run(program, "image twice");
  EXPECT_EQ(result.status, 134);
  EXPECT_EQ(result.output.find("found\nUnable to load image asset named ic_back.\n"), 0U)
      << result.output;
}

}  // namespace
}  // namespace tavrin

#endif
