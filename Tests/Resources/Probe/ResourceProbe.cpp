#include "Tests/Resources/Probe/ResourceProbe.hpp"

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>

#include "Tavrin/Resources/GeneratedAssetSymbols.hpp"
#include "Tavrin/Resources/TavrinAsset.hpp"
#include "Tavrin/Resources/TavrinBundle.hpp"

namespace {

using namespace tavrin;

// Only in a copy: a build tree has a link to the sources.
void removeResources() {
  const auto& directory = TavrinResources::bundle()->directory();
  if (std::filesystem::is_symlink(directory)) std::exit(3);
  for (const auto& file : std::filesystem::directory_iterator(directory)) {
    std::filesystem::remove(file);
  }
}

const std::map<std::string, std::function<void()>> commands{
    {"use",
     [] {
       std::cout << TavrinResources::bundle()->directory().string() << '\n'
                 << ImageResource::icBack().bundle->directory().string() << '\n'
                 << TavrinAsset::Assets::icBack().image()->rendering(48).height << '\n'
                 << TavrinAsset::Assets::accentColor().color()->alpha << '\n';
     }},
    {"image", [] { TavrinAsset::Assets::mutedButton().image(); }},
    {"color", [] { TavrinAsset::Assets::accentColor().color(); }},
    {"image resource", [] { makeUIImage(ImageResource::icBack()); }},
    {"color resource", [] { makeUIColor(ColorResource("AccentColor", moduleBundle())); }},
    {"optional color",
     [] {
       const auto& asset = TavrinAsset::Assets::accentColor();
       std::cout << (makeUIColor(asset) ? "found" : "absent") << '\n'
                 << (asset.swiftUIColor().resolve() ? "found" : "absent") << '\n'
                 << (makeImage(ImageResource::icBack()).resolve() ? "found" : "absent") << '\n';
     }},
    {"color twice",
     [] {
       const auto first = TavrinAsset::Assets::accentColor().color();
       removeResources();
       std::cout << (TavrinAsset::Assets::accentColor().color() == first ? "same" : "other")
                 << '\n';
     }},
    {"image twice",
     [] {
       TavrinAsset::Assets::icBack().image();
       std::cout << "found" << std::endl;
       removeResources();
       TavrinAsset::Assets::icBack().image();
     }},
};

}  // namespace

void runProbe(const std::string& command) { commands.at(command)(); }
