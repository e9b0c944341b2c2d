#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Tavrin/Foundation/Error.hpp"
#include "Tavrin/Media/MediaEngine.hpp"
#include "Tavrin/View/Bitmap.hpp"
#include "Tavrin/View/Geometry.hpp"
#include "Tavrin/View/UIColor.hpp"
#include "Tavrin/View/UIImage.hpp"

namespace tavrin::app {

/// How a line of text is drawn. What does not fit ends in an ellipsis.
struct TextStyle {
  enum class Weight { regular, medium, semibold };
  enum class Align { leading, center, trailing };

  double size = 13;  // points
  Weight weight = Weight::regular;
  Align align = Align::leading;
};

/// A picture to draw on. Places and lengths are in points, counted from the top left corner. One
/// thread at a time.
class Canvas {
 public:
  /// In pixels, at least 1 each; `scale` is the number of pixels that a point has.
  Canvas(int width, int height, double scale);
  ~Canvas();
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;

  Size size() const;
  int width() const;   // pixels
  int height() const;  // pixels
  /// Rows of 32-bit words, blue in the lowest byte, then green, then red.
  const std::byte* pixels() const;
  std::ptrdiff_t stride() const;  // bytes

  void fill(const Rect& rect, const UIColor& color, double radius = 0);
  void outline(const Rect& rect, const UIColor& color, double radius, double width);
  /// A triangle that points to the right, with rounded corners.
  void triangle(const Rect& rect, const UIColor& color);
  /// Centred vertically. Returns the width that the text took.
  double text(std::string_view text, const Rect& rect, const UIColor& color,
              const TextStyle& style = {});
  /// In as many lines as it takes, from the top; the last that fits ends in an ellipsis.
  void paragraph(std::string_view text, const Rect& rect, const UIColor& color,
                 const TextStyle& style = {});
  /// Of a paragraph with that width.
  double heightOf(std::string_view text, double width, const TextStyle& style) const;
  double widthOf(std::string_view text, const TextStyle& style) const;
  /// The shape of an icon, in a colour.
  void icon(const UIImage& image, const Rect& rect, const UIColor& color);
  /// Stretched to the rectangle.
  void bitmap(const Bitmap& bitmap, const Rect& rect);
  /// Has the pixels of the rectangle drawn by a function; they stay as they are when it returns
  /// false. Returns what it returned.
  bool picture(const Rect& rect, const std::function<bool(const PixelBuffer&)>& draw);

  /// Returns why it could not.
  std::optional<Error> writePng(const std::string& path) const;

 private:
  struct Surface;
  std::unique_ptr<Surface> surface_;
};

}  // namespace tavrin::app
