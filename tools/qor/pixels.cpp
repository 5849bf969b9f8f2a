// The map in pixels, drawn by cairo, which encodes the PNG file too.
#include "tools/qor/pixels.h"

#include <cairo.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

#include "tools/qor/failure.h"

namespace tool {
namespace {

struct Destroy {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
    void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using Surface = std::unique_ptr<cairo_surface_t, Destroy>;
using Context = std::unique_ptr<cairo_t, Destroy>;

class Drawing {
 public:
    explicit Drawing(cairo_t* itsContext) : context(itsContext) {
        cairo_set_fill_rule(context, CAIRO_FILL_RULE_EVEN_ODD);
        cairo_set_line_join(context, CAIRO_LINE_JOIN_ROUND);
    }

    // The whole map.
    void drawMap(const Map& map) {
        drawInside(map);
        addOutside(map);
        setColour(map.paper);
        cairo_fill(context);
        drawEdge(map);
        for (const Label& label : map.labels) write(label);
    }

    // The globe, with nothing around it.
    void drawGlobe(const Map& map) {
        drawInside(map);
        addOutside(map);
        cairo_set_operator(context, CAIRO_OPERATOR_CLEAR);
        cairo_fill(context);
        cairo_set_operator(context, CAIRO_OPERATOR_OVER);
        drawEdge(map);
    }

 private:
    void drawInside(const Map& map) {
        setColour(map.ocean);
        cairo_paint(context);
        stroke(map.graticule, map.graticuleStroke, false);
        for (const Land& land : map.lands) {
            addPath(land.rings, true);
            setColour(land.colour);
            cairo_fill(context);
            stroke(land.rings, map.landStroke, true);
        }
        stroke(map.borders, map.borderStroke, false);
    }

    // What lies beyond the globe is painted over, which is much faster than a clip that everything has to pass.
    void addOutside(const Map& map) {
        double left = 0, top = 0, right = 0, bottom = 0;
        cairo_clip_extents(context, &left, &top, &right, &bottom);  // of the picture
        cairo_rectangle(context, left, top, right - left, bottom - top);
        addLine(map.globe, true);
    }

    void drawEdge(const Map& map) { stroke({map.globe}, map.globeStroke, true); }

    void setColour(const Rgbad& colour) { cairo_set_source_rgb(context, colour[0], colour[1], colour[2]); }

    void addLine(const std::vector<Spot>& line, bool isClosed) {
        cairo_new_sub_path(context);
        for (const Spot& spot : line) cairo_line_to(context, spot.x, spot.y);
        if (isClosed) cairo_close_path(context);
    }

    void addPath(const Path& path, bool isClosed) {
        for (const std::vector<Spot>& line : path) addLine(line, isClosed);
    }

    // Line by line: the time for one path grows faster than its length.
    void stroke(const Path& path, const Stroke& stroke, bool isClosed) {
        setColour(stroke.colour);
        cairo_set_line_width(context, stroke.width);
        for (const std::vector<Spot>& line : path) {
            addLine(line, isClosed);
            cairo_stroke(context);
        }
    }

    void write(const Label& label) {
        cairo_select_font_face(context, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL,
                               label.isBold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
        cairo_set_font_size(context, label.size);
        cairo_text_extents_t extents;
        cairo_text_extents(context, label.text.c_str(), &extents);
        cairo_move_to(context, label.at.x - extents.x_advance / 2, label.at.y);
        setColour(label.colour);
        cairo_show_text(context, label.text.c_str());
    }

    cairo_t* context;
};

cairo_status_t putBytes(void* file, const unsigned char* bytes, unsigned int count) {
    for (unsigned int i = 0; i < count; ++i) {
        if (!static_cast<OutputFile*>(file)->put(static_cast<char>(bytes[i]))) return CAIRO_STATUS_WRITE_ERROR;
    }
    return CAIRO_STATUS_SUCCESS;
}

// Makes the globe fill the thumbnail, but for a pixel's room at the edges.
void fitGlobe(cairo_t* context, const std::vector<Spot>& globe) {
    const auto byX = [](const Spot& a, const Spot& b) { return a.x < b.x; };
    const auto byY = [](const Spot& a, const Spot& b) { return a.y < b.y; };
    const auto [west, east] = std::minmax_element(globe.begin(), globe.end(), byX);
    const auto [north, south] = std::minmax_element(globe.begin(), globe.end(), byY);
    const double scale =
        std::min((kThumbnailWidth - 2) / (east->x - west->x), (kThumbnailHeight - 2) / (south->y - north->y));
    cairo_translate(context, kThumbnailWidth / 2.0, kThumbnailHeight / 2.0);
    cairo_scale(context, scale, scale);
    cairo_translate(context, -(west->x + east->x) / 2, -(north->y + south->y) / 2);
}

// A pixel of cairo is one number: opacity, red, green, blue, from the high byte down, the colours multiplied by the
// opacity.
Rgba8 pixelOf(std::uint32_t pixel) {
    const std::uint32_t opacity = pixel >> 24;
    const auto colourAt = [&](int shift) {
        return opacity == 0 ? 0 : ((pixel >> shift & 255) * 255 + opacity / 2) / opacity;
    };
    return {colourAt(16), colourAt(8), colourAt(0), opacity};
}

}  // namespace

void writePng(const Map& map, const Folder& to, std::string_view name) {
    const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, map.width, map.height));
    const Context context(cairo_create(surface.get()));
    Drawing(context.get()).drawMap(map);

    OutputFile file(to, name, qor::File::Format::Binary);
    cairo_status_t status = cairo_status(context.get());
    if (status == CAIRO_STATUS_SUCCESS) {
        status = cairo_surface_write_to_png_stream(surface.get(), putBytes, &file);
    }
    file.finish();
    if (status != CAIRO_STATUS_SUCCESS) throw Failure(to.label(name), cairo_status_to_string(status));
}

Thumbnail thumbnailOf(const Map& map) {
    const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kThumbnailWidth, kThumbnailHeight));
    const Context context(cairo_create(surface.get()));
    fitGlobe(context.get(), map.globe);
    Drawing(context.get()).drawGlobe(map);
    const cairo_status_t status = cairo_status(context.get());
    if (status != CAIRO_STATUS_SUCCESS) throw Failure("thumbnail", cairo_status_to_string(status));

    cairo_surface_flush(surface.get());
    const unsigned char* row = cairo_image_surface_get_data(surface.get());
    Thumbnail thumbnail;
    Rgba8* to = thumbnail.data();
    for (int y = 0; y < kThumbnailHeight; ++y, row += cairo_image_surface_get_stride(surface.get())) {
        for (std::size_t x = 0; x < kThumbnailWidth; ++x) {
            std::uint32_t pixel = 0;
            std::memcpy(&pixel, row + x * sizeof(pixel), sizeof(pixel));
            *to++ = pixelOf(pixel);
        }
    }
    return thumbnail;
}

}  // namespace tool
