// What plays a video reads it by byte ranges: from a download, from memory, and from a plain file,
// which says that the contract itself holds water.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

#include "Tests/Contracts/ByteRangeContract.hpp"
#include "Tests/Item/ItemSupport.hpp"
#include "Tests/Support/RangeServer.hpp"

namespace tavrin::testing {
namespace {

class FileReader final : public AssetByteReader {
 public:
  FileReader(int file, std::int64_t length) : file_(file), length_(length) {}

  std::optional<std::int64_t> size() override {
    return isCancelled_ ? std::nullopt : std::optional(length_);
  }
  bool seek(std::int64_t offset) override {
    if (isCancelled_ || offset < 0 || offset > length_) return false;
    position_ = offset;
    return true;
  }
  std::int64_t read(std::span<std::byte> buffer) override {
    if (isCancelled_) return -1;
    const auto count = ::pread(file_, buffer.data(), buffer.size(), position_);
    position_ += count;
    return count;
  }
  void cancel() override { isCancelled_ = true; }
  bool hasFailed() const override { return false; }

 private:
  const int file_;  // not owned
  const std::int64_t length_;
  std::int64_t position_ = 0;
  std::atomic<bool> isCancelled_ = false;
};

class File final : public ByteRangeSource {
 public:
  explicit File(const std::string& body) : length_(static_cast<std::int64_t>(body.size())) {
    std::string name = ::testing::TempDir() + "tavrin-XXXXXX";
    file_ = ::mkstemp(name.data());
    ::unlink(name.c_str());
    EXPECT_EQ(::write(file_, body.data(), body.size()), static_cast<ssize_t>(body.size()));
  }
  ~File() override { ::close(file_); }
  std::shared_ptr<AssetByteReader> makeReader() override {
    return std::make_shared<FileReader>(file_, length_);
  }

 private:
  const std::int64_t length_;
  int file_ = -1;
};

class InMemory final : public ByteRangeSource {
 public:
  explicit InMemory(const std::string& body)
      : item_(CachingPlayerItem::make(Data(body), "video/mp4", "clip.mp4")) {}
  std::shared_ptr<AssetByteReader> makeReader() override {
    return AssetByteReader::make(item_->asset());
  }

 private:
  const std::shared_ptr<CachingPlayerItem> item_;
};

// The first request starts the download.
class Downloading final : public ByteRangeSource {
 public:
  Downloading(const std::string& body, std::string_view behaviour) {
    server_.serve("/clip.mp4", body, behaviour);
    item_ = CachingPlayerItem::make(server_.url("/clip.mp4"));
  }
  ~Downloading() override { EXPECT_LE(server_.requests().size(), 1u); }
  std::shared_ptr<AssetByteReader> makeReader() override {
    return AssetByteReader::make(item_->asset());
  }

 private:
  RangeServer server_;
  std::shared_ptr<CachingPlayerItem> item_;
};

ByteRangeCase downloading(std::string name, const std::string& behaviour, bool declaresLength) {
  return {std::move(name),
          [behaviour](const auto& body) { return std::make_unique<Downloading>(body, behaviour); },
          declaresLength};
}

INSTANTIATE_TEST_SUITE_P(
    , ByteRangeContract,
    ::testing::Values(
        ByteRangeCase{"File", [](const auto& body) { return std::make_unique<File>(body); }},
        ByteRangeCase{"InMemory",
                      [](const auto& body) { return std::make_unique<InMemory>(body); }},
        downloading("Downloading", "plain", true),
        downloading("DownloadingInChunks", "chunked", false),
        downloading("DownloadingUntilTheConnectionCloses", "until close", false)),
    [](const auto& each) { return each.param.name; });

}  // namespace
}  // namespace tavrin::testing
