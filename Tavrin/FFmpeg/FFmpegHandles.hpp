#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
#include <libswscale/swscale.h>
}

namespace tavrin {

/// The libraries' objects, each freed by the function that belongs to it.
struct FFmpegFree {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(SwsContext* context) const { sws_freeContext(context); }
};

template <class Object>
using FFmpegHandle = std::unique_ptr<Object, FFmpegFree>;

}  // namespace tavrin
