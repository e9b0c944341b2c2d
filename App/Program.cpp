#include "App/Program.hpp"

#include <memory>
#include <string>
#include <utility>

#include "App/AudioDevice.hpp"
#include "App/FolderServer.hpp"
#include "App/LibrarySetup.hpp"
#include "App/Reporter.hpp"
#include "App/Screen.hpp"
#include "App/ScriptRunner.hpp"
#include "App/StandardStreams.hpp"
#include "App/TextFile.hpp"
#include "App/Window.hpp"
#include "App/WorkoutFile.hpp"
#include "Tavrin/Resources/TavrinBundle.hpp"

namespace tavrin::app {

namespace {

struct Failure {
  ExitStatus status;
  std::string message;
};

[[noreturn]] void fail(std::string message, ExitStatus status = ExitStatus::unreadable) {
  throw Failure{status, std::move(message)};
}

std::string folderOf(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == path.npos ? "." : path.substr(0, slash + 1);
}

std::string sampleWorkout() {
  return (TavrinResources::bundle()->directory().parent_path() / "SampleWorkout/workout.json")
      .string();
}

std::string read(const std::string& path, const char* what) {
  auto text = readTextFile(path);
  if (const auto* error = std::get_if<Error>(&text)) {
    fail(std::string("cannot read the ") + what + " \"" + path + "\": " + error->description);
  }
  return std::get<std::string>(std::move(text));
}

Workout readWorkout(const std::string& path) {
  auto parsed = parseWorkout(read(path, "workout"));
  if (const auto* error = std::get_if<TextError>(&parsed)) fail(path + ": " + error->text());
  return std::get<Workout>(std::move(parsed));
}

std::shared_ptr<Trace> openTrace(const Arguments& arguments) {
  if (!arguments.trace) return Trace::none();
  auto opened = Trace::open(*arguments.trace);
  if (const auto* error = std::get_if<Error>(&opened)) {
    fail("cannot write the trace \"" + *arguments.trace + "\": " + error->description);
  }
  return std::get<std::shared_ptr<Trace>>(std::move(opened));
}

// Nothing is served when every item has an address of its own.
std::unique_ptr<FolderServer> serve(const Workout& workout, const std::string& folder) {
  std::vector<FolderServer::File> files;
  for (const auto& item : workout.items) {
    if (item.isLocal) files.push_back({URL::percentDecode(item.address), item.mimeType.rawValue});
  }
  if (files.empty()) return nullptr;
  auto started = FolderServer::start(folder, files);
  if (const auto* error = std::get_if<Error>(&started)) {
    fail("cannot serve the workout's files: " + error->description);
  }
  return std::get<std::unique_ptr<FolderServer>>(std::move(started));
}

// A person who wrote the workout wants to know of the file, not of the server in between.
std::optional<std::string> whyMissing(const Workout::Item& item, const std::string& folder) {
  if (!item.isLocal) return std::nullopt;
  const auto error = FolderServer::whyNot(folder, URL::percentDecode(item.address));
  return error ? std::optional(error->description) : std::nullopt;
}

std::optional<Script> readScript(const Arguments& arguments, std::int64_t itemCount) {
  if (!arguments.script) return std::nullopt;
  const bool isFile = arguments.script->starts_with('@');
  const auto name = isFile ? arguments.script->substr(1) : "script";
  auto parsed = parseScript(isFile ? read(name, "script") : *arguments.script, itemCount);
  if (const auto* error = std::get_if<TextError>(&parsed)) {
    fail(name + ": " + error->text(), ExitStatus::usage);
  }
  return std::get<Script>(std::move(parsed));
}

std::unique_ptr<Window> openWindow(const Arguments& arguments, const std::string& title) {
  if (arguments.isHeadless || arguments.snapshot) return nullptr;
  auto opened = Window::open(title, arguments.width, arguments.height);
  if (const auto* error = std::get_if<Error>(&opened)) {
    complain("no window: " + error->description + "; playing without one");
    return nullptr;
  }
  return std::get<std::unique_ptr<Window>>(std::move(opened));
}

TraceValue traceOf(const Totals& totals) {
  return {{"shown", totals.shown},
          {"downloaded", totals.downloaded},
          {"fromDisk", totals.fromDisk},
          {"failed", totals.failed}};
}

// One run, from the first item to the totals.
class Run {
 public:
  Run(const Arguments& arguments, const Workout& workout, std::string folder,
      const FolderServer* server, std::unique_ptr<Window> window, std::shared_ptr<Trace> trace)
      : arguments_(arguments),
        trace_(std::move(trace)),
        window_(std::move(window)),
        player_(settings(workout, std::move(folder)),
                workout.media(server ? server->address() : ""), trace_),
        reporter_(player_, *trace_, print) {}

  ExitStatus play(std::optional<Script> script) {
    const auto& media = player_.state().media();
    std::int64_t stored = 0;
    std::int64_t videos = 0;
    for (std::int64_t i = 0; i < media.count(); ++i) {
      videos += media[i].mimeType.isVideo() ? 1 : 0;
      stored += player_.wasOnDisk(i) ? 1 : 0;
    }
    reporter_.tell("workout", player_.settings().title + ", " + std::to_string(media.count()) +
                                  " items; from disk: " + std::to_string(stored) + " of " +
                                  std::to_string(videos) + " videos");
    trace_->write(Trace::Kind::note, "workout",
                  {{"title", player_.settings().title},
                   {"items", media.count()},
                   {"videos", videos},
                   {"fromDisk", stored}});
    if (!script) script = scriptForNobody();
    ScriptRunner runner(*std::move(script), player_,
                        [this](const std::string& path) { snapshot(path); });
    player_.setChangeHandler([this] { changed(); });
    player_.prepare();
    if (window_ && runner.isDone()) player_.set(0);
    window_ ? playInWindow(runner) : playAlone(runner);
    if (arguments_.snapshot) snapshot(*arguments_.snapshot);
    return finish();
  }

 private:
  WorkoutPlayer::Settings settings(const Workout& workout, std::string folder) {
    WorkoutPlayer::Settings settings;
    settings.title = workout.title;
    settings.isExerciseLooping = workout.isExerciseLooping;
    settings.startsMuted = arguments_.startsMuted;
    settings.patience = arguments_.patience;
    settings.explain = [items = workout.items, folder = std::move(folder)](std::int64_t position) {
      return whyMissing(items[static_cast<std::size_t>(position)], folder);
    };
    if (window_) settings.pictureIsNew = [window = window_.get()] { window->pictureIsNew(); };
    return settings;
  }

  // In a window the person drives.
  Script scriptForNobody() const {
    if (window_) return {};
    if (!arguments_.snapshot) return tourOf(player_);
    return {{.kind = ScriptCommand::Kind::set, .number = 1}, {ScriptCommand::Kind::waitReady}};
  }

  void changed() {
    reporter_.update();
    if (window_) window_->pictureIsNew();
  }

  void tick(ScriptRunner& runner) {
    const auto now = WorkoutPlayer::Clock::now();
    player_.tick(now);
    runner.tick(now);
  }

  void playInWindow(ScriptRunner& runner) {
    window_->run(player_, [&] {
      tick(runner);
      return !runner.hasQuit();
    });
  }

  void playAlone(ScriptRunner& runner) {
    constexpr auto pause = std::chrono::milliseconds(20);
    for (tick(runner); !runner.isDone(); tick(runner)) {
      DispatchQueue::main().runUntil([] { return false; }, pause);
    }
  }

  void snapshot(const std::string& path) {
    Canvas canvas(arguments_.width, arguments_.height, 1);
    drawScreen(canvas, screenModel(player_, WorkoutPlayer::Clock::now()));
    const auto error = canvas.writePng(path);
    trace_->write(Trace::Kind::note, "snapshot", {{"path", path}, {"isWritten", !error}});
    if (!error) return reporter_.tell("snapshot", path);
    complain("cannot write the picture \"" + path + "\": " + error->description);
    couldWrite_ = false;
  }

  ExitStatus finish() {
    player_.tick(WorkoutPlayer::Clock::now());
    const auto totals = Totals::of(player_);
    reporter_.tell("total", totals.text());
    trace_->write(Trace::Kind::note, "total", traceOf(totals));
    player_.setChangeHandler({});
    if (trace_->hasFailed()) complain("the trace could not be written to its end");
    if (!isPrinted()) complain("standard output could not be written to its end");
    if (!couldWrite_ || trace_->hasFailed() || !isPrinted()) return ExitStatus::unreadable;
    return totals.failed > 0 ? ExitStatus::itemFailed : ExitStatus::success;
  }

  const Arguments& arguments_;
  const std::shared_ptr<Trace> trace_;
  const std::unique_ptr<Window> window_;  // absent in a run without one
  WorkoutPlayer player_;
  Reporter reporter_;
  bool couldWrite_ = true;
};

}  // namespace

ExitStatus run(const Arguments& arguments) {
  try {
    const auto path = arguments.workout.value_or(sampleWorkout());
    const auto workout = readWorkout(path);
    auto script = readScript(arguments, static_cast<std::int64_t>(workout.items.size()));
    const auto trace = openTrace(arguments);
    const auto folder = folderOf(path);
    const auto server = serve(workout, folder);
    auto window = openWindow(arguments, workout.title);
    chooseCache();
    // Nobody listens to a run without a window.
    chooseEngine(window && !arguments.isSilent && hasAudioDevice());
    return Run(arguments, workout, folder, server.get(), std::move(window), trace)
        .play(std::move(script));
  } catch (const Failure& failure) {
    complain(failure.message);
    return failure.status;
  }
}

}  // namespace tavrin::app
