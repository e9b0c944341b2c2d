#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <vector>

#include "Tavrin/Resources/GeneratedAssetSymbols.hpp"
#include "Tavrin/Resources/TavrinAsset.hpp"
#include "Tavrin/Resources/TavrinBundle.hpp"

namespace tavrin {
namespace {

namespace Assets = TavrinAsset::Assets;

struct Entry {
  std::string name;
  const TavrinImages& asset;
  const ImageResource& resource;
};

std::vector<Entry> images() {
  return {{"ic_back", Assets::icBack(), ImageResource::icBack()},
          {"ic_details_time", Assets::icDetailsTime(), ImageResource::icDetailsTime()},
          {"ic_details_video", Assets::icDetailsVideo(), ImageResource::icDetailsVideo()},
          {"ic_next", Assets::icNext(), ImageResource::icNext()},
          {"ic_pause", Assets::icPause(), ImageResource::icPause()},
          {"ic_previous", Assets::icPrevious(), ImageResource::icPrevious()},
          {"mute_button", Assets::muteButton(), ImageResource::muteButton()},
          {"muted_button", Assets::mutedButton(), ImageResource::mutedButton()}};
}

TEST(AccessorsTest, BothFamiliesReachEveryImage) {
  std::set<std::vector<std::uint8_t>> pictures;
  for (const auto& [name, asset, resource] : images()) {
    EXPECT_EQ(asset.name, name);
    EXPECT_EQ(resource, ImageResource(name, TavrinResources::bundle()));
    const auto image = asset.image();
    EXPECT_EQ(image->size(), (Size{24, 24}));
    for (const int height : {24, 48, 96}) {
      EXPECT_EQ(image->rendering(height).height, height);
      EXPECT_EQ(image->rendering(height).width, height);
    }
    EXPECT_EQ(image->rendering(25).height, 48);
    EXPECT_EQ(image->rendering(1'000).height, 96);
    EXPECT_EQ(makeUIImage(resource)->rendering(24).pixels, image->rendering(24).pixels);
    pictures.insert(image->rendering(96).pixels);

    EXPECT_EQ(asset.swiftUIImage(), makeImage(resource));
    EXPECT_EQ(makeImage(asset).accessibilityLabel(), name);
    EXPECT_EQ(makeImage(asset, "Back").accessibilityLabel(), "Back");
    EXPECT_EQ(makeDecorativeImage(asset).accessibilityLabel(), std::nullopt);
    EXPECT_EQ(makeDecorativeImage(asset).resolve()->size(), (Size{24, 24}));
  }
  EXPECT_EQ(pictures.size(), 8U) << "two icons are the same";
}

// For a dark bar: white where there is ink, nothing in the corners.
TEST(AccessorsTest, IconsAreWhiteOnNothing) {
  for (const auto& [name, asset, resource] : images()) {
    const auto image = asset.image();
    for (const int height : {24, 48, 96}) {
      const auto& pixels = image->rendering(height).pixels;
      int opaque = 0;
      for (std::size_t at = 0; at < pixels.size(); at += 4) {
        if (pixels[at + 3] != 255) continue;
        ++opaque;
        EXPECT_EQ(pixels[at] + pixels[at + 1] + pixels[at + 2], 3 * 255) << name;
      }
      const int area = height * height;
      EXPECT_GT(opaque, area / 20) << name << " is too faint at " << height;
      EXPECT_LT(opaque, area / 2) << name << " is a blot at " << height;
      EXPECT_EQ(pixels[3], 0);
      EXPECT_EQ(pixels.back(), 0);
    }
  }
}

TEST(AccessorsTest, TheAccentColorIsOneObject) {
  const auto& asset = Assets::accentColor();
  EXPECT_EQ(asset.name, "AccentColor");
  EXPECT_EQ(asset.color(), asset.color());
  EXPECT_GT(asset.color()->green, asset.color()->red);
  EXPECT_EQ(asset.color()->alpha, 1);
  EXPECT_EQ(asset.swiftUIColor(), makeColor(asset));
  EXPECT_EQ(*asset.swiftUIColor().resolve(), *asset.color());
  const ColorResource resource("AccentColor", TavrinResources::bundle());
  EXPECT_EQ(makeColor(resource), makeColor(asset));
  EXPECT_EQ(*makeUIColor(resource), *makeUIColor(asset));
}

TEST(AccessorsTest, RecordsCompareAndHashByNameAndBundle) {
  const auto same = Bundle::make(moduleBundle()->directory());
  const auto other = Bundle::make("/nowhere");
  const ImageResource image("ic_back", same);
  EXPECT_NE(same, moduleBundle()) << "equal bundles need not be one object";
  EXPECT_EQ(ImageResource::icBack(), image);
  EXPECT_EQ(std::hash<ImageResource>{}(ImageResource::icBack()), std::hash<ImageResource>{}(image));
  EXPECT_NE(image, ImageResource("ic_back", other));
  EXPECT_NE(image, ImageResource("ic_next", same));
  const ColorResource color("a", same);
  EXPECT_EQ(color, ColorResource("a", moduleBundle()));
  EXPECT_EQ(std::hash<ColorResource>{}(color),
            std::hash<ColorResource>{}(ColorResource("a", moduleBundle())));
  EXPECT_NE(color, ColorResource("a", other));
  EXPECT_NE(color, ColorResource("b", same));
}

TEST(AccessorsTest, NamesOutsideTheCatalogueAreAbsent) {
  const auto& bundle = *TavrinResources::bundle();
  for (const std::string name : {"..", ".", "", "../drawn-from.json"}) {
    EXPECT_FALSE(bundle.resource(name)) << name;
  }
  for (const std::string name : {"", "IC_BACK", "ic_back-24", "../Renderings/ic_back"}) {
    EXPECT_FALSE(UIImage::named(name, bundle)) << name;
  }
  for (const std::string name : {"", "accentcolor", "../Renderings/AccentColor"}) {
    EXPECT_FALSE(UIColor::named(name, bundle)) << name;
  }
  EXPECT_FALSE(Image("none", TavrinResources::bundle()).resolve());
  EXPECT_FALSE(Color("none", TavrinResources::bundle()).resolve());
}

TEST(AccessorsTest, ThreadsThatRaceForTheBundleGetOneObject) {
  std::vector<const void*> seen(8);
  {
    std::vector<std::jthread> threads;
    threads.reserve(seen.size());
    for (auto& slot : seen) {
      threads.emplace_back([&slot] { slot = TavrinResources::bundle().get(); });
    }
  }
  EXPECT_EQ(std::set(seen.begin(), seen.end()).size(), 1U);
}

}  // namespace
}  // namespace tavrin
