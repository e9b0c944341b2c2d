#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tavrin {

/// A file of one picture, put together from parts of the file it lies in. Not to be copied: it
/// points at what it made itself.
class PictureParts {
 public:
  PictureParts() = default;
  PictureParts(PictureParts&&) = default;
  PictureParts& operator=(PictureParts&&) = default;

  /// Adds bytes that stay where they are.
  void add(std::string_view bytes) {
    parts_.push_back(bytes);
    size_ += bytes.size();
  }
  /// Adds bytes of its own.
  void make(std::string bytes) { add(made_.emplace_back(std::move(bytes))); }

  const std::vector<std::string_view>& all() const { return parts_; }
  /// In bytes.
  std::size_t size() const { return size_; }

 private:
  std::vector<std::string_view> parts_;
  std::deque<std::string> made_;
  std::size_t size_ = 0;
};

}  // namespace tavrin
