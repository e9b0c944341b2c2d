#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "Tavrin/Testing/TemporaryDirectory.hpp"
#include "Tests/Support/Command.hpp"

namespace tavrin {
namespace {

namespace fs = std::filesystem;
using testing::CommandResult;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::runCommand;

// Runs the generator on a copy of the catalogue.
class GeneratorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const fs::path source = TAVRIN_SOURCE_DIR;
    const fs::path catalogue = "Tavrin/Resources";
    fs::create_directories(root / catalogue);
    fs::copy(source / catalogue, root / catalogue, fs::copy_options::recursive);
  }
  CommandResult generate(const std::string& option = "") const {
    return runCommand(TAVRIN_SOURCE_DIR "/scripts/generate-resources --root " + root.string() +
                      " " + option);
  }
  void expectStale(const std::string& file) const {
    const auto result = generate("--check");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr("stale: " + file));
  }
  void write(const std::string& file, const std::string& text) const {
    std::ofstream(root / file) << text;
  }
  std::string read(const std::string& file) const {
    std::ifstream stream(root / file);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  testing::TemporaryDirectory temporary;
  const fs::path root = fs::canonical(temporary.path());
};

TEST_F(GeneratorTest, NoticesWhatIsStale) {
  EXPECT_EQ(generate("--check").status, 0);

  const auto icon = read("Tavrin/Resources/Images/ic_next.svg");
  write("Tavrin/Resources/Images/ic_next.svg", icon + "\n");
  expectStale("Tavrin/Resources/Images/ic_next.svg");
  write("Tavrin/Resources/Images/ic_next.svg", icon);

  fs::remove(root / "Tavrin/Resources/Renderings/ic_next-48.png");
  expectStale("Tavrin/Resources/Images/ic_next.svg");
  fs::copy(TAVRIN_SOURCE_DIR "/Tavrin/Resources/Renderings/ic_next-48.png",
           root / "Tavrin/Resources/Renderings");

  const auto code = read("Tavrin/Resources/TavrinAsset.cpp");
  write("Tavrin/Resources/TavrinAsset.cpp", code + "// by hand\n");
  expectStale("Tavrin/Resources/TavrinAsset.cpp");
  write("Tavrin/Resources/TavrinAsset.cpp", code);

  write("Tavrin/Resources/Colors/AccentColor.json",
        R"({"red": 1, "green": 0, "blue": 0, "alpha": 1})");
  expectStale("Tavrin/Resources/Renderings/AccentColor.color");
}

TEST_F(GeneratorTest, AddingAnIconIsAllItTakes) {
  if (runCommand("command -v rsvg-convert").status != 0) GTEST_SKIP() << "needs rsvg-convert";
  fs::copy(root / "Tavrin/Resources/Images/ic_next.svg",
           root / "Tavrin/Resources/Images/ic_step_2.svg");
  fs::remove(root / "Tavrin/Resources/Images/ic_back.svg");
  expectStale("Tavrin/Resources/Images/ic_step_2.svg");
  expectStale("Tavrin/Resources/Renderings/ic_back-24.png");

  const auto result = generate();
  EXPECT_EQ(result.status, 0) << result.output;
  EXPECT_EQ(generate("--check").status, 0);
  EXPECT_THAT(read("Tavrin/Resources/TavrinAsset.hpp"),
              HasSubstr("const TavrinImages& icStep2();"));
  EXPECT_THAT(read("Tavrin/Resources/GeneratedAssetSymbols.cpp"), HasSubstr("\"ic_step_2\""));
  EXPECT_TRUE(fs::exists(root / "Tavrin/Resources/Renderings/ic_step_2-96.png"));
  EXPECT_FALSE(fs::exists(root / "Tavrin/Resources/Renderings/ic_back-24.png"));
}

TEST_F(GeneratorTest, SaysWhatItDrawsWith) {
  write("Tavrin/Resources/Images/one.svg", R"(<svg viewBox="0 0 24 24"/>)");
  fs::create_directory(root / "bin");
  for (const std::string program : {"env", "python3"}) {
    const auto found = fs::exists("/usr/bin/" + program) ? "/usr/bin/" : "/usr/local/bin/";
    fs::create_symlink(found + program, root / "bin" / program);
  }
  const auto result =
      runCommand("PATH=" + (root / "bin").string() +
                 " " TAVRIN_SOURCE_DIR "/scripts/generate-resources --root " + root.string());
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output, HasSubstr("needs rsvg-convert"));
  EXPECT_THAT(result.output, Not(HasSubstr("Traceback")));
}

TEST_F(GeneratorTest, RefusesABrokenCatalogueAndChangesNothing) {
  const auto expectRefusal = [this](const std::string& file, const std::string& text,
                                    const std::string& message) {
    write(file, text);
    const auto result = generate();
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr(message));
    EXPECT_THAT(result.output, Not(HasSubstr("Traceback")));
    fs::remove(root / file);
  };
  const std::string images = "Tavrin/Resources/Images/";
  const std::string colors = "Tavrin/Resources/Colors/";
  expectRefusal(images + "my icon.svg", "<svg/>", "expected a name like ic_back.svg");
  expectRefusal(images + "a.svg", "<svg", "a.svg");
  expectRefusal(images + "a.svg", R"(<svg viewBox="0 0 9 9"/>)", "viewBox");
  expectRefusal(images + "icBack.svg", R"(<svg viewBox="0 0 24 24"/>)", "same accessor");
  for (const std::string name : {"new", "bundle", "resource_bundle", "Signals"}) {
    expectRefusal(images + name + ".svg", R"(<svg viewBox="0 0 24 24"/>)", "cannot be the name");
  }
  expectRefusal(colors + "Default.json", "{}", "cannot be the name");
  expectRefusal(colors + "A.json", "[]", "needs red, green, blue and alpha");
  expectRefusal(colors + "A.json", R"({"red": 2, "green": 0, "blue": 0, "alpha": 1})",
                "from 0 to 1");
  EXPECT_EQ(generate("--check").status, 0);
}

}  // namespace
}  // namespace tavrin
