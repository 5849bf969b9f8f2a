// The map of a world: paths in pixels and their colours, ready for whatever draws them.
#include "tools/qor/map.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <numeric>
#include <set>
#include <utility>

namespace tool {
namespace {

// ---- The look -------------------------------------------------------------------------------------------------------

constexpr int kWidth = 2000;
constexpr double kMargin = 36;
constexpr double kAbove = 104;  // from the upper edge to the globe: the title
constexpr double kBelow = 70;   // from the globe to the lower edge: the caption

constexpr Rgbad rgb(int red, int green, int blue) { return {red / 255.0, green / 255.0, blue / 255.0, 1}; }

constexpr Rgbad kPaper = rgb(252, 251, 248);
constexpr Rgbad kInk = rgb(44, 62, 80);
constexpr Rgbad kSoftInk = rgb(118, 132, 145);
constexpr Rgbad kOcean = rgb(221, 234, 242);
constexpr Rgbad kLands[] = {rgb(240, 208, 153), rgb(178, 211, 168), rgb(233, 176, 158), rgb(190, 182, 218),
                            rgb(247, 229, 160), rgb(150, 204, 192), rgb(226, 179, 202)};
constexpr Rgbad kIce = rgb(247, 249, 250);
constexpr int kAntarctica = 10;  // its ISO 3166-1 number

constexpr int kDegreesBetweenGridLines = 30;

// Points nearer than this to the last one drawn are left out: nobody can see them, and the picture is half as large.
constexpr double kLeastStep = 0.6;  // pixels

// ---- The projection -------------------------------------------------------------------------------------------------

// The Natural Earth projection, in units of the globe's radius.
// Source: "A Polynomial Equation for the Natural Earth Projection", Cartography and Geographic Information Science 38,
// 2011.
double xPerRadian(double latitude) {
    const double p2 = latitude * latitude;
    const double p4 = p2 * p2;
    return 0.870700 + p2 * -0.131979 + p4 * (-0.013791 + p4 * p2 * (0.003971 + p2 * -0.001529));
}

double yOf(double latitude) {
    const double p2 = latitude * latitude;
    const double p4 = p2 * p2;
    return latitude * (1.007226 + p2 * 0.015085 + p4 * p2 * (-0.044475 + p2 * 0.028874 + p4 * -0.005916));
}

// From places to spots, the globe as wide as the picture but for the margins.
class Projection {
 public:
    Spot operator()(const Place& place) const {
        const double latitude = radians(place.latitude);
        return {kWidth / 2.0 + scale * xPerRadian(latitude) * radians(place.longitude), middle - scale * yOf(latitude)};
    }

    double halfHeight() const { return scale * yOf(radians(90)); }
    int height() const { return static_cast<int>(std::lround(kAbove + 2 * halfHeight() + kBelow)); }

 private:
    static double radians(double degrees) { return degrees * std::numbers::pi / 180; }

    double scale = (kWidth / 2.0 - kMargin) / (xPerRadian(0) * std::numbers::pi);
    double middle = kAbove + halfHeight();
};

// The spots of a line that is moved by `shift` degrees. Long steps are made short ones, since meridians are curves.
std::vector<Spot> project(const Projection& projection, const Line& line, double shift) {
    constexpr double kLongest = 0.5;  // degrees of latitude
    std::vector<Spot> spots;
    spots.reserve(line.size());
    for (std::size_t i = 0; i < line.size(); ++i) {
        const Place& to = line[i];
        if (i > 0) {
            const Place& from = line[i - 1];
            const int steps = static_cast<int>(std::abs(to.latitude - from.latitude) / kLongest) + 1;
            for (int k = 1; k < steps; ++k) {
                const double part = static_cast<double>(k) / steps;
                spots.push_back(projection({std::lerp(from.longitude, to.longitude, part) + shift,
                                            std::lerp(from.latitude, to.latitude, part)}));
            }
        }
        spots.push_back(projection({to.longitude + shift, to.latitude}));
    }
    return spots;
}

void projectVisible(const Projection& projection, const Line& line, Path& path) {
    for (const double shift : shiftsOf(line)) path.push_back(project(projection, line, shift));
}

// Leaves out points that lie less than a step from the one before. Arcs are thinned and not rings, so that neighbours
// still meet. What would shrink to less than a triangle takes smaller steps, so that small islands do not vanish.
Line thinned(const Projection& projection, const Line& line, double leastStep = kLeastStep) {
    Line kept;
    Spot last;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const Spot spot = projection(line[i]);
        const bool isEnd = i == 0 || i + 1 == line.size();
        if (!isEnd && std::hypot(spot.x - last.x, spot.y - last.y) < leastStep) continue;
        kept.push_back(line[i]);
        last = spot;
    }
    const bool isIsland = line.front() == line.back();
    if (!isIsland || kept.size() >= 4 || kept.size() == line.size()) return kept;
    return leastStep > kLeastStep / 100 ? thinned(projection, line, leastStep / 2) : line;
}

// ---- What lies around the lands -------------------------------------------------------------------------------------

Line meridian(double longitude) { return {{longitude, -90}, {longitude, 90}}; }

std::vector<Spot> globeOutline(const Projection& projection) {
    Line line = meridian(180);
    const Line back = meridian(-180);
    line.insert(line.end(), back.rbegin(), back.rend());
    return project(projection, line, 0);
}

Path graticule(const Projection& projection) {
    Path path;
    for (int longitude = -180 + kDegreesBetweenGridLines; longitude < 180; longitude += kDegreesBetweenGridLines) {
        path.push_back(project(projection, meridian(longitude), 0));
    }
    for (int latitude = -90 + kDegreesBetweenGridLines; latitude < 90; latitude += kDegreesBetweenGridLines) {
        path.push_back(project(projection, {{-180.0, latitude * 1.0}, {180.0, latitude * 1.0}}, 0));
    }
    return path;
}

std::vector<Label> labelsOf(const World& world, const std::string& caption, int height) {
    return {
        {world.title, {kWidth / 2.0, 66}, 42, true, kInk},
        {caption, {kWidth / 2.0, height - 26.0}, 23, false, kSoftInk},
    };
}

// ---- Who lies beside whom -------------------------------------------------------------------------------------------

// For each country, the others that have a border with it, and those that have land within some ten degrees of it.
struct Relations {
    std::vector<std::set<std::size_t>> bordering;
    std::vector<std::set<std::size_t>> near;
};

Relations relationsOf(const World& world) {
    constexpr double kCell = 10;  // degrees
    Relations relations;
    relations.bordering.resize(world.countryCount);
    relations.near.resize(world.countryCount);
    std::map<std::pair<long, long>, std::set<std::size_t>> countriesOfCells;
    const std::vector<std::vector<std::size_t>> countriesOfArc = countriesOfArcs(world);
    const std::vector<Line> arcs = arcLines(world);
    for (std::size_t arc = 0; arc < arcs.size(); ++arc) {
        const std::vector<std::size_t>& countries = countriesOfArc[arc];
        for (const std::size_t one : countries) relations.bordering[one].insert(countries.begin(), countries.end());
        for (const Place& place : arcs[arc]) {
            const std::pair cell{std::lround(place.longitude / kCell), std::lround(place.latitude / kCell)};
            countriesOfCells[cell].insert(countries.begin(), countries.end());
        }
    }
    for (const auto& [cell, countries] : countriesOfCells) {
        for (const std::size_t one : countries) relations.near[one].insert(countries.begin(), countries.end());
    }
    return relations;
}

}  // namespace

std::vector<std::size_t> colourNumbers(const World& world, std::size_t colourCount) {
    const std::size_t count = world.countryCount;
    const Relations relations = relationsOf(world);

    // Those with the most neighbours choose first, while there is choice.
    std::vector<std::size_t> order(count);
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return relations.bordering[a].size() > relations.bordering[b].size();
    });
    std::vector<std::size_t> colours(count, colourCount);  // no colour yet
    std::vector<std::size_t> uses(colourCount, 0);
    const std::size_t costOfNear = count + 1;
    const std::size_t costOfBorder = costOfNear * (count + 1);
    for (const std::size_t country : order) {
        std::vector<std::size_t> cost = uses;
        cost.push_back(0);  // of having no colour, which is what neighbours without one would spoil
        for (const std::size_t other : relations.near[country]) cost[colours[other]] += costOfNear;
        for (const std::size_t other : relations.bordering[country]) cost[colours[other]] += costOfBorder;
        cost.pop_back();
        colours[country] = static_cast<std::size_t>(std::min_element(cost.begin(), cost.end()) - cost.begin());
        ++uses[colours[country]];
    }
    return colours;
}

std::vector<Rgbad> coloursOf(const World& world) {
    std::vector<Rgbad> colours;
    for (const std::size_t number : colourNumbers(world, std::size(kLands))) {
        colours.push_back(world.ids[colours.size()] == kAntarctica ? kIce : kLands[number]);
    }
    return colours;
}

Map mapOf(const World& world, const std::string& caption) {
    const Projection projection;
    Map map;
    map.width = kWidth;
    map.height = projection.height();
    map.paper = kPaper;
    map.ocean = kOcean;
    map.globe = globeOutline(projection);
    map.globeStroke = {rgb(133, 155, 172), 1.6};
    map.graticule = graticule(projection);
    map.graticuleStroke = {rgb(202, 219, 230), 1};
    map.landStroke = {rgb(122, 146, 160), 0.6};
    map.borderStroke = {kPaper, 1.2};
    map.labels = labelsOf(world, caption, map.height);

    std::vector<Line> arcs = arcLines(world);
    for (Line& arc : arcs) arc = thinned(projection, arc);
    for (std::size_t country = 0; country < world.countryCount; ++country) {
        Land land{world.names[country], world.colours[country], {}};
        for (const Line& ring : ringsOf(world, arcs, country)) projectVisible(projection, ring, land.rings);
        map.lands.push_back(std::move(land));
    }

    const std::vector<std::vector<std::size_t>> countries = countriesOfArcs(world);
    for (std::size_t i = 0; i < arcs.size(); ++i) {
        if (countries[i].size() < 2) continue;
        unwrap(arcs[i]);
        projectVisible(projection, arcs[i], map.borders);
    }
    return map;
}

}  // namespace tool
