// TopoJSON: the countries of a quantized topology.
//
//     transform       {"scale": [sx, sy], "translate": [tx, ty]}: from grid to degrees
//     arcs            each a list of [x, y, ...] of whole numbers, each the step from the point before
//     objects         by name; the object "countries" is a GeometryCollection
//     geometries      {"type": "Polygon", "id": "036", "properties": {"name": "Australia"}, "arcs": ...}
//     their arcs      Polygon: a list of rings; MultiPolygon: a list of such lists; a ring is a list of arc indexes
//
// Source: The TopoJSON Format Specification 1.0.0. An index i < 0 means arc ~i backwards. A geometry of type null has
// no outline.
#include "tools/qor/topojson.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>

#include "tools/qor/text.h"

namespace tool {
namespace {

using nlohmann::json;

// A value of the document that knows where it stands, for messages like `arcs[17][3][0] is "x", expected ...`. It
// refers to the value that it lies in, which therefore has a name that lives longer.
class Value {
 public:
    explicit Value(const json& root) : value(root) {}

    Value member(const char* name) const&;
    Value item(std::size_t i) const& { return Value(value[i], this, nullptr, i); }
    Value member(const char*) const&& = delete;
    Value item(std::size_t) const&& = delete;

    bool has(const char* name) const { return value.is_object() && value.contains(name) && !value[name].is_null(); }
    bool isNull() const { return value.is_null(); }
    bool isText() const { return value.is_string(); }
    const json& raw() const { return value; }

    /// Refuses anything but a list of at least `least` items; their number.
    std::size_t list(std::size_t least) const;
    std::string text() const;
    double number() const;
    std::int64_t whole(std::int64_t lowest, std::int64_t highest) const;

    [[noreturn]] void refuse(std::string_view expected) const;
    [[noreturn]] void fail(std::string_view what) const;

 private:
    Value(const json& inner, const Value* outer, const char* itsKey, std::size_t itsIndex)
        : value(inner), parent(outer), key(itsKey), index(itsIndex) {}

    std::string path() const;

    const json& value;
    const Value* parent = nullptr;
    const char* key = nullptr;
    std::size_t index = 0;
};

std::string Value::path() const {
    if (!parent) return "";
    const std::string before = parent->path();
    if (!key) return fmt::format("{}[{}]", before, index);
    return before.empty() ? key : fmt::format("{}.{}", before, key);
}

// The start of a value as the document has it.
std::string excerpt(const json& value) {
    if (value.is_object()) return "an object";
    if (value.is_array()) return fmt::format("a list of {}", value.size());
    constexpr std::size_t kShown = 40;
    std::string text = value.dump(-1, ' ', true, json::error_handler_t::replace);
    if (text.size() > kShown) text.replace(kShown, std::string::npos, "...");
    return text;
}

void Value::fail(std::string_view what) const {
    const std::string where = path();
    throw BadDocument(where.empty() ? fmt::format("the document {}", what) : fmt::format("{} {}", where, what));
}

void Value::refuse(std::string_view expected) const {
    fail(fmt::format("is {}, expected {}", excerpt(value), expected));
}

Value Value::member(const char* name) const& {
    if (!value.is_object()) refuse("an object");
    const auto found = value.find(name);
    if (found == value.end()) fail(fmt::format("has no \"{}\"", name));
    return Value(*found, this, name, 0);
}

std::size_t Value::list(std::size_t least) const {
    if (!value.is_array()) refuse("a list");
    if (value.size() < least) refuse(fmt::format("{} or more", least));
    return value.size();
}

std::string Value::text() const {
    if (!value.is_string()) refuse("a text");
    const std::string& text = value.get_ref<const std::string&>();
    for (const char c : text) {
        if (static_cast<unsigned char>(c) < 0x20) fail("holds a control character, expected one line of text");
    }
    return text;
}

double Value::number() const {
    if (!value.is_number()) refuse("a number");
    return value.get<double>();
}

std::int64_t Value::whole(std::int64_t lowest, std::int64_t highest) const {
    if (!value.is_number_integer()) refuse("a whole number");
    const bool isHuge = value.is_number_unsigned() && value.get<std::uint64_t>() > std::uint64_t{INT64_MAX};
    const std::int64_t number = isHuge ? INT64_MAX : value.get<std::int64_t>();
    if (number < lowest || number > highest) refuse(fmt::format("{} to {}", lowest, highest));
    return number;
}

constexpr std::int64_t kIntMin = std::numeric_limits<int>::min();
constexpr std::int64_t kIntMax = std::numeric_limits<int>::max();

// Where the things in a table end so far. Ends are ints.
template <typename T>
int endOf(const std::vector<T>& table) {
    if (table.size() > static_cast<std::size_t>(kIntMax)) throw BadDocument("the document is too large");
    return static_cast<int>(table.size());
}

void checkKind(const Value& root) {
    const Value type = root.member("type");
    if (type.isText() && type.raw() == "Topology") return;
    const bool isGeoJson = root.has("features") || root.has("coordinates") || root.has("geometry");
    type.refuse(isGeoJson ? "\"Topology\"; this is GeoJSON, convert it to quantized TopoJSON" : "\"Topology\"");
}

void readTransform(const Value& root, World& world) {
    if (!root.has("transform")) root.fail("has no \"transform\"; quantize the topology, so that its points are whole");
    const Value transform = root.member("transform");
    const Value scale = transform.member("scale");
    const Value translate = transform.member("translate");
    for (const Value* pair : {&scale, &translate}) {
        if (pair->list(2) != 2) pair->refuse("two numbers");
    }
    const auto numberOf = [](const Value& pair, std::size_t i) { return pair.item(i).number(); };
    world.toDegrees = Mat3d(numberOf(scale, 0), 0, numberOf(translate, 0),  //
                            0, numberOf(scale, 1), numberOf(translate, 1),  //
                            0, 0, 1);
}

// Whether a point lies on the globe, with some room for rounding.
bool isOnGlobe(const World& world, std::int64_t x, std::int64_t y) {
    constexpr double kRoom = 1e-3;
    const Mat3d& t = world.toDegrees;
    const double longitude = t(0, 0) * static_cast<double>(x) + t(0, 2);
    const double latitude = t(1, 1) * static_cast<double>(y) + t(1, 2);
    return std::abs(longitude) <= 180 + kRoom && std::abs(latitude) <= 90 + kRoom;
}

void readArcs(const Value& root, World& world) {
    const Value arcs = root.member("arcs");
    const std::size_t arcCount = arcs.list(0);
    if (arcCount > static_cast<std::size_t>(kIntMax)) arcs.fail("has more items than an index can count");
    for (std::size_t i = 0; i < arcCount; ++i) {
        const Value arc = arcs.item(i);
        const std::size_t pointCount = arc.list(2);
        std::int64_t x = 0;
        std::int64_t y = 0;
        for (std::size_t k = 0; k < pointCount; ++k) {
            const Value point = arc.item(k);
            point.list(2);
            const std::int64_t stepX = point.item(0).whole(kIntMin, kIntMax);
            const std::int64_t stepY = point.item(1).whole(kIntMin, kIntMax);
            x += stepX;
            y += stepY;
            if (!isOnGlobe(world, x, y)) {
                point.fail("lies outside the globe; expected degrees, not coordinates that are projected already");
            }
            world.points.emplace_back(stepX, stepY);
        }
        world.arcEnds.push_back(endOf(world.points));
    }
}

void readRing(const Value& ring, World& world) {
    const std::size_t count = ring.list(1);
    const std::int64_t arcCount = endOf(world.arcEnds);
    for (std::size_t i = 0; i < count; ++i) {
        const Value index = ring.item(i);
        if (arcCount == 0) index.refuse("the index of an arc, of which there are none");
        world.arcIndexes.push_back(static_cast<int>(index.whole(-arcCount, arcCount - 1)));
    }
    world.indexEnds.push_back(endOf(world.arcIndexes));
}

void readPolygon(const Value& polygon, World& world) {
    const std::size_t ringCount = polygon.list(1);
    for (std::size_t i = 0; i < ringCount; ++i) readRing(polygon.item(i), world);
    world.ringEnds.push_back(endOf(world.indexEnds));
}

void readOutline(const Value& country, World& world) {
    const Value type = country.member("type");
    if (type.raw() == "Polygon") {
        readPolygon(country.member("arcs"), world);
    } else if (type.raw() == "MultiPolygon") {
        const Value polygons = country.member("arcs");
        const std::size_t polygonCount = polygons.list(0);
        for (std::size_t i = 0; i < polygonCount; ++i) readPolygon(polygons.item(i), world);
    } else if (!type.isNull()) {
        type.refuse("\"Polygon\" or \"MultiPolygon\"");
    }
    world.polygonEnds.push_back(endOf(world.ringEnds));
}

int readId(const Value& country) {
    if (!country.has("id")) return kNoId;
    const Value id = country.member("id");
    if (!id.isText()) return static_cast<int>(id.whole(kIntMin, kIntMax));
    const std::string digits = id.text();
    int number = 0;
    const auto [end, failure] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (failure != std::errc() || end != digits.data() + digits.size()) id.refuse("a whole number, as one or as text");
    return number;
}

void readCountries(const Value& root, World& world) {
    const Value objects = root.member("objects");
    if (objects.raw().is_object() && !objects.has("countries")) {
        std::string names;
        for (const auto& entry : objects.raw().items()) {
            if (names.size() > 200) break;
            names += fmt::format("{}{:?}", names.empty() ? "; it has " : ", ", entry.key());
        }
        objects.fail("has no \"countries\"" + names);
    }
    const Value collection = objects.member("countries");
    const Value type = collection.member("type");
    if (type.raw() != "GeometryCollection") type.refuse("\"GeometryCollection\"");
    const Value geometries = collection.member("geometries");
    const std::size_t count = geometries.list(0);
    for (std::size_t i = 0; i < count; ++i) {
        const Value country = geometries.item(i);
        const Value properties = country.member("properties");
        world.names.push_back(properties.member("name").text());
        world.ids.push_back(readId(country));
        readOutline(country, world);
    }
}

void countParts(World& world) {
    world.countryCount = world.names.size();
    world.polygonCount = world.ringEnds.size();
    world.ringCount = world.indexEnds.size();
    world.indexCount = world.arcIndexes.size();
    world.arcCount = world.arcEnds.size();
    world.pointCount = world.points.size();
}

// The parser's own words, without its name and number in front: "line 3, column 14: syntax error ...". What it read
// last is left out where that is long, or may be no text.
std::string reasonOf(const json::exception& failure) {
    constexpr std::size_t kLongest = 60;
    std::string_view what = failure.what();
    const std::size_t lastRead = what.find("; last read: ");
    const std::string_view read = lastRead < what.size() ? what.substr(lastRead) : "";
    const bool isAscii = std::all_of(read.begin(), read.end(), [](char c) { return static_cast<signed char>(c) > 0; });
    if (read.size() > kLongest || !isAscii) what = what.substr(0, lastRead);
    for (const std::string_view prefix : {"] ", "parse error at "}) {
        if (const std::size_t at = what.find(prefix); at < 60) what.remove_prefix(at + prefix.size());
    }
    return std::string(what);
}

json parseJson(std::string_view text) {
    try {
        return json::parse(text);
    } catch (const json::parse_error& failure) {
        throw BadDocument("not JSON: " + reasonOf(failure));
    } catch (const json::exception& failure) {
        throw BadDocument(reasonOf(failure));
    }
}

}  // namespace

World parseTopology(std::string_view text) {
    const json document = parseJson(text);
    const Value root(document);
    if (!document.is_object()) root.refuse("a TopoJSON object");
    World world;
    checkKind(root);
    readTransform(root, world);
    readArcs(root, world);
    readCountries(root, world);
    countParts(world);
    world.title = fmt::format("The world in {} countries and territories", grouped(world.countryCount));
    return world;
}

}  // namespace tool
