// Outlines on the globe: arcs in degrees, and rings that cross the 180th meridian or go round a pole.
#include "tools/qor/outlines.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace tool {
namespace {

constexpr double kFullTurn = 360;
constexpr double kHalfTurn = 180;

std::size_t arcOf(int index) { return static_cast<std::size_t>(index >= 0 ? index : ~index); }

// Adds an arc to a ring that ends where the arc begins.
void join(Line& ring, const Line& arc, bool isBackwards) {
    const std::ptrdiff_t shared = ring.empty() ? 0 : 1;
    if (isBackwards) {
        ring.insert(ring.end(), arc.rbegin() + shared, arc.rend());
    } else {
        ring.insert(ring.end(), arc.begin() + shared, arc.end());
    }
}

// Makes a ring around a pole begin, and so end, on the 180th meridian.
void beginAtTheEdge(Line& ring) {
    if (std::remainder(ring.front().longitude - kHalfTurn, kFullTurn) == 0) return;
    const double turn = ring.back().longitude - ring.front().longitude;
    const double west = std::min(ring.front().longitude, ring.back().longitude);
    const double edge = std::ceil((west - kHalfTurn) / kFullTurn) * kFullTurn + kHalfTurn;
    for (std::size_t i = 0; i + 1 < ring.size(); ++i) {
        const double before = edge - ring[i].longitude;
        const double after = edge - ring[i + 1].longitude;
        if (before * after > 0 || before == after) continue;
        const double latitude = std::lerp(ring[i].latitude, ring[i + 1].latitude, before / (before - after));
        Line turned = {{edge, latitude}};
        turned.insert(turned.end(), ring.begin() + static_cast<std::ptrdiff_t>(i) + 1, ring.end());
        for (std::size_t k = 1; k <= i; ++k) turned.push_back({ring[k].longitude + turn, ring[k].latitude});
        turned.push_back({edge + turn, latitude});
        ring = std::move(turned);
        return;
    }
}

}  // namespace

std::vector<Line> arcLines(const World& world) {
    const Mat3d& t = world.toDegrees;
    std::vector<Line> lines(world.arcCount);
    for (std::size_t arc = 0; arc < lines.size(); ++arc) {
        double x = 0;
        double y = 0;
        for (std::size_t i = startOf(world.arcEnds, arc); i < startOf(world.arcEnds, arc + 1); ++i) {
            x += world.points[i][0];
            y += world.points[i][1];
            lines[arc].push_back({t(0, 0) * x + t(0, 1) * y + t(0, 2), t(1, 0) * x + t(1, 1) * y + t(1, 2)});
        }
    }
    return lines;
}

std::vector<Line> ringsOf(const World& world, std::span<const Line> arcs, std::size_t country) {
    std::vector<Line> rings;
    const std::size_t firstRing = startOf(world.ringEnds, startOf(world.polygonEnds, country));
    const std::size_t endRing = startOf(world.ringEnds, startOf(world.polygonEnds, country + 1));
    for (std::size_t ring = firstRing; ring < endRing; ++ring) {
        Line line;
        for (std::size_t i = startOf(world.indexEnds, ring); i < startOf(world.indexEnds, ring + 1); ++i) {
            const int index = world.arcIndexes[i];
            join(line, arcs[arcOf(index)], index < 0);
        }
        unwrap(line);
        close(line);
        rings.push_back(std::move(line));
    }
    return rings;
}

void unwrap(Line& line) {
    double shift = 0;
    for (std::size_t i = 1; i < line.size(); ++i) {
        const double step = line[i].longitude + shift - line[i - 1].longitude;
        if (step > kHalfTurn) shift -= kFullTurn;
        if (step < -kHalfTurn) shift += kFullTurn;
        line[i].longitude += shift;
    }
}

void close(Line& ring) {
    if (std::abs(ring.back().longitude - ring.front().longitude) <= kHalfTurn) return;
    beginAtTheEdge(ring);
    double sum = 0;
    for (const Place& place : ring) sum += place.latitude;
    const double pole = sum < 0 ? -90 : 90;
    const Place first = ring.front();
    ring.insert(ring.end(), {{ring.back().longitude, pole}, {first.longitude, pole}, first});
}

std::vector<double> shiftsOf(const Line& line) {
    std::vector<double> shifts;
    if (line.empty()) return shifts;
    const auto [west, east] = std::minmax_element(
        line.begin(), line.end(), [](const Place& a, const Place& b) { return a.longitude < b.longitude; });
    for (const double shift : {-kFullTurn, 0.0, kFullTurn}) {
        if (west->longitude + shift <= kHalfTurn && east->longitude + shift >= -kHalfTurn) shifts.push_back(shift);
    }
    return shifts;
}

std::vector<std::vector<std::size_t>> countriesOfArcs(const World& world) {
    std::vector<std::vector<std::size_t>> countries(world.arcCount);
    const auto firstIndex = [&](std::size_t country) {
        return startOf(world.indexEnds, startOf(world.ringEnds, startOf(world.polygonEnds, country)));
    };
    for (std::size_t country = 0; country < world.countryCount; ++country) {
        for (std::size_t i = firstIndex(country); i < firstIndex(country + 1); ++i) {
            std::vector<std::size_t>& bounded = countries[arcOf(world.arcIndexes[i])];
            if (bounded.empty() || bounded.back() != country) bounded.push_back(country);
        }
    }
    return countries;
}

}  // namespace tool
