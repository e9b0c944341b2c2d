// What scripts/check-clips asks: plays a clip, or draws an image, and tells what was seen.
//
//   ClipProbe clip FILE WIDTH HEIGHT OUT     two rounds; OUT gets three pictures: the first, the
//                                            last, and the first of the second round
//   ClipProbe image FILE OUT                 OUT gets every frame
//   ClipProbe mutants FILE COUNT SEED        changed copies of a clip; fails when one takes too
//   long
#include <sys/resource.h>

#include <chrono>
#include <cstdint>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "Tavrin/Foundation/DispatchQueue.hpp"
#include "Tavrin/Mpv/MpvEngine.hpp"
#include "Tavrin/Testing/ScriptedResource.hpp"
#include "Tavrin/View/ImageDecoder.hpp"

namespace tavrin {
namespace {

using std::chrono::seconds;

Data contentsOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return Data(std::string(std::istreambuf_iterator<char>(file), {}));
}

/// One clip in an engine without sound.
class Showing final : public MediaEngine::Listener, public std::enable_shared_from_this<Showing> {
 public:
  static std::shared_ptr<Showing> make(Data bytes) {
    auto self = std::shared_ptr<Showing>(new Showing(std::move(bytes)));
    MpvEngineOptions options;
    options.sound = MpvEngineOptions::Sound::none;
    self->engine_ = makeMpvEngine(std::weak_ptr<Listener>(self), options);
    self->engine_->load(1, self->resource_->asset());
    return self;
  }

  /// Until it holds, or the load has failed. False when it took too long.
  bool waitFor(const std::function<bool()>& done, std::chrono::nanoseconds limit = seconds(20)) {
    const auto isOver = [&] { return error || done(); };
    DispatchQueue::main().runUntil(isOver, limit);
    return isOver();
  }
  bool rewind() {
    bool isDone = false;
    engine_->setPlaying(false);
    engine_->seek(CMTime::zero, [&isDone](bool) { isDone = true; });
    return waitFor([&isDone] { return isDone; });
  }
  std::vector<std::byte> draw(int width, int height) {
    std::vector<std::byte> pixels(static_cast<std::size_t>(width) * 4 *
                                  static_cast<std::size_t>(height));
    engine_->draw({pixels.data(), width, height, std::ptrdiff_t{4} * width});
    return pixels;
  }
  void setPlaying(bool playing) { engine_->setPlaying(playing); }

  void engineDidBecomeReady(MediaEngine::LoadId) override { isReady = true; }
  void engineDidFail(MediaEngine::LoadId, const Error& why) override { error = why; }
  void engineDidPlayToEnd(MediaEngine::LoadId) override { ++ends; }
  void engineDidStall(MediaEngine::LoadId) override {}

  bool isReady = false;
  int ends = 0;
  std::optional<Error> error;

 private:
  explicit Showing(Data bytes) : resource_(testing::ScriptedResource::make(std::move(bytes))) {}

  const std::shared_ptr<testing::ScriptedResource> resource_;
  std::unique_ptr<MediaEngine> engine_;
};

int tell(const std::string& what) {
  std::cout << what << '\n';
  return 0;
}

int playClip(const std::string& path, int width, int height, const std::string& out) {
  const auto shown = Showing::make(contentsOf(path));
  std::ofstream pictures(out, std::ios::binary);
  const auto keep = [&] {
    const auto pixels = shown->draw(width, height);
    pictures.write(reinterpret_cast<const char*>(pixels.data()), std::ssize(pixels));
  };
  const auto ending = [&shown](const char* missing) {
    return tell(shown->error ? "failed: " + shown->error->description : missing);
  };
  if (!shown->waitFor([&] { return shown->isReady; }) || shown->error) return ending("no picture");
  keep();
  shown->setPlaying(true);
  if (!shown->waitFor([&] { return shown->ends == 1; }) || shown->error) return ending("no end");
  keep();
  if (!shown->rewind() || shown->error) return ending("no second round");
  keep();
  shown->setPlaying(true);
  if (!shown->waitFor([&] { return shown->ends == 2; }) || shown->error) {
    return ending("no second end");
  }
  return tell("played");
}

int drawImage(const std::string& path, const std::string& out) {
  const auto opened = ImageDecoder::open(contentsOf(path));
  if (!opened.decoder) return tell("refused: " + opened.error.description);
  std::ofstream pictures(out, std::ios::binary);
  std::string delays;
  std::string size;
  while (const auto frame = opened.decoder->next()) {
    pictures.write(reinterpret_cast<const char*>(frame->pixels.data()), std::ssize(frame->pixels));
    size = std::to_string(frame->width) + "x" + std::to_string(frame->height);
  }
  for (const auto delay : opened.decoder->delays()) delays += " " + std::to_string(delay.count());
  if (size.empty()) return tell("refused: no picture");
  return tell("drawn " + size + " " + std::to_string(opened.decoder->plays().value_or(0)) + delays);
}

// Each is loaded and watched until it has failed, ended, or played for a moment. An engine that
// then does not go away in time is found by the caller's own limit.
int playMutants(const std::string& path, int count, unsigned seed) {
  constexpr auto patience = seconds(5);
  constexpr std::int64_t mostMemory = 1024LL << 10;  // in KiB, of the whole process
  const auto whole = contentsOf(path);
  std::mt19937 random(seed);
  int failed = 0;
  for (int i = 0; i < count; ++i) {
    auto bytes = whole;
    const auto view = bytes.resize(bytes.count());
    for (int hit = 0; hit < 16; ++hit) view[random() % view.size()] = std::byte(random() % 256);
    if (random() % 4 == 0) {
      bytes = bytes.subdata(0, 1 + static_cast<std::int64_t>(random()) % bytes.count());
    }
    const auto start = std::chrono::steady_clock::now();
    {
      const auto shown = Showing::make(bytes);
      shown->setPlaying(true);
      shown->waitFor([&] { return shown->ends > 0; }, std::chrono::milliseconds(300));
      failed += shown->error ? 1 : 0;
    }
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    const bool isLate = std::chrono::steady_clock::now() - start > patience;
    if (isLate || used.ru_maxrss > mostMemory) {
      std::cout << "mutant " << i << " of seed " << seed << (isLate ? " is late" : " takes memory")
                << ", " << used.ru_maxrss << " KiB\n";
      return 1;
    }
  }
  rusage used{};
  getrusage(RUSAGE_SELF, &used);
  return tell(std::to_string(count) + " mutants, " + std::to_string(failed) + " refused, " +
              std::to_string(used.ru_maxrss >> 10) + " MiB at most");
}

int run(const std::vector<std::string>& words) {
  const auto number = [&words](std::size_t at) { return std::stoi(words[at]); };
  DispatchQueue::main().adopt();
  if (words.size() == 5 && words[0] == "clip") {
    return playClip(words[1], number(2), number(3), words[4]);
  }
  if (words.size() == 3 && words[0] == "image") return drawImage(words[1], words[2]);
  if (words.size() == 4 && words[0] == "mutants") {
    return playMutants(words[1], number(2), static_cast<unsigned>(number(3)));
  }
  std::cerr
      << "ClipProbe: clip FILE WIDTH HEIGHT OUT, image FILE OUT, or mutants FILE COUNT SEED\n";
  return 2;
}

}  // namespace
}  // namespace tavrin

int main(int count, char** words) { return tavrin::run({words + 1, words + count}); }
