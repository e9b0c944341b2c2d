#include "Tavrin/Mpv/Internal/MpvReports.hpp"

#include "Tavrin/Foundation/DispatchQueue.hpp"

namespace tavrin {

void MpvReports::begin(LoadId load) {
  if (std::exchange(load_, load) == load) return;
  ready_ = failed_ = end_ = stall_ = false;
}

void MpvReports::tellReady() { tell(ready_, &Listener::engineDidBecomeReady); }
void MpvReports::tellEnd() { tell(end_, &Listener::engineDidPlayToEnd); }
void MpvReports::tellStall() { tell(stall_, &Listener::engineDidStall); }

void MpvReports::tell(bool& told, void (Listener::*call)(LoadId)) {
  if (std::exchange(told, true)) return;
  DispatchQueue::main().async([weak = listener_, call, load = load_] {
    if (const auto listener = weak.lock()) (listener.get()->*call)(load);
  });
}

void MpvReports::tellFailure(const Error& error) {
  if (std::exchange(failed_, true)) return;
  DispatchQueue::main().async([weak = listener_, load = load_, error] {
    if (const auto listener = weak.lock()) listener->engineDidFail(load, error);
  });
}

}  // namespace tavrin
