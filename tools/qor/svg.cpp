// The map as SVG: one path for each country, with its name as a tooltip.
//
// Coordinates are whole tenths of a pixel, each the step from the one before: a third of the size of plain coordinates,
// and finer than anyone can see.
#include "tools/qor/svg.h"

#include <fmt/format.h>

#include <cmath>
#include <iterator>
#include <string>

#include "tools/qor/text.h"

namespace tool {
namespace {

constexpr double kUnitsPerPixel = 10;

std::string hex(const Rgbad& colour) {
    const auto byteOf = [](double part) { return std::lround(part * 255); };
    return fmt::format("#{:02x}{:02x}{:02x}", byteOf(colour[0]), byteOf(colour[1]), byteOf(colour[2]));
}

// A number needs a space before it unless its sign stands there.
void appendNumber(std::string& data, long number) {
    if (number >= 0) data += ' ';
    fmt::format_to(std::back_inserter(data), "{}", number);
}

void appendLine(std::string& data, const std::vector<Spot>& line, bool isClosed) {
    long x = 0;
    long y = 0;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const long toX = std::lround(line[i].x * kUnitsPerPixel);
        const long toY = std::lround(line[i].y * kUnitsPerPixel);
        if (i > 1 && toX == x && toY == y) continue;
        if (i < 2) data += i == 0 ? 'M' : 'l';
        appendNumber(data, toX - x);
        appendNumber(data, toY - y);
        x = toX;
        y = toY;
    }
    if (isClosed) data += 'z';
}

std::string pathData(const Path& path, bool isClosed) {
    std::string data;
    for (const std::vector<Spot>& line : path) appendLine(data, line, isClosed);
    return data;
}

std::string strokeOf(const Stroke& stroke) {
    return fmt::format("stroke=\"{}\" stroke-width=\"{}\" stroke-linejoin=\"round\"", hex(stroke.colour),
                       stroke.width * kUnitsPerPixel);
}

std::string lines(const Path& path, const Stroke& stroke) {
    return fmt::format("<path fill=\"none\" {} pointer-events=\"none\" d=\"{}\"/>\n", strokeOf(stroke),
                       pathData(path, false));
}

std::string landsOf(const Map& map) {
    std::string lands;
    for (const Land& land : map.lands) {
        if (land.rings.empty()) continue;
        lands += fmt::format("<path fill=\"{}\" d=\"{}\"><title>{}</title></path>\n", hex(land.colour),
                             pathData(land.rings, true), escapedXml(land.name));
    }
    return lands;
}

std::string labelsOf(const Map& map) {
    std::string labels;
    for (const Label& label : map.labels) {
        labels += fmt::format("<text x=\"{}\" y=\"{}\" font-size=\"{}\"{} fill=\"{}\">{}</text>\n", label.at.x,
                              label.at.y, label.size, label.isBold ? " font-weight=\"bold\"" : "", hex(label.colour),
                              escapedXml(label.text));
    }
    return labels;
}

std::string svgOf(const Map& map) {
    const std::string globe = pathData({map.globe}, true);
    std::string svg = fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0} {1}\" width=\"{0}\" height=\"{1}\">\n"
        "<rect width=\"{0}\" height=\"{1}\" fill=\"{2}\"/>\n"
        "<g transform=\"scale({3})\">\n"
        "<clipPath id=\"globe\"><path d=\"{4}\"/></clipPath>\n"
        "<path fill=\"{5}\" d=\"{4}\"/>\n",
        map.width, map.height, hex(map.paper), 1 / kUnitsPerPixel, globe, hex(map.ocean));
    svg += "<g clip-path=\"url(#globe)\">\n" + lines(map.graticule, map.graticuleStroke);
    svg += fmt::format("<g fill-rule=\"evenodd\" {}>\n{}</g>\n", strokeOf(map.landStroke), landsOf(map));
    svg += lines(map.borders, map.borderStroke) + "</g>\n";
    svg += fmt::format("<path fill=\"none\" {} d=\"{}\"/>\n</g>\n", strokeOf(map.globeStroke), globe);
    svg += "<g font-family=\"'DejaVu Sans', Verdana, sans-serif\" text-anchor=\"middle\">\n" + labelsOf(map);
    return svg + "</g>\n</svg>\n";
}

}  // namespace

void writeSvg(const Map& map, const Folder& to, std::string_view name) {
    OutputFile file(to, name, qor::File::Format::Text);
    file.put(svgOf(map));
    file.finish();
}

}  // namespace tool
