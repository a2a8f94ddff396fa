#include <gtest/gtest.h>

#include <cmath>

#include "TallowbeckCore/astronomy/AstronomicalTime.hpp"
#include "TallowbeckCore/astronomy/PlanetaryEphemeris.hpp"

namespace tallowbeck {
namespace {

constexpr double rad = AstronomicalTime::radiansPerDegree;
// 2000-01-01T12:00:00Z: no time has passed for the elements.
constexpr double j2000 = 946728000.0;
// 2024-05-01T12:34:56.250Z and 2100-01-01T00:00:00Z.
constexpr double mayFirst = 1714566896.25;
constexpr double year2100 = 4102444800.0;

double radius(const HeliocentricPosition& place) {
    return std::sqrt(place.x * place.x + place.y * place.y + place.z * place.z);
}

// The root of Kepler's equation by bisection: slow, but sure, and no kin of Newton's method. For
// an eccentricity below 1, E - e sin E rises with E, and the root lies within e of the mean
// anomaly; a hundred halvings narrow that to neighbouring doubles.
double keplerRootByBisection(double meanAnomaly, double eccentricity) {
    double low = meanAnomaly - eccentricity;
    double high = meanAnomaly + eccentricity;
    for (int round = 0; round < 100; ++round) {
        const double middle = low + (high - low) / 2;
        if (middle - eccentricity * std::sin(middle) < meanAnomaly) {
            low = middle;
        } else {
            high = middle;
        }
    }
    return low + (high - low) / 2;
}

TEST(PlanetaryEphemerisTests, ElementTableHoldsThePublishedValues) {
    // Semi-major axis, eccentricity, inclination, mean longitude, longitude of perihelion and of
    // the ascending node, each {at J2000.0, per century}, from the published table of Keplerian
    // elements for approximate positions (1800 AD to 2050 AD).
    const std::array<OrbitalElements, 8> published{{
        {{0.38709927, 0.00000037},
         {0.20563593, 0.00001906},
         {7.00497902, -0.00594749},
         {252.25032350, 149472.67411175},
         {77.45779628, 0.16047689},
         {48.33076593, -0.12534081}},
        {{0.72333566, 0.00000390},
         {0.00677672, -0.00004107},
         {3.39467605, -0.00078890},
         {181.97909950, 58517.81538729},
         {131.60246718, 0.00268329},
         {76.67984255, -0.27769418}},
        {{1.00000261, 0.00000562},
         {0.01671123, -0.00004392},
         {-0.00001531, -0.01294668},
         {100.46457166, 35999.37244981},
         {102.93768193, 0.32327364},
         {0.0, 0.0}},
        {{1.52371034, 0.00001847},
         {0.09339410, 0.00007882},
         {1.84969142, -0.00813131},
         {-4.55343205, 19140.30268499},
         {-23.94362959, 0.44441088},
         {49.55953891, -0.29257343}},
        {{5.20288700, -0.00011607},
         {0.04838624, -0.00013253},
         {1.30439695, -0.00183714},
         {34.39644051, 3034.74612775},
         {14.72847983, 0.21252668},
         {100.47390909, 0.20469106}},
        {{9.53667594, -0.00125060},
         {0.05386179, -0.00050991},
         {2.48599187, 0.00193609},
         {49.95424423, 1222.49362201},
         {92.59887831, -0.41897216},
         {113.66242448, -0.28867794}},
        {{19.18916464, -0.00196176},
         {0.04725744, -0.00004397},
         {0.77263783, -0.00242939},
         {313.23810451, 428.48202785},
         {170.95427630, 0.40805281},
         {74.01692503, 0.04240589}},
        {{30.06992276, 0.00026291},
         {0.00859048, 0.00005105},
         {1.77004347, 0.00035372},
         {-55.12002969, 218.45945325},
         {44.96476227, -0.32241464},
         {131.78422574, -0.00508664}},
    }};
    for (const SolarSystemBody body : allSolarSystemBodies()) {
        EXPECT_EQ(PlanetaryEphemeris::elements(body), published[static_cast<std::size_t>(body)])
            << textValue(body);
    }
}

// The expected positions come from an independent evaluation of the same formulas in the same
// order, in Python (IEEE doubles, the same C library's functions), compared bit for bit. A
// century after J2000.0 Mercury's mean longitude has grown by about 149472.67 degrees, so the
// second set also shows that it is reduced before use.
TEST(PlanetaryEphemerisTests, PositionsMatchAnIndependentEvaluationExactly) {
    const std::array<std::array<double, 4>, 8> mayFirstExpected{{
        {-0.08373321796794084, -0.45806255279568525, -0.029753186593487344, 259.6407836890596},
        {0.682808084152105, 0.24149792123584965, -0.03608309522845523, 19.477844409821042},
        {-0.7571401365037677, -0.6649755874379127, 3.673780910037882e-05, 221.29195773174496},
        {1.2168954777526575, -0.6530215239282868, -0.04353075624990327, 331.7806986227024},
        {2.7734447813576524, 4.170980367320225, -0.0794078506154228, 56.378543322944964},
        {9.191468865856026, -3.0676736221710943, -0.31245750023056085, 341.54345078811974},
        {11.88157410847265, 15.570199191988943, -0.09619196077825785, 52.65285166959117},
        {29.85372603913539, -1.4100224104213925, -0.6589326397239221, 357.29587054255626},
    }};
    const std::array<std::array<double, 4>, 8> year2100Expected{{
        {0.23874175455087981, -0.3565723686287223, -0.05102620957861291, 303.80414512275996},
        {0.6875788342101136, 0.22777238701219693, -0.03645737693705861, 18.328345610922845},
        {-0.15741030664370076, 0.9707008899023011, -0.00021959808404347055, 99.21098924518147},
        {0.609892296441431, 1.380865823115183, 0.014112084088315196, 66.1702071007116},
        {-5.374390620494081, -0.9120456023308474, 0.12392867341133304, 189.63145786982264},
        {-9.151874747234332, -3.037559951691966, 0.4173758699742016, 198.3613028354072},
        {18.876319941912904, 6.542580654729928, -0.21984928776188534, 19.116446849104133},
        {-29.050092828179146, 8.226822037953836, 0.5001705419413287, 164.18817793545733},
    }};
    for (const auto& [moment, expected] :
         {std::pair{mayFirst, mayFirstExpected}, std::pair{year2100, year2100Expected}}) {
        const auto positions = PlanetaryEphemeris::positions(moment);
        for (std::size_t index = 0; index < positions.size(); ++index) {
            const auto& [x, y, z, longitude] = expected[index];
            EXPECT_EQ(positions[index], (PlanetaryPosition{.body = allSolarSystemBodies()[index],
                                                           .position = {.x = x, .y = y, .z = z},
                                                           .eclipticLongitudeDegrees = longitude}))
                << textValue(allSolarSystemBodies()[index]) << " at " << moment;
        }
    }
}

TEST(PlanetaryEphemerisTests, PositionsAreEveryBodyInCaseOrder) {
    const auto positions = PlanetaryEphemeris::positions(mayFirst);
    for (const SolarSystemBody body : allSolarSystemBodies()) {
        EXPECT_EQ(positions[static_cast<std::size_t>(body)],
                  PlanetaryEphemeris::position(body, mayFirst));
    }
}

TEST(PlanetaryEphemerisTests, EarthAtJ2000FollowsFromItsBaseElements) {
    // With no time passed, the node is 0 and the inclination tiny, so the longitude is the true
    // anomaly plus the longitude of perihelion 102.93768193, the mean anomaly being
    // L - perihelion = 100.46457166 - 102.93768193.
    EXPECT_EQ(PlanetaryEphemeris::elements(SolarSystemBody::earth).longitudeOfAscendingNode,
              (LinearElement{.base = 0.0, .rate = 0.0}));
    const double e = 0.01671123;
    const double meanAnomaly = (100.46457166 - 102.93768193) * rad;
    double eccentricAnomaly = meanAnomaly;
    for (int round = 0; round < 50; ++round) {
        eccentricAnomaly = meanAnomaly + e * std::sin(eccentricAnomaly);
    }
    const double trueAnomaly =
        2 * std::atan(std::sqrt((1 + e) / (1 - e)) * std::tan(eccentricAnomaly / 2));
    const PlanetaryPosition earth = PlanetaryEphemeris::position(SolarSystemBody::earth, j2000);
    EXPECT_NEAR(earth.eclipticLongitudeDegrees,
                AstronomicalTime::reducedDegrees(trueAnomaly / rad + 102.93768193), 1e-9);
    EXPECT_NEAR(radius(earth.position), 1.00000261 * (1 - e * std::cos(eccentricAnomaly)), 1e-12);
    EXPECT_NEAR(earth.position.z, 0.0, 1e-6);
}

TEST(PlanetaryEphemerisTests, NeptunesNegativeMeanLongitudeIsCarriedIntoTheFirstTurn) {
    EXPECT_NEAR(AstronomicalTime::reducedDegrees(-55.12002969), 304.87997031, 1e-9);
    // The mean anomaly at J2000.0 is then 304.87997031 - 44.96476227; Neptune's orbit is nearly
    // circular and barely inclined, so the longitude lies within a degree of the mean longitude
    // plus the equation of centre.
    const double e = 0.00859048;
    const double meanAnomaly = (304.87997031 - 44.96476227) * rad;
    const double equationOfCentre = 2 * e * std::sin(meanAnomaly) / rad;
    const PlanetaryPosition neptune = PlanetaryEphemeris::position(SolarSystemBody::neptune, j2000);
    EXPECT_NEAR(neptune.eclipticLongitudeDegrees, 304.87997031 + equationOfCentre, 0.05);
}

TEST(PlanetaryEphemerisTests, MomentsFarOutsideTheTableSpanStillGivePositions) {
    // Year 1000 BC and year 12000 AD: the elements are extrapolated, not refused.
    for (const double moment : {-93700000000.0, 316500000000.0}) {
        for (const PlanetaryPosition& planet : PlanetaryEphemeris::positions(moment)) {
            const OrbitalElements& orbit = PlanetaryEphemeris::elements(planet.body);
            const double centuries = AstronomicalTime::daysSinceJ2000(moment) / 36525.0;
            const double a = orbit.semiMajorAxis.base + orbit.semiMajorAxis.rate * centuries;
            const double e = orbit.eccentricity.base + orbit.eccentricity.rate * centuries;
            EXPECT_GE(planet.eclipticLongitudeDegrees, 0.0);
            EXPECT_LT(planet.eclipticLongitudeDegrees, 360.0);
            EXPECT_GE(radius(planet.position), a * (1 - e) * (1 - 1e-9)) << textValue(planet.body);
            EXPECT_LE(radius(planet.position), a * (1 + e) * (1 + 1e-9)) << textValue(planet.body);
        }
    }
}

TEST(PlanetaryEphemerisTests, AnEccentricityExtrapolatedPastOneStillGivesEveryPosition) {
    // 250,000 years after 2000 Saturn's eccentricity, extrapolated at its rate per century, lies
    // below -1: 1 - e² is negative, and its square root counts as 0.
    const double moment = j2000 + 250000 * 365.25 * 86400.0;
    const OrbitalElements& saturn = PlanetaryEphemeris::elements(SolarSystemBody::saturn);
    const double centuries = AstronomicalTime::daysSinceJ2000(moment) / 36525.0;
    ASSERT_LT(saturn.eccentricity.base + saturn.eccentricity.rate * centuries, -1.0);
    for (const PlanetaryPosition& planet : PlanetaryEphemeris::positions(moment)) {
        SCOPED_TRACE(textValue(planet.body));
        EXPECT_TRUE(std::isfinite(planet.position.x));
        EXPECT_TRUE(std::isfinite(planet.position.y));
        EXPECT_TRUE(std::isfinite(planet.position.z));
        EXPECT_GE(planet.eclipticLongitudeDegrees, 0.0);
        EXPECT_LT(planet.eclipticLongitudeDegrees, 360.0);
    }
}

TEST(PlanetaryEphemerisTests, KeplerSolutionsMatchAnIndependentEvaluationExactly) {
    EXPECT_EQ(PlanetaryEphemeris::solveKepler(3.0, 0.20563593), 3.024104286260717);
    EXPECT_EQ(PlanetaryEphemeris::solveKepler(0.1, 0.9), 0.6308435275631533);
    EXPECT_EQ(PlanetaryEphemeris::solveKepler(5.5, 0.0934), 5.429610499147235);
}

TEST(PlanetaryEphemerisTests, KeplerSolutionsSatisfyKeplersEquation) {
    for (const double e : {0.0, 0.0167, 0.0934, 0.2056, 0.5}) {
        for (double meanAnomaly = 0.0; meanAnomaly < 6.3; meanAnomaly += 0.1) {
            const double eccentricAnomaly = PlanetaryEphemeris::solveKepler(meanAnomaly, e);
            EXPECT_NEAR(eccentricAnomaly - e * std::sin(eccentricAnomaly), meanAnomaly, 1e-12)
                << meanAnomaly << ", " << e;
        }
    }
}

TEST(PlanetaryEphemerisTests, TheSeventhCorrectionCountsWithoutAConvergenceTestOfItsOwn) {
    // Near the perihelion of a very eccentric orbit the start lies far from the root. Here the
    // sixth correction leaves the solution about 4e-11 rad off; the seventh, the last allowed and
    // itself still larger than 1e-12, is the one that brings it within the tolerance.
    const double meanAnomaly = 0.005;
    const double eccentricity = 0.99;
    EXPECT_NEAR(PlanetaryEphemeris::solveKepler(meanAnomaly, eccentricity),
                keplerRootByBisection(meanAnomaly, eccentricity), 1e-12);
}

TEST(PlanetaryEphemerisTests, ACircularOrbitNeedsOneCorrection) {
    for (const double meanAnomaly : {0.0, 0.3, 1.0, 3.141592653589793, 5.9}) {
        EXPECT_EQ(PlanetaryEphemeris::solveKepler(meanAnomaly, 0.0), meanAnomaly);
    }
}

}  // namespace
}  // namespace tallowbeck
