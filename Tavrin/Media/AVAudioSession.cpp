#include "Tavrin/Media/AVAudioSession.hpp"

#include <utility>

namespace tavrin {

AVAudioSession& AVAudioSession::sharedInstance() {
  static auto* session = new AVAudioSession;
  return *session;
}

bool AVAudioSession::setCategory(Category category) {
  Hook hook;
  {
    const LockGuard lock(mutex_);
    category_ = category;
    hook = hook_;
  }
  try {
    return !hook || hook(category);
  } catch (...) {
    return false;
  }
}

AVAudioSession::Category AVAudioSession::category() const {
  const LockGuard lock(mutex_);
  return category_;
}

void AVAudioSession::setHook(Hook hook) {
  const LockGuard lock(mutex_);
  hook_ = std::move(hook);
}

}  // namespace tavrin
