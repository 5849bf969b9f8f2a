// Outlines on the globe: what crosses the 180th meridian, what goes round a pole, and which colours meet.
#include "tools/qor/outlines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/qor/map.h"

namespace tool {

void PrintTo(const Place& place, std::ostream* out) { *out << place.longitude << ' ' << place.latitude; }

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Line unwrapped(Line line) {
    unwrap(line);
    return line;
}

Line closed(Line ring) {
    close(ring);
    return ring;
}

TEST(Unwrap, ALineThatDoesNotJumpStaysAsItIs) {
    const Line line = {{-170, 1}, {0, 2}, {179, 3}, {0, 4}};
    EXPECT_EQ(unwrapped(line), line);
}

TEST(Unwrap, ALineThatCrosses180GoesOnBeyondIt) {
    EXPECT_EQ(unwrapped({{179, 1}, {-179, 2}, {-178, 3}}), (Line{{179, 1}, {181, 2}, {182, 3}}));
    EXPECT_EQ(unwrapped({{-179, 1}, {179, 2}, {178, 3}}), (Line{{-179, 1}, {-181, 2}, {-182, 3}}));
}

TEST(Unwrap, ALineThatCrossesAndComesBackEndsWhereItIs) {
    EXPECT_EQ(unwrapped({{179, 1}, {-179, 2}, {179, 3}}), (Line{{179, 1}, {181, 2}, {179, 3}}));
}

TEST(Unwrap, AStepOfExactly180IsNoJump) {
    EXPECT_EQ(unwrapped({{-90, 0}, {90, 0}, {-90, 0}}), (Line{{-90, 0}, {90, 0}, {-90, 0}}));
}

TEST(Unwrap, ALineRoundTheGlobeEnds360DegreesAway) {
    EXPECT_EQ(unwrapped({{0, 5}, {120, 5}, {-120, 5}, {0, 5}}), (Line{{0, 5}, {120, 5}, {240, 5}, {360, 5}}));
}

TEST(Close, ARingThatEndsWhereItBeganStaysAsItIs) {
    const Line ring = {{170, 0}, {190, 0}, {190, 10}, {170, 0}};
    EXPECT_EQ(closed(ring), ring);
}

TEST(Close, ARingRoundTheSouthPoleIsLedToThePoleAtTheEdgeOfTheMap) {
    EXPECT_EQ(closed({{-180, -70}, {0, -80}, {180, -70}}),
              (Line{{-180, -70}, {0, -80}, {180, -70}, {180, -90}, {-180, -90}, {-180, -70}}));
}

TEST(Close, ARingRoundTheNorthPoleIsLedToTheNorthPole) {
    EXPECT_EQ(closed({{180, 70}, {0, 80}, {-180, 70}}),
              (Line{{180, 70}, {0, 80}, {-180, 70}, {-180, 90}, {180, 90}, {180, 70}}));
}

TEST(Close, ARingThatBeginsElsewhereIsTurnedToBeginAtTheEdge) {
    EXPECT_EQ(closed({{0, -70}, {170, -72}, {190, -74}, {360, -70}}),
              (Line{{180, -73}, {190, -74}, {360, -70}, {530, -72}, {540, -73}, {540, -90}, {180, -90}, {180, -73}}));
}

TEST(Close, ARingThatGoesWestIsTurnedToo) {
    EXPECT_EQ(
        closed({{0, -70}, {-170, -72}, {-190, -74}, {-360, -70}}),
        (Line{{-180, -73}, {-190, -74}, {-360, -70}, {-530, -72}, {-540, -73}, {-540, -90}, {-180, -90}, {-180, -73}}));
}

TEST(Shifts, ALineOnTheMapIsDrawnOnce) { EXPECT_THAT(shiftsOf({{-170, 0}, {170, 0}}), ElementsAre(0)); }

TEST(Shifts, ALineBeyondAnEdgeIsDrawnAtTheOtherOneToo) {
    EXPECT_THAT(shiftsOf({{170, 0}, {190, 0}}), ElementsAre(-360, 0));
    EXPECT_THAT(shiftsOf({{-190, 0}, {-170, 0}}), ElementsAre(0, 360));
}

TEST(Shifts, ALineRoundTheGlobeIsDrawnUntilItCoversTheMap) {
    EXPECT_THAT(shiftsOf({{0, 0}, {360, 0}}), ElementsAre(-360, 0));
    EXPECT_THAT(shiftsOf({{-180, 0}, {180, 0}}), ElementsAre(-360, 0, 360));
}

TEST(Shifts, NoLineIsDrawnNever) { EXPECT_THAT(shiftsOf({}), IsEmpty()); }

// Four squares around one point, arcs between neighbours shared; the fifth country is far away.
//
//     0 | 1
//     --+--
//     2 | 3
World fourSquares() {
    World world;
    world.toDegrees = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    world.points = {{1, 0},  {0, 1},  {0, -1}, {-1, 0},  // around 0 and the borders of 0: up (0), left (1)
                    {0, 0},  {0, 1},  {0, 0},  {1, 0},   // borders: up, right
                    {0, 0},  {0, -1}, {0, 0},  {-1, 0},  // borders: down, left
                    {90, 0}, {1, 0}};                    // an island
    world.arcEnds = {4, 6, 8, 10, 12, 14};
    world.arcCount = 6;
    world.names = {"0", "1", "2", "3", "4"};
    world.ids = {0, 1, 2, 3, 4};
    world.countryCount = 5;
    world.polygonEnds = {1, 2, 3, 4, 5};
    world.ringEnds = {1, 2, 3, 4, 5};
    world.indexEnds = {2, 4, 6, 8, 9};
    world.arcIndexes = {1, 4, ~1, 2, ~4, 3, ~3, ~2, 5};
    return world;
}

TEST(Borders, AnArcIsSharedByTheCountriesOnItsTwoSides) {
    EXPECT_THAT(countriesOfArcs(fourSquares()), ElementsAre(IsEmpty(), ElementsAre(0, 1), ElementsAre(1, 3),
                                                            ElementsAre(2, 3), ElementsAre(0, 2), ElementsAre(4)));
}

TEST(Colours, CountriesWithABorderInCommonHaveDifferentOnes) {
    const std::vector<std::size_t> colours = colourNumbers(fourSquares(), 2);
    EXPECT_NE(colours[0], colours[1]);
    EXPECT_NE(colours[0], colours[2]);
    EXPECT_NE(colours[1], colours[3]);
    EXPECT_NE(colours[2], colours[3]);
}

TEST(Colours, CountriesThatAreNearHaveDifferentOnesWhileThereAreEnough) {
    const std::vector<std::size_t> colours = colourNumbers(fourSquares(), 4);
    EXPECT_NE(colours[0], colours[3]);
    EXPECT_NE(colours[1], colours[2]);
}

TEST(Colours, AreOpaqueAndDifferAcrossABorder) {
    const std::vector<Rgbad> colours = coloursOf(fourSquares());
    ASSERT_EQ(colours.size(), 5);
    for (const Rgbad& colour : colours) EXPECT_EQ(colour[3], 1);
    EXPECT_FALSE(colours[0] == colours[1]);
    EXPECT_FALSE(colours[0] == colours[2]);
}

TEST(Colours, AntarcticaIsAsWhiteAsIce) {
    World world = fourSquares();
    world.ids[3] = 10;
    EXPECT_EQ(coloursOf(world)[3], Rgbad(247 / 255.0, 249 / 255.0, 250 / 255.0, 1));
}

TEST(Ends, ThingsBeginWhereThoseBeforeThemEnd) {
    const std::vector<int> ends = {4, 4, 9};
    EXPECT_EQ(startOf(ends, 0), 0);
    EXPECT_EQ(startOf(ends, 1), 4);
    EXPECT_EQ(startOf(ends, 2), 4);
    EXPECT_EQ(startOf(ends, 3), 9);
}

TEST(Rings, ArcsAreJoinedAtTheirCommonPointsForwardsAndBackwards) {
    World world = fourSquares();
    const std::vector<Line> arcs = {{{0, 0}, {5, 0}, {5, 5}}, {{0, 0}, {0, 5}, {5, 5}}};
    world.arcIndexes = {0, ~1};
    world.indexEnds = {2};
    world.ringEnds = {1};
    world.polygonEnds = {1};
    EXPECT_THAT(ringsOf(world, arcs, 0), ElementsAre(Line{{0, 0}, {5, 0}, {5, 5}, {0, 5}, {0, 0}}));
}

}  // namespace
}  // namespace tool
