#include "App/Canvas.hpp"

#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

namespace tavrin::app {

namespace {

struct Free {
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
  void operator()(cairo_t* context) const { cairo_destroy(context); }
  void operator()(PangoLayout* layout) const { g_object_unref(layout); }
  void operator()(PangoFontDescription* font) const { pango_font_description_free(font); }
  void operator()(char* text) const { g_free(text); }
};
template <class Object>
using Handle = std::unique_ptr<Object, Free>;

constexpr int bytesPerPixel = 4;

constexpr std::uint32_t word(unsigned alpha, unsigned red, unsigned green, unsigned blue) {
  return alpha << 24U | red << 16U | green << 8U | blue;
}

// The bytes of a bitmap in the form that the drawing library takes: premultiplied words.
Handle<cairo_surface_t> surfaceOf(const Bitmap& bitmap) {
  Handle<cairo_surface_t> surface(
      cairo_image_surface_create(CAIRO_FORMAT_ARGB32, bitmap.width, bitmap.height));
  auto* target = cairo_image_surface_get_data(surface.get());
  if (target == nullptr) return surface;
  const auto stride = cairo_image_surface_get_stride(surface.get());
  const auto* from = bitmap.pixels.data();
  for (int y = 0; y < bitmap.height; ++y) {
    auto* row = reinterpret_cast<std::uint32_t*>(target + std::ptrdiff_t{y} * stride);
    for (int x = 0; x < bitmap.width; ++x, from += Bitmap::bytesPerPixel) {
      const unsigned alpha = from[3];
      const auto scaled = [alpha](unsigned part) { return (part * alpha + 127) / 255; };
      row[x] = word(alpha, scaled(from[0]), scaled(from[1]), scaled(from[2]));
    }
  }
  cairo_surface_mark_dirty(surface.get());
  return surface;
}

PangoWeight pangoWeight(TextStyle::Weight weight) {
  switch (weight) {
    case TextStyle::Weight::regular:
      return PANGO_WEIGHT_NORMAL;
    case TextStyle::Weight::medium:
      return PANGO_WEIGHT_MEDIUM;
    case TextStyle::Weight::semibold:
      return PANGO_WEIGHT_SEMIBOLD;
  }
  return PANGO_WEIGHT_NORMAL;
}

PangoAlignment pangoAlignment(TextStyle::Align align) {
  switch (align) {
    case TextStyle::Align::leading:
      return PANGO_ALIGN_LEFT;
    case TextStyle::Align::center:
      return PANGO_ALIGN_CENTER;
    case TextStyle::Align::trailing:
      return PANGO_ALIGN_RIGHT;
  }
  return PANGO_ALIGN_LEFT;
}

void setColor(cairo_t* context, const UIColor& color) {
  cairo_set_source_rgba(context, color.red, color.green, color.blue, color.alpha);
}

void roundedPath(cairo_t* context, const Rect& rect, double radius) {
  constexpr double quarter = std::numbers::pi / 2;
  const double r = std::min({radius, rect.width / 2, rect.height / 2});
  if (r <= 0) return cairo_rectangle(context, rect.x, rect.y, rect.width, rect.height);
  const double right = rect.x + rect.width;
  const double bottom = rect.y + rect.height;
  cairo_new_sub_path(context);
  cairo_arc(context, right - r, rect.y + r, r, -quarter, 0);
  cairo_arc(context, right - r, bottom - r, r, 0, quarter);
  cairo_arc(context, rect.x + r, bottom - r, r, quarter, 2 * quarter);
  cairo_arc(context, rect.x + r, rect.y + r, r, 2 * quarter, 3 * quarter);
  cairo_close_path(context);
}

// Has what follows drawn as if the bitmap filled the rectangle.
void stretch(cairo_t* context, int width, int height, const Rect& rect) {
  cairo_translate(context, rect.x, rect.y);
  cairo_scale(context, rect.width / width, rect.height / height);
}

}  // namespace

struct Canvas::Surface {
  Handle<cairo_surface_t> image;
  Handle<cairo_t> context;
  double scale;
  std::vector<std::byte> scratch;

  Handle<PangoLayout> layout(std::string_view text, const TextStyle& style) const {
    Handle<PangoLayout> made(pango_cairo_create_layout(context.get()));
    const Handle<PangoFontDescription> font(pango_font_description_new());
    pango_font_description_set_family_static(font.get(), "Inter, DejaVu Sans, sans-serif");
    pango_font_description_set_weight(font.get(), pangoWeight(style.weight));
    pango_font_description_set_absolute_size(font.get(), style.size * PANGO_SCALE);
    pango_layout_set_font_description(made.get(), font.get());
    pango_layout_set_alignment(made.get(), pangoAlignment(style.align));
    pango_layout_set_ellipsize(made.get(), PANGO_ELLIPSIZE_END);
    pango_layout_set_single_paragraph_mode(made.get(), TRUE);
    const Handle<char> valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
    pango_layout_set_text(made.get(), valid.get(), -1);
    return made;
  }

  Handle<PangoLayout> paragraph(std::string_view text, double width, const TextStyle& style) const {
    auto made = layout(text, style);
    pango_layout_set_ellipsize(made.get(), PANGO_ELLIPSIZE_NONE);
    pango_layout_set_wrap(made.get(), PANGO_WRAP_WORD_CHAR);
    pango_layout_set_width(made.get(), static_cast<int>(width * PANGO_SCALE));
    return made;
  }
};

Canvas::Canvas(int width, int height, double scale) : surface_(std::make_unique<Surface>()) {
  surface_->image.reset(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
  surface_->context.reset(cairo_create(surface_->image.get()));
  surface_->scale = scale;
  cairo_scale(surface_->context.get(), scale, scale);
}

Canvas::~Canvas() = default;

int Canvas::width() const { return cairo_image_surface_get_width(surface_->image.get()); }
int Canvas::height() const { return cairo_image_surface_get_height(surface_->image.get()); }
Size Canvas::size() const { return {width() / surface_->scale, height() / surface_->scale}; }
std::ptrdiff_t Canvas::stride() const {
  return cairo_image_surface_get_stride(surface_->image.get());
}
const std::byte* Canvas::pixels() const {
  cairo_surface_flush(surface_->image.get());
  return reinterpret_cast<const std::byte*>(cairo_image_surface_get_data(surface_->image.get()));
}

void Canvas::fill(const Rect& rect, const UIColor& color, double radius) {
  auto* context = surface_->context.get();
  setColor(context, color);
  roundedPath(context, rect, radius);
  cairo_fill(context);
}

void Canvas::outline(const Rect& rect, const UIColor& color, double radius, double width) {
  auto* context = surface_->context.get();
  setColor(context, color);
  cairo_set_line_width(context, width);
  roundedPath(context,
              {rect.x + width / 2, rect.y + width / 2, rect.width - width, rect.height - width},
              radius - width / 2);
  cairo_stroke(context);
}

void Canvas::triangle(const Rect& rect, const UIColor& color) {
  auto* context = surface_->context.get();
  setColor(context, color);
  cairo_set_line_width(context, rect.width / 8);
  cairo_set_line_join(context, CAIRO_LINE_JOIN_ROUND);
  cairo_move_to(context, rect.x, rect.y);
  cairo_line_to(context, rect.x + rect.width, rect.y + rect.height / 2);
  cairo_line_to(context, rect.x, rect.y + rect.height);
  cairo_close_path(context);
  cairo_fill_preserve(context);
  cairo_stroke(context);
}

double Canvas::text(std::string_view text, const Rect& rect, const UIColor& color,
                    const TextStyle& style) {
  auto* context = surface_->context.get();
  const auto layout = surface_->layout(text, style);
  pango_layout_set_width(layout.get(), static_cast<int>(rect.width * PANGO_SCALE));
  PangoRectangle taken{};
  pango_layout_get_pixel_extents(layout.get(), nullptr, &taken);
  setColor(context, color);
  cairo_move_to(context, rect.x, rect.y + (rect.height - taken.height) / 2);
  pango_cairo_show_layout(context, layout.get());
  return taken.width;
}

void Canvas::paragraph(std::string_view text, const Rect& rect, const UIColor& color,
                       const TextStyle& style) {
  auto* context = surface_->context.get();
  const auto layout = surface_->paragraph(text, rect.width, style);
  pango_layout_set_height(layout.get(), static_cast<int>(std::ceil(rect.height) * PANGO_SCALE));
  pango_layout_set_ellipsize(layout.get(), PANGO_ELLIPSIZE_END);
  setColor(context, color);
  cairo_move_to(context, rect.x, rect.y);
  pango_cairo_show_layout(context, layout.get());
}

double Canvas::heightOf(std::string_view text, double width, const TextStyle& style) const {
  int height = 0;
  pango_layout_get_pixel_size(surface_->paragraph(text, width, style).get(), nullptr, &height);
  return height;
}

double Canvas::widthOf(std::string_view text, const TextStyle& style) const {
  const auto layout = surface_->layout(text, style);
  int width = 0;
  pango_layout_get_pixel_size(layout.get(), &width, nullptr);
  return width;
}

void Canvas::icon(const UIImage& image, const Rect& rect, const UIColor& color) {
  auto* context = surface_->context.get();
  const auto& drawn = image.rendering(static_cast<int>(std::ceil(rect.height * surface_->scale)));
  const auto shape = surfaceOf(drawn);
  cairo_save(context);
  stretch(context, drawn.width, drawn.height, rect);
  setColor(context, color);
  cairo_mask_surface(context, shape.get(), 0, 0);
  cairo_restore(context);
}

void Canvas::bitmap(const Bitmap& bitmap, const Rect& rect) {
  auto* context = surface_->context.get();
  const auto drawn = surfaceOf(bitmap);
  cairo_save(context);
  stretch(context, bitmap.width, bitmap.height, rect);
  cairo_set_source_surface(context, drawn.get(), 0, 0);
  // Without it the edges would fade into what lies below.
  cairo_pattern_set_extend(cairo_get_source(context), CAIRO_EXTEND_PAD);
  cairo_rectangle(context, 0, 0, bitmap.width, bitmap.height);
  cairo_fill(context);
  cairo_restore(context);
}

bool Canvas::picture(const Rect& rect, const std::function<bool(const PixelBuffer&)>& draw) {
  const auto pixel = [this](double points) {
    return static_cast<int>(std::lround(points * surface_->scale));
  };
  const int left = std::clamp(pixel(rect.x), 0, width());
  const int top = std::clamp(pixel(rect.y), 0, height());
  const int across = std::clamp(pixel(rect.x + rect.width), left, width()) - left;
  const int down = std::clamp(pixel(rect.y + rect.height), top, height()) - top;
  if (across == 0 || down == 0) return false;

  constexpr std::ptrdiff_t alignment = 64;  // of rows, as drawing libraries like them
  const auto rowBytes =
      (std::ptrdiff_t{across} * bytesPerPixel + alignment - 1) / alignment * alignment;
  surface_->scratch.resize(static_cast<std::size_t>(rowBytes * down));
  if (!draw({surface_->scratch.data(), across, down, rowBytes})) return false;

  cairo_surface_flush(surface_->image.get());
  auto* target = cairo_image_surface_get_data(surface_->image.get());
  for (int y = 0; y < down; ++y) {
    const auto* from =
        reinterpret_cast<const unsigned char*>(surface_->scratch.data() + rowBytes * y);
    auto* row = reinterpret_cast<std::uint32_t*>(target + stride() * (top + y)) + left;
    for (int x = 0; x < across; ++x, from += bytesPerPixel) {
      row[x] = word(255, from[0], from[1], from[2]);
    }
  }
  cairo_surface_mark_dirty_rectangle(surface_->image.get(), left, top, across, down);
  return true;
}

std::optional<Error> Canvas::writePng(const std::string& path) const {
  const auto status = cairo_surface_write_to_png(surface_->image.get(), path.c_str());
  if (status == CAIRO_STATUS_SUCCESS) return std::nullopt;
  return Error{cairo_status_to_string(status)};
}

}  // namespace tavrin::app
