// What the view layer and the resources cost.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Benchmarks/Figures.hpp"
#include "Benchmarks/Timing.hpp"
#include "Tavrin/Resources/GeneratedAssetSymbols.hpp"
#include "Tavrin/Testing/HandFedSession.hpp"
#include "Tavrin/Testing/ManualExecutor.hpp"
#include "Tavrin/Testing/TemporaryDirectory.hpp"
#include "Tavrin/View/AnimatedImageView.hpp"
#include "Tavrin/View/GifView.hpp"
#include "Tests/Support/GifWriter.hpp"

namespace tavrin::benchmarks {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using testing::HandFedSession;

Data contentsOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  return Data(bytes);
}

std::vector<Data> sampleImages() {
  std::vector<Data> images;
  for (const auto& file : fs::directory_iterator(TAVRIN_SAMPLE_CLIPS)) {
    if (file.path().extension() == ".gif") images.push_back(contentsOf(file.path()));
  }
  return images;
}

/// A `GifView` on screen, its download fed by hand.
class Screen {
 public:
  explicit Screen(Executor& executor) {
    const GifView view(*URL::parse("http://localhost/a.gif"), 480, 270, isFailed_.binding());
    shown = AnimatedImageView::make(view.body().content,
                                    {.makeSession =
                                         [this](auto delegate) {
                                           session_ = std::make_shared<HandFedSession>(delegate);
                                           return session_;
                                         },
                                     .executor = executor,
                                     .needsDisplay = [this] { wake(); }});
    shown->load();
  }

  void feed(const Data& image) {
    session_->respond(image.count());
    session_->feed(image);
    session_->complete();
  }
  void waitForFirstFrame() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return hasFrame_; });
  }

  std::shared_ptr<AnimatedImageView> shown;

 private:
  void wake() {
    const std::lock_guard lock(mutex_);
    hasFrame_ = true;
    changed_.notify_one();
  }

  State<bool> isFailed_{false};
  std::shared_ptr<HandFedSession> session_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool hasFrame_ = false;
};

/// The slowest of ten rounds of each image.
double firstFrameMilliseconds() {
  double slowest = 0;
  const auto images = sampleImages();
  for (const auto& image : images) {
    for (int round = 0; round < 10; ++round) {
      Screen screen(Executor::shared());
      const auto lastByte = Clock::now();
      screen.feed(image);
      screen.waitForFirstFrame();
      if (!screen.shown->frame(Clock::now())) return NAN;
      slowest = std::max(slowest, millisecondsSince(lastByte));
    }
  }
  return images.empty() ? NAN : slowest;
}

/// Of three rounds of each image on a clock that is ours, the share of moments, 7 ms apart, at
/// which the frame shown is the one that the file's delays call for.
double rightFramesPercent() {
  int right = 0;
  int all = 0;
  for (const auto& image : sampleImages()) {
    const auto decoder = ImageDecoder::open(image).decoder;
    std::vector<std::shared_ptr<const Bitmap>> due;  // by millisecond
    for (const auto delay : decoder->delays())
      due.resize(due.size() + static_cast<std::size_t>(delay.count()), decoder->next());

    testing::ManualExecutor executor;
    Screen screen(executor);
    screen.feed(image);
    executor.runAll();
    for (std::size_t time = 0; time < 3 * due.size(); time += 7, ++all) {
      const auto frame = screen.shown->frame(Clock::time_point(milliseconds(time)));
      executor.runAll();
      if (frame && frame->bitmap->pixels == due[time % due.size()]->pixels) ++right;
    }
  }
  return all == 0 ? NAN : 100.0 * right / all;
}

/// The slowest icon's median.
double iconLookupMilliseconds() {
  double slowest = 0;
  for (const auto* icon :
       {&ImageResource::icBack(), &ImageResource::icDetailsTime(), &ImageResource::icDetailsVideo(),
        &ImageResource::icNext(), &ImageResource::icPause(), &ImageResource::icPrevious(),
        &ImageResource::muteButton(), &ImageResource::mutedButton()}) {
    slowest = std::max(slowest, medianNanoseconds(20, [icon] { makeUIImage(*icon); }) / 1e6);
  }
  return slowest;
}

constexpr int longFrames = 500;
constexpr int longWidth = 480;
constexpr int longHeight = 270;
constexpr milliseconds longDelay{40};

/// A disc that swings before a shaded wall.
Data longImage() {
  testing::GifWriter gif(longWidth, longHeight);
  gif.setRepeats(0);
  std::vector<std::uint8_t> picture(static_cast<std::size_t>(longWidth) * longHeight);
  for (int i = 0; i < longFrames; ++i) {
    const double centerX = longWidth / 2.0 + 150 * std::sin(i * 0.06);
    const double centerY = longHeight / 2.0 + 60 * std::cos(i * 0.11);
    for (int y = 0; y < longHeight; ++y) {
      for (int x = 0; x < longWidth; ++x) {
        const double distance = std::hypot(x - centerX, y - centerY);
        const int shade = distance < 60 ? 64 + static_cast<int>(distance) : y / 8 + (x / 16) % 2;
        picture[static_cast<std::size_t>(y * longWidth + x)] = static_cast<std::uint8_t>(shade);
      }
    }
    gif.addFrame(picture, static_cast<int>(longDelay.count() / 10));
  }
  return gif.data();
}

struct Cost {
  double mebibytes = NAN;
  double corePercent = NAN;
};

double statusMebibytes(const std::string& field) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(field)) return std::stod(line.substr(field.size())) / 1024;
  }
  return NAN;
}

double processorSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// Plays a file as a host would, a little longer than one round, and measures its own process.
Cost play(const fs::path& path) {
  ThreadPool executor(1);
  const double memoryBefore = statusMebibytes("VmRSS:");
  Screen screen(executor);
  screen.feed(contentsOf(path));
  screen.waitForFirstFrame();
  const double processorBefore = processorSeconds();
  const auto start = Clock::now();
  const auto end = start + longDelay * (longFrames + 50);
  for (auto now = start; now < end; now = Clock::now()) {
    const auto frame = screen.shown->frame(now);
    if (!frame || !frame->due) return {};
    std::this_thread::sleep_until(*frame->due);
  }
  const double seconds = millisecondsSince(start) / 1e3;
  return {statusMebibytes("VmHWM:") - memoryBefore,
          (processorSeconds() - processorBefore) / seconds * 100};
}

constexpr auto playOption = "--play";

/// A process of its own has no memory left over from drawing the image.
Cost playInNewProcess() {
  const testing::TemporaryDirectory directory;
  const auto path = (directory.path() / "long.gif").string();
  const auto image = longImage();
  std::ofstream(path, std::ios::binary) << image.text();
  std::string command = "exec ";
  command.append(fs::read_symlink("/proc/self/exe").string()).append(" ").append(playOption);
  command.append(" ").append(path);
  Cost cost;
  FILE* const output = popen(command.c_str(), "r");
  if (output == nullptr) return cost;
  if (std::fscanf(output, "%lf %lf", &cost.mebibytes, &cost.corePercent) != 2) cost = {};
  pclose(output);
  return cost;
}

int run(int argc, char** argv) {
  if (argc == 3 && argv[1] == std::string(playOption)) {
    const auto cost = play(argv[2]);
    std::printf("%f %f\n", cost.mebibytes, cost.corePercent);
    return 0;
  }
  Figures figures(argc, argv);
  if (figures.isWanted("view.first_frame_ms")) {
    figures.report("view.first_frame_ms", firstFrameMilliseconds(), "ms", atMost(100));
  }
  if (figures.isWanted("view.right_frames")) {
    figures.report("view.right_frames", rightFramesPercent(), "%", atLeast(100));
  }
  if (figures.isWanted("view.icon_lookup_ms")) {
    figures.report("view.icon_lookup_ms", iconLookupMilliseconds(), "ms", atMost(1));
  }
  if (figures.isWanted("view.long_gif_memory") || figures.isWanted("view.long_gif_core")) {
    const auto cost = playInNewProcess();
    figures.report("view.long_gif_memory", cost.mebibytes, "MiB", atMost(64));
    figures.report("view.long_gif_core", cost.corePercent, "%", atMost(10));
  }
  return figures.exitStatus();
}

}  // namespace
}  // namespace tavrin::benchmarks

int main(int argc, char** argv) { return tavrin::benchmarks::run(argc, argv); }
