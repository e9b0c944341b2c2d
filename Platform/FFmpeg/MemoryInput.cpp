#include "Platform/FFmpeg/MemoryInput.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>

extern "C" {
#include <libavformat/avio.h>
#include <libavutil/error.h>
#include <libavutil/mem.h>
}

namespace tavrin {
namespace {

constexpr int bufferSize = 16 * 1024;

}  // namespace

MemoryInput::MemoryInput(Data bytes) : bytes_(std::move(bytes)) {
  auto* buffer = static_cast<unsigned char*>(av_malloc(bufferSize));
  if (buffer == nullptr) return;
  context_.reset(avio_alloc_context(buffer, bufferSize, 0, this, &read, nullptr, &seek));
  if (!context_) av_free(buffer);
}

void MemoryInput::rewind() {
  if (context_) avio_seek(context_.get(), 0, SEEK_SET);
}

void MemoryInput::Free::operator()(AVIOContext* context) const {
  av_freep(static_cast<void*>(&context->buffer));
  avio_context_free(&context);
}

int MemoryInput::read(void* self, std::uint8_t* target, int size) {
  auto& input = *static_cast<MemoryInput*>(self);
  const auto count = std::min<std::int64_t>(size, input.bytes_.count() - input.position_);
  if (count <= 0) return AVERROR_EOF;
  std::memcpy(target, input.bytes_.bytes() + input.position_, static_cast<std::size_t>(count));
  input.position_ += count;
  return static_cast<int>(count);
}

std::int64_t MemoryInput::seek(void* self, std::int64_t offset, int whence) {
  auto& input = *static_cast<MemoryInput*>(self);
  const auto size = input.bytes_.count();
  const int origin = whence & ~AVSEEK_FORCE;
  if (origin == AVSEEK_SIZE) return size;
  std::int64_t base = 0;
  if (origin == SEEK_CUR) base = input.position_;
  if (origin == SEEK_END) base = size;
  if (offset < -base || offset > size - base) return AVERROR(EINVAL);
  input.position_ = base + offset;
  return input.position_;
}

}  // namespace tavrin
