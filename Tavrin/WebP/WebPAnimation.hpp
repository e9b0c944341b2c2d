#pragma once

#include "Tavrin/View/ImageDecoder.hpp"
#include "Tavrin/WebP/WebPHandles.hpp"

namespace tavrin {

/// Plays a WebP with frames. Its canvas starts transparent, whatever background it names.
class WebPAnimation final : public ImageDecoder {
 public:
  /// `limit` is the most frames.
  WebPAnimation(Data bytes, std::int64_t limit);

  /// False when the library refuses the bytes, or finds no frame in them.
  bool isOpen() const { return decoder_ != nullptr && !delays_.empty(); }

  const std::vector<std::chrono::milliseconds>& delays() const override { return delays_; }
  std::optional<std::int64_t> plays() const override { return plays_; }
  std::shared_ptr<const Bitmap> next() override;
  void rewind() override;

 private:
  void collectDelays(std::int64_t limit);

  const Data bytes_;
  WebPHandle<WebPAnimDecoder> decoder_;
  WebPAnimInfo info_{};
  std::vector<std::chrono::milliseconds> delays_;
  std::optional<std::int64_t> plays_;
  std::size_t position_ = 0;  // of the next frame
};

}  // namespace tavrin
