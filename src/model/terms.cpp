#include "model/terms.h"

#include <cmath>
#include <cstdio>

#include "base/text.h"

namespace zenfit {
namespace {

using K = CorrectionKind;

Multipliers m(double m0, double m1, double m2 = 0.0) { return Multipliers{{m0, m1, m2}}; }

// A term's multipliers at one exact place, and over a block of places.
template <class F>
Multipliers exactMultipliers(const ExactPlace& place) {
  return F{}(place);
}

template <class F>
void blockMultipliers(const PlaceBlock& places, MultiplierBlock& out) {
  const F f{};
  for (int i = 0; i < kPlaceBlock; ++i) {
    const Multipliers c = f(LanePlace(places, i));
    out.m[0][i] = c.m[0];
    out.m[1][i] = c.m[1];
    out.m[2][i] = c.m[2];
  }
}

// A table entry from a lambda over either kind of place.
template <class F>
constexpr TermDefinition term(const char* name, K kind, F) {
  return TermDefinition{name, kind, &exactMultipliers<F>, &blockMultipliers<F>};
}

// Unit vector across the vertical circle towards increasing A, (-y, x, 0)/r;
// zero at the zenith and nadir.
template <class P>
Multipliers sideways(const P& p, double scale) {
  const double x = p.horizon(0);
  const double y = p.horizon(1);
  const double r = std::sqrt(x * x + y * y);
  double s[2] = {0.0, 0.0};
  if (r > 1e-20) {
    s[0] = -y / r;
    s[1] = x / r;
  }
  return m(scale * s[0], scale * s[1], 0.0);
}

// Twelve-term empirical flexure shapes. HFX, a displacement along the
// parallel, uses only functions odd in the hour angle, and HFD, in
// declination, only functions even in it: a mount that is symmetric about
// the meridian flexes that way.
inline constexpr double kHfxWeights[12] = {0.723, 0.633, 1.279, 1.718, 1.202, 0.219,
                                           0.368, 0.195, 1.928, 3.662, 0.381, 1.156};
inline constexpr double kHfdWeights[12] = {1.000, 0.500, 0.800, 0.600, 0.300, 0.250,
                                           0.150, 0.700, 0.400, 0.200, 0.350, 0.100};

template <class P>
double hfxShape(const P& p) {
  const double g[12] = {
      p.sinH(),                   p.sinH(2.0),
      p.sinH(3.0),                p.sinH() * p.cosD(),
      p.sinH() * p.sinD(),        p.sinH(2.0) * p.cosD(),
      p.sinH(2.0) * p.sinD(),     p.sinH() * p.cosD(2.0),
      p.sinH() * p.sinZ(),        p.sinH() * p.cosZ(),
      p.sinH(3.0) * p.cosD(),     p.sinH() * p.sinD(2.0),
  };
  double sum = 0.0;
  for (int i = 0; i < 12; ++i) sum += kHfxWeights[i] * g[i];
  return sum;
}

template <class P>
double hfdShape(const P& p) {
  const double g[12] = {
      p.cosH(),                   p.cosH(2.0),
      p.cosH() * p.sinD(),        p.cosH() * p.cosD(),
      p.cosH(2.0) * p.sinD(),     p.cosH(2.0) * p.cosD(),
      p.cosH(3.0),                p.sinZ(),
      p.cosH() * p.sinZ(),        p.cosD(2.0),
      p.sinD(2.0),                p.cosH() * p.cosD(2.0),
  };
  double sum = 0.0;
  for (int i = 0; i < 12; ++i) sum += kHfdWeights[i] * g[i];
  return sum;
}

}  // namespace

// The multipliers of one unit of coefficient. The comments give the
// classical first-order effect where it is not plain from the multiplier.
// The coude terms: in a polar coude train the beam leaves the tube along
// the declination axis (M3), turns down the polar axis at M4 and reaches a
// fixed focus (M5 and beyond). A tilt of M4, which turns with the hour
// angle, moves the sky by a fixed amount turned through d; an offset fixed
// in the coude focus turns through d - h. A and B are the two orthogonal
// senses, given as (along the parallel, in declination). The Nasmyth
// rotator terms: a fixed offset in the Nasmyth focal plane, seen on the
// sky turned through the elevation.
const std::array<TermDefinition, kStandardTermCount> kStandardTerms = {{
    // IH: index error in hour angle.
    term("IH", K::HourDec, [](const auto&) { return m(1.0, 0.0); }),
    // ID: index error in declination.
    term("ID", K::HourDec, [](const auto&) { return m(0.0, 1.0); }),
    // ZH: an hour-angle error proportional to the first aux reading, as AUX1H.
    term("ZH", K::HourDec, [](const auto& p) { return m(p.aux1(), 0.0); }),
    // NP: polar and declination axes not perpendicular: dh = NP tan d.
    term("NP", K::AlongDec, [](const auto& p) { return m(p.sinD(), 0.0); }),
    // CH: collimation: dh = CH sec d.
    term("CH", K::AlongDec, [](const auto&) { return m(1.0, 0.0); }),
    // HF: horseshoe flexure.
    term("HF", K::AlongDec, [](const auto& p) { return m(p.sinH(), 0.0); }),
    // ZE: the part of the tube's sag that lies along the declination
    // circle, -sin z cos q (q the parallactic angle), for mounts whose tube
    // bends differently along and across that circle. With HF it spans TF:
    // TF = cos(phi) HF + ZE to first order.
    term("ZE", K::AlongDec,
         [](const auto& p) {
           return m(0.0, -(p.sinLat() * p.cosD() - p.cosLat() * p.sinD() * p.cosH()));
         }),
    // ME: polar axis elevated.
    term("ME", K::Vector,
         [](const auto& p) { return m(-p.equatorial(2), 0.0, p.equatorial(0)); }),
    // MA: polar axis misaligned east-west.
    term("MA", K::Vector,
         [](const auto& p) { return m(0.0, p.equatorial(2), -p.equatorial(1)); }),
    // TF: tube flexure, proportional to sin z.
    term("TF", K::AzEl, [](const auto& p) { return m(0.0, -p.cosE()); }),
    // TX: tube flexure, proportional to tan z.
    term("TX", K::AzEl, [](const auto& p) { return m(0.0, -p.cosE() / p.sinE()); }),
    // FO: fork flexure.
    term("FO", K::HourDec, [](const auto& p) { return m(0.0, p.cosH()); }),
    // IE: index error in elevation.
    term("IE", K::AzEl, [](const auto&) { return m(0.0, 1.0); }),
    // IA: index error in azimuth.
    term("IA", K::AzEl, [](const auto&) { return m(1.0, 0.0); }),
    // HCES, HCEC, DCES, DCEC: centring errors of the hour-angle and
    // declination circles.
    term("HCES", K::HourDec, [](const auto& p) { return m(p.sinH(), 0.0); }),
    term("HCEC", K::HourDec, [](const auto& p) { return m(p.cosH(), 0.0); }),
    term("DCES", K::HourDec, [](const auto& p) { return m(0.0, p.sinD()); }),
    term("DCEC", K::HourDec, [](const auto& p) { return m(0.0, p.cosD()); }),
    // DNP: dynamic non-perpendicularity.
    term("DNP", K::AlongDec, [](const auto& p) { return m(p.sinH() * p.sinD(), 0.0); }),
    term("X2HC", K::AlongDec, [](const auto& p) { return m(p.cosH(2.0), 0.0); }),
    // HGES, HGEC, DGES, DGEC: gear errors, 40 cycles a turn.
    term("HGES", K::HourDec, [](const auto& p) { return m(p.sinH(40.0), 0.0); }),
    term("HGEC", K::HourDec, [](const auto& p) { return m(p.cosH(40.0), 0.0); }),
    term("DGES", K::HourDec, [](const auto& p) { return m(0.0, p.sinD(40.0)); }),
    term("DGEC", K::HourDec, [](const auto& p) { return m(0.0, p.cosD(40.0)); }),
    // TFP: the tube's sag amplified by the axial load it carries (the
    // beam-column, or "P-delta", effect): lateral load sin z times axial
    // load cos z.
    term("TFP", K::AzEl, [](const auto& p) { return m(0.0, -p.sinE() * p.cosE()); }),
    // CA: left-right collimation of an altazimuth mount: a constant
    // sideways shift, dA = CA sec E.
    term("CA", K::VectorHorizon, [](const auto& p) { return sideways(p, 1.0); }),
    term("CD4A", K::AlongDec, [](const auto& p) { return m(-p.sinD(), p.cosD()); }),
    term("CD4B", K::AlongDec, [](const auto& p) { return m(p.cosD(), p.sinD()); }),
    term("CD5A", K::AlongDec, [](const auto& p) { return m(p.cosHMinusD(), -p.sinHMinusD()); }),
    term("CD5B", K::AlongDec, [](const auto& p) { return m(p.sinHMinusD(), p.cosHMinusD()); }),
    // AN, AW: azimuth axis tilted towards the north, the west.
    term("AN", K::VectorHorizon, [](const auto& p) { return m(-p.horizon(2), 0.0, p.horizon(0)); }),
    term("AW", K::VectorHorizon, [](const auto& p) { return m(0.0, -p.horizon(2), p.horizon(1)); }),
    // NPAE: azimuth and elevation axes not perpendicular: a sideways shift
    // of sin E, dA = NPAE tan E.
    term("NPAE", K::VectorHorizon, [](const auto& p) { return sideways(p, p.horizon(2)); }),
    // ACES, ACEC: azimuth centring; ECES, ECEC: elevation centring.
    term("ACES", K::AzEl, [](const auto& p) { return m(p.sinA(), 0.0); }),
    term("ACEC", K::AzEl, [](const auto& p) { return m(p.cosA(), 0.0); }),
    term("ECES", K::AzEl, [](const auto& p) { return m(0.0, p.sinA()); }),
    term("ECEC", K::AzEl, [](const auto& p) { return m(0.0, p.cosA()); }),
    // NRX: Nasmyth rotator displacement, horizontal; NRY: vertical.
    term("NRX", K::SideEl, [](const auto& p) { return m(p.cosE(), -p.sinE()); }),
    term("NRY", K::SideEl, [](const auto& p) { return m(p.sinE(), p.cosE()); }),
    // The auxiliary-reading terms: a correction proportional to aux1 or aux2.
    term("AUX1H", K::HourDec, [](const auto& p) { return m(p.aux1(), 0.0); }),
    term("AUX1X", K::AlongDec, [](const auto& p) { return m(p.aux1(), 0.0); }),
    term("AUX1D", K::HourDec, [](const auto& p) { return m(0.0, p.aux1()); }),
    term("AUX1A", K::AzEl, [](const auto& p) { return m(p.aux1(), 0.0); }),
    term("AUX1S", K::SideEl, [](const auto& p) { return m(p.aux1(), 0.0); }),
    term("AUX1E", K::AzEl, [](const auto& p) { return m(0.0, p.aux1()); }),
    term("AUX2H", K::HourDec, [](const auto& p) { return m(p.aux2(), 0.0); }),
    term("AUX2X", K::AlongDec, [](const auto& p) { return m(p.aux2(), 0.0); }),
    term("AUX2D", K::HourDec, [](const auto& p) { return m(0.0, p.aux2()); }),
    term("AUX2A", K::AzEl, [](const auto& p) { return m(p.aux2(), 0.0); }),
    term("AUX2S", K::SideEl, [](const auto& p) { return m(p.aux2(), 0.0); }),
    term("AUX2E", K::AzEl, [](const auto& p) { return m(0.0, p.aux2()); }),
    // DAF: declination-axis flexure, -sin E along the parallel.
    term("DAF", K::AlongDec,
         [](const auto& p) {
           return m(-(p.cosLat() * p.cosH() * p.cosD() + p.sinLat() * p.sinD()), 0.0);
         }),
    // HFX, HFD: empirical flexure shapes along the parallel and in declination.
    term("HFX", K::AlongDec, [](const auto& p) { return m(hfxShape(p), 0.0); }),
    term("HFD", K::AlongDec, [](const auto& p) { return m(0.0, hfdShape(p)); }),
}};

const char* TermTable::name(int termNumber) const {
  if (termNumber < 1 || termNumber > kMaxTermNames) return "";
  return names[termNumber - 1];
}

int TermTable::find(const char* name) const {
  for (int i = 0; i < termNameCount && i < kMaxTermNames; ++i) {
    if (keywordEquals(name, names[i]) == 0) return i + 1;
  }
  return 0;
}

void installLocalTerms(int& /*space*/, TermTable& /*table*/) {}

void installStandardTerms(int& space, TermTable& table, int first) {
  const int count = space < kStandardTermCount ? space : kStandardTermCount;
  for (int i = 0; i < count && first + i < kMaxTermNames; ++i) {
    std::snprintf(table.names[first + i], kTermNameSize, "%s", kStandardTerms[i].name);
  }
  space -= kStandardTermCount;
}

TermSpace loadTermNames(TermTable& table) {
  TermSpace report;
  for (int i = 0; i < kMaxTermNames; ++i) {
    table.names[i][0] = '\0';
    table.templates[i][0] = '\0';
  }
  int space = kMaxTermNames;
  installLocalTerms(space, table);
  if (space < 0) {
    report.localOverflow = true;
    space = 0;
  }
  table.localTermCount = kMaxTermNames - space;
  report.localCount = table.localTermCount;
  if (space == 0) {
    report.noStandardRoom = true;
    return report;
  }
  installStandardTerms(space, table, table.localTermCount);
  if (space < 0) {
    report.standardOverflow = true;
    space = 0;
  }
  table.fixedTermCount = kMaxTermNames - space;
  report.standardCount = table.fixedTermCount - table.localTermCount;
  report.noGenericRoom = space == 0;
  table.termNameCount = table.fixedTermCount;
  return report;
}

}  // namespace zenfit
