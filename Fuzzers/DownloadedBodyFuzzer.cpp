// Appends to a download's body and reads from it in an order that the input chooses, and holds it
// against a plain array of bytes: in memory, or in a file that is written meanwhile.

#include <algorithm>
#include <cstdlib>
#include <future>
#include <span>
#include <string>
#include <vector>

#include "Tavrin/Foundation/FatalError.hpp"
#include "Tavrin/Item/Internal/DownloadedBody.hpp"

namespace tavrin {
namespace {

void require(bool holds, std::string_view what) {
  if (!holds) fatalError(what);
}

class Campaign {
 public:
  explicit Campaign(std::span<const std::uint8_t> input)
      : input_(input),
        hasFile_(take(1) % 2 == 0),
        body_(DownloadedBody::make(hasFile_ ? directory() : "", take(2), nullptr)) {}

  void run() {
    while (!input_.empty()) {
      if (take(1) % 2 == 0) {
        append(take(3) % 100'000);
      } else {
        read();
      }
    }
    std::promise<void> written;
    body_->finish([&] { written.set_value(); });
    written.get_future().wait();
    read();
    check(body_->whole(), 0, std::ssize(plain_));
    require(!hasFile_ || plain_.empty() || body_->whole().source(), "the body is not in its file");
  }

 private:
  static std::string directory() {
    const char* chosen = std::getenv("TMPDIR");
    return chosen ? chosen : "/tmp";
  }

  std::int64_t take(int count) {
    std::int64_t value = 0;
    for (; count > 0 && !input_.empty(); --count, input_ = input_.subspan(1)) {
      value = value << 8 | input_.front();
    }
    return value;
  }

  void append(std::int64_t count) {
    const auto start = plain_.size();
    plain_.resize(start + static_cast<std::size_t>(count));
    for (auto i = start; i < plain_.size(); ++i) {
      plain_[i] = static_cast<std::byte>((i * 31 + i / 256) & 0xFF);
    }
    require(!body_->append(std::span(plain_).subspan(start)), "bytes were refused");
    require(body_->count() == std::ssize(plain_), "the count is another");
  }

  void read() {
    if (plain_.empty()) return;
    const auto offset = take(3) % std::ssize(plain_);
    const auto length = take(3) % (std::ssize(plain_) - offset) + 1;
    check(body_->subdata(offset, length), offset, length);
  }

  void check(const Data& data, std::int64_t offset, std::int64_t length) const {
    require(data.count() == length, "a window of another length");
    std::vector<std::byte> bytes(static_cast<std::size_t>(length));
    require(!data.read(0, bytes), "a window cannot be read");
    require(std::ranges::equal(
                bytes, std::span(plain_).subspan(static_cast<std::size_t>(offset), bytes.size())),
            "other bytes");
  }

  std::span<const std::uint8_t> input_;
  const bool hasFile_;
  const std::shared_ptr<DownloadedBody> body_;
  std::vector<std::byte> plain_;
};

}  // namespace
}  // namespace tavrin

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  tavrin::Campaign({bytes, size}).run();
  return 0;
}
