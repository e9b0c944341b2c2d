#pragma once

#include <webp/decode.h>
#include <webp/demux.h>

#include <memory>

#include "Tavrin/Foundation/Data.hpp"

namespace tavrin {

/// The library's objects, each freed by the function that belongs to it.
struct WebPFree {
  void operator()(WebPAnimDecoder* decoder) const { WebPAnimDecoderDelete(decoder); }
  void operator()(WebPDemuxer* demuxer) const { WebPDemuxDelete(demuxer); }
};

template <class Object>
using WebPHandle = std::unique_ptr<Object, WebPFree>;

/// The buffer as the library wants it. It must stay where it is.
inline const std::uint8_t* webPBytes(const Data& bytes) {
  return reinterpret_cast<const std::uint8_t*>(bytes.bytes());
}
inline WebPData webPData(const Data& bytes) {
  return {webPBytes(bytes), static_cast<std::size_t>(bytes.count())};
}

}  // namespace tavrin
