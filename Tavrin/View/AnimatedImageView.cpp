#include "Tavrin/View/AnimatedImageView.hpp"

#include <new>
#include <utility>

#include "Tavrin/View/Internal/ImageDownload.hpp"

namespace tavrin {

std::shared_ptr<AnimatedImageView> AnimatedImageView::make(AnimatedImage image,
                                                           ViewEnvironment environment) {
  return std::shared_ptr<AnimatedImageView>(
      new AnimatedImageView(std::move(image), std::move(environment)));
}

AnimatedImageView::~AnimatedImageView() { endLoad(); }

void AnimatedImageView::load() {
  {
    const LockGuard lock(mutex_);
    if (std::exchange(isLoading_, true)) return;
  }
  if (!image_.url) {
    post([](AnimatedImageView& self) {
      self.fail({ErrorCode::badAddress, "the image has no address"});
    });
  } else if (auto cached = environment_.cache->find(*image_.url)) {
    post([data = std::move(*cached)](AnimatedImageView& self) {
      self.tryToDecode(data, SDImageCacheType::memory);
    });
  } else {
    download(*image_.url);
  }
}

// The session's delegate does not keep the view alive, so that letting go of it ends the download.
void AnimatedImageView::download(const URL& url) {
  ImageDownload::Callbacks callbacks;
  callbacks.progress = [weak = weak_from_this()](std::int64_t received, std::int64_t expected) {
    const auto self = weak.lock();
    if (self && self->image_.progress) self->image_.progress(received, expected);
  };
  callbacks.finished = [weak = weak_from_this()](const Data& body,
                                                 const std::optional<Error>& error) {
    if (const auto self = weak.lock()) self->finishDownload(body, error);
  };
  const auto session = environment_.makeSession(
      ImageDownload::make(environment_.downloadLimit, std::move(callbacks)));
  {
    const LockGuard lock(mutex_);
    session_ = session;
  }
  const auto task = session->dataTask(url);
  task->setPriority(URLSessionDataTask::highPriority);  // somebody looks at the view
  task->resume();
}

void AnimatedImageView::finishDownload(const Data& body, const std::optional<Error>& error) {
  if (error) return fail(*error);
  post([body](AnimatedImageView& self) { self.tryToDecode(body, SDImageCacheType::none); });
}

void AnimatedImageView::tryToDecode(const Data& body, SDImageCacheType servedFrom) {
  try {
    decode(body, servedFrom);
  } catch (const std::bad_alloc&) {
    fail(Error{ErrorCode::noMemory, "there is not enough memory for the image"});
  }
}

void AnimatedImageView::decode(const Data& body, SDImageCacheType servedFrom) {
  auto opened = ImageDecoder::open(body, environment_.imageLimits);
  if (!opened.decoder) return fail(opened.error);
  auto frames = FrameStore::make(std::move(opened.decoder), environment_.executor,
                                 environment_.decodedFramesBudget);
  if (!frames) return fail({ErrorCode::noPicture, "the image's first picture cannot be decoded"});
  const auto first = frames->at(std::chrono::nanoseconds(0)).bitmap;
  {
    const LockGuard lock(mutex_);
    frames_ = std::move(frames);
  }
  environment_.cache->store(*image_.url, body);
  endLoad();
  environment_.needsDisplay();
  if (image_.success) image_.success(first, body, servedFrom);
}

void AnimatedImageView::fail(const Error& error) {
  endLoad();
  if (image_.failure) image_.failure(error);
}

void AnimatedImageView::endLoad() {
  std::shared_ptr<URLSession> session;
  {
    const LockGuard lock(mutex_);
    isLoading_ = false;
    session = std::exchange(session_, nullptr);
  }
  if (session) session->invalidateAndCancel();
}

void AnimatedImageView::post(std::function<void(AnimatedImageView&)> job) {
  environment_.executor.post([weak = weak_from_this(), job = std::move(job)] {
    if (const auto self = weak.lock()) job(*self);
  });
}

std::optional<AnimatedImageView::Frame> AnimatedImageView::frame(TimePoint now) {
  std::shared_ptr<FrameStore> frames;
  {
    const LockGuard lock(mutex_);
    frames = frames_;
  }
  if (!frames) return std::nullopt;
  if (frames != playing_) {
    playing_ = std::move(frames);
    start_ = now;
  }
  auto shown = playing_->at(now - start_);
  Frame frame;
  frame.naturalSize = {static_cast<double>(shown.bitmap->width),
                       static_cast<double>(shown.bitmap->height)};
  frame.bitmap = std::move(shown.bitmap);
  if (shown.remaining) frame.due = now + *shown.remaining;
  return frame;
}

}  // namespace tavrin
