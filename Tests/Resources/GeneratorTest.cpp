#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "Tests/Support/Command.hpp"
#include "Tests/Support/TemporaryDirectory.hpp"

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
    for (const auto* folder : {"Tavrin/Resources", "Derived/Sources"}) {
      fs::create_directories(root / folder);
      fs::copy(source / folder, root / folder, fs::copy_options::recursive);
    }
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

  const auto code = read("Derived/Sources/TavrinAsset.cpp");
  write("Derived/Sources/TavrinAsset.cpp", code + "// by hand\n");
  expectStale("Derived/Sources/TavrinAsset.cpp");
  write("Derived/Sources/TavrinAsset.cpp", code);

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
  EXPECT_THAT(read("Derived/Sources/TavrinAsset.hpp"), HasSubstr("const TavrinImages& icStep2();"));
  EXPECT_THAT(read("Derived/Sources/GeneratedAssetSymbols.cpp"), HasSubstr("\"ic_step_2\""));
  EXPECT_TRUE(fs::exists(root / "Tavrin/Resources/Renderings/ic_step_2-96.png"));
  EXPECT_FALSE(fs::exists(root / "Tavrin/Resources/Renderings/ic_back-24.png"));
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
  expectRefusal(colors + "A.json", "[]", "needs red, green, blue and alpha");
  expectRefusal(colors + "A.json", R"({"red": 2, "green": 0, "blue": 0, "alpha": 1})",
                "from 0 to 1");
  EXPECT_EQ(generate("--check").status, 0);
}

}  // namespace
}  // namespace tavrin
