#include "fuzzywindow/TextPicture.h"

#include <glib.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <memory>

namespace {

template <auto function> struct Deleter {
    template <class T> void operator()(T *object) const {
        function(object);
    }
};

using ScopedSurface = std::unique_ptr<cairo_surface_t, Deleter<cairo_surface_destroy>>;
using ScopedCairo = std::unique_ptr<cairo_t, Deleter<cairo_destroy>>;
using ScopedLayout = std::unique_ptr<PangoLayout, Deleter<g_object_unref>>;
using ScopedFont = std::unique_ptr<PangoFontDescription, Deleter<pango_font_description_free>>;
using ScopedFontOptions = std::unique_ptr<cairo_font_options_t, Deleter<cairo_font_options_destroy>>;
using ScopedAttributes = std::unique_ptr<PangoAttrList, Deleter<pango_attr_list_unref>>;

// The font that the desktop uses for itself, where it says so.
constexpr char kFamilies[] = "system-ui, sans-serif";

ScopedLayout LayOut(cairo_t *cairo, const std::string &text, const TextStyle &style, double width) {
    ScopedLayout layout(pango_cairo_create_layout(cairo));
    PangoContext *context = pango_layout_get_context(layout.get());
    pango_cairo_context_set_resolution(context, 72); // one point is one unit
    // The same widths whatever is drawn on, so that what was measured holds for what is drawn.
    const ScopedFontOptions options(cairo_font_options_create());
    cairo_font_options_set_antialias(options.get(), CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_hint_style(options.get(), CAIRO_HINT_STYLE_SLIGHT);
    pango_cairo_context_set_font_options(context, options.get());
    if (!style.language.empty()) {
        pango_context_set_language(context, pango_language_from_string(std::string(style.language).c_str()));
    }
    const ScopedFont font(pango_font_description_new());
    pango_font_description_set_family_static(font.get(), kFamilies);
    pango_font_description_set_absolute_size(font.get(), style.size * PANGO_SCALE);
    pango_font_description_set_weight(font.get(), style.bold ? PANGO_WEIGHT_SEMIBOLD : PANGO_WEIGHT_NORMAL);
    pango_layout_set_font_description(layout.get(), font.get());
    pango_layout_set_text(layout.get(), text.data(), static_cast<int>(text.size()));
    pango_layout_set_width(layout.get(), static_cast<int>(width * PANGO_SCALE));
    pango_layout_set_wrap(layout.get(), PANGO_WRAP_WORD_CHAR);
    pango_layout_set_ellipsize(layout.get(), PANGO_ELLIPSIZE_END);
    pango_layout_set_height(layout.get(), -style.lines);
    const ScopedAttributes attributes(pango_attr_list_new());
    pango_attr_list_insert(attributes.get(), pango_attr_insert_hyphens_new(FALSE)); // the text is its author's
    pango_layout_set_attributes(layout.get(), attributes.get());
    pango_layout_set_alignment(layout.get(), PANGO_ALIGN_CENTER);
    return layout;
}

double Part(std::uint32_t colour, int shift) {
    return ((colour >> shift) & 0xFF) / 255.0;
}

// Cairo's pixels are words 0xAARRGGBB; AppKit wants bytes in the order red, green, blue, alpha.
void CopyPixels(cairo_surface_t *surface, TextPicture &picture) {
    cairo_surface_flush(surface);
    const unsigned char *row = cairo_image_surface_get_data(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    picture.pixels.reserve(static_cast<std::size_t>(picture.pixelsWide) * picture.pixelsHigh * 4);
    for (int y = 0; y < picture.pixelsHigh; ++y, row += stride) {
        const auto *words = reinterpret_cast<const std::uint32_t *>(row);
        for (int x = 0; x < picture.pixelsWide; ++x) {
            for (const int shift : {16, 8, 0, 24}) {
                picture.pixels.push_back(static_cast<std::uint8_t>(words[x] >> shift));
            }
        }
    }
}

} // namespace

TextPicture DrawText(std::string_view text, const TextStyle &style, double width, double scale) {
    TextPicture picture;
    const std::string paragraph = OneParagraph(text);
    if (paragraph.empty()) {
        return picture;
    }
    const ScopedSurface measure(cairo_image_surface_create(CAIRO_FORMAT_A8, 1, 1));
    const ScopedCairo measuring(cairo_create(measure.get()));
    const ScopedLayout layout = LayOut(measuring.get(), paragraph, style, width);
    PangoRectangle ink, logical;
    pango_layout_get_pixel_extents(layout.get(), &ink, &logical);
    // Letters may reach out of their line (accents, italics, joined scripts).
    const int top = std::min(ink.y, logical.y);
    const int bottom = std::max(ink.y + ink.height, logical.y + logical.height);
    const int left = std::min(ink.x, logical.x);
    const int right = std::max(ink.x + ink.width, logical.x + logical.width);
    picture.width = right - left;
    picture.height = bottom - top;
    picture.cut = pango_layout_is_ellipsized(layout.get());
    picture.pixelsWide = static_cast<int>(std::ceil(picture.width * scale));
    picture.pixelsHigh = static_cast<int>(std::ceil(picture.height * scale));

    const ScopedSurface surface(
        cairo_image_surface_create(CAIRO_FORMAT_ARGB32, picture.pixelsWide, picture.pixelsHigh));
    const ScopedCairo cairo(cairo_create(surface.get()));
    cairo_scale(cairo.get(), scale, scale);
    cairo_translate(cairo.get(), -left, -top);
    cairo_set_source_rgb(cairo.get(), Part(style.colour, 16), Part(style.colour, 8), Part(style.colour, 0));
    pango_cairo_show_layout(cairo.get(), layout.get());
    if (cairo_status(cairo.get()) != CAIRO_STATUS_SUCCESS) {
        return {};
    }
    CopyPixels(surface.get(), picture);
    return picture;
}

std::string Initial(std::string_view text) {
    const std::string valid = OneParagraph(text);
    for (const char *at = valid.c_str(); *at; at = g_utf8_next_char(at)) {
        const gunichar character = g_utf8_get_char(at);
        if (g_unichar_isalnum(character)) {
            char bytes[6];
            return std::string(bytes, g_unichar_to_utf8(g_unichar_toupper(character), bytes));
        }
    }
    return "";
}
