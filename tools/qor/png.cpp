// The map as PNG, drawn and encoded by cairo.
#include "tools/qor/png.h"

#include <cairo.h>

#include <memory>

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

    void draw(const Map& map) {
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

        // What lies beyond the globe is painted over, which is much faster than a clip that everything has to pass.
        cairo_rectangle(context, 0, 0, map.width, map.height);
        addLine(map.globe, true);
        setColour(map.paper);
        cairo_fill(context);
        stroke({map.globe}, map.globeStroke, true);
        for (const Label& label : map.labels) write(label);
    }

 private:
    void setColour(const Colour& colour) {
        cairo_set_source_rgb(context, colour.red / 255.0, colour.green / 255.0, colour.blue / 255.0);
    }

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

}  // namespace

void writePng(const Map& map, const Folder& to, std::string_view name) {
    const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, map.width, map.height));
    const Context context(cairo_create(surface.get()));
    Drawing(context.get()).draw(map);

    OutputFile file(to, name, qor::File::Format::Binary);
    cairo_status_t status = cairo_status(context.get());
    if (status == CAIRO_STATUS_SUCCESS) {
        status = cairo_surface_write_to_png_stream(surface.get(), putBytes, &file);
    }
    file.finish();
    if (status != CAIRO_STATUS_SUCCESS) throw Failure(to.label(name), cairo_status_to_string(status));
}

}  // namespace tool
