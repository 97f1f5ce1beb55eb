#include "model/terms.h"

#include <cmath>
#include <cstdio>

#include "base/text.h"

namespace zenfit {
namespace {

using K = CorrectionKind;

Multipliers m(double m0, double m1, double m2 = 0.0) { return Multipliers{{m0, m1, m2}}; }

// Unit vector across the vertical circle towards increasing A, (-y, x, 0)/r;
// zero at the zenith and nadir.
Multipliers sideways(const Place& p, double scale) {
  const double x = p.horizon[0];
  const double y = p.horizon[1];
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

double hfxShape(const Place& p) {
  const double h = p.h, d = p.d, z = p.zenithDistance;
  const double g[12] = {
      std::sin(h),                     std::sin(2.0 * h),
      std::sin(3.0 * h),               std::sin(h) * std::cos(d),
      std::sin(h) * std::sin(d),       std::sin(2.0 * h) * std::cos(d),
      std::sin(2.0 * h) * std::sin(d), std::sin(h) * std::cos(2.0 * d),
      std::sin(h) * std::sin(z),       std::sin(h) * std::cos(z),
      std::sin(3.0 * h) * std::cos(d), std::sin(h) * std::sin(2.0 * d),
  };
  double sum = 0.0;
  for (int i = 0; i < 12; ++i) sum += kHfxWeights[i] * g[i];
  return sum;
}

double hfdShape(const Place& p) {
  const double h = p.h, d = p.d, z = p.zenithDistance;
  const double g[12] = {
      std::cos(h),                     std::cos(2.0 * h),
      std::cos(h) * std::sin(d),       std::cos(h) * std::cos(d),
      std::cos(2.0 * h) * std::sin(d), std::cos(2.0 * h) * std::cos(d),
      std::cos(3.0 * h),               std::sin(z),
      std::cos(h) * std::sin(z),       std::cos(2.0 * d),
      std::sin(2.0 * d),               std::cos(h) * std::cos(2.0 * d),
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
    {"IH", K::HourDec, [](const Place&) { return m(1.0, 0.0); }},
    // ID: index error in declination.
    {"ID", K::HourDec, [](const Place&) { return m(0.0, 1.0); }},
    // ZH: an hour-angle error proportional to the first aux reading, as AUX1H.
    {"ZH", K::HourDec, [](const Place& p) { return m(p.aux1, 0.0); }},
    // NP: polar and declination axes not perpendicular: dh = NP tan d.
    {"NP", K::AlongDec, [](const Place& p) { return m(std::sin(p.d), 0.0); }},
    // CH: collimation: dh = CH sec d.
    {"CH", K::AlongDec, [](const Place&) { return m(1.0, 0.0); }},
    // HF: horseshoe flexure.
    {"HF", K::AlongDec, [](const Place& p) { return m(std::sin(p.h), 0.0); }},
    // ZE: the part of the tube's sag that lies along the declination
    // circle, -sin z cos q (q the parallactic angle), for mounts whose tube
    // bends differently along and across that circle. With HF it spans TF:
    // TF = cos(phi) HF + ZE to first order.
    {"ZE", K::AlongDec,
     [](const Place& p) {
       return m(0.0, -(p.sinLat * std::cos(p.d) - p.cosLat * std::sin(p.d) * std::cos(p.h)));
     }},
    // ME: polar axis elevated.
    {"ME", K::Vector, [](const Place& p) { return m(-p.equatorial[2], 0.0, p.equatorial[0]); }},
    // MA: polar axis misaligned east-west.
    {"MA", K::Vector, [](const Place& p) { return m(0.0, p.equatorial[2], -p.equatorial[1]); }},
    // TF: tube flexure, proportional to sin z.
    {"TF", K::AzEl, [](const Place& p) { return m(0.0, -std::cos(p.elevation)); }},
    // TX: tube flexure, proportional to tan z.
    {"TX", K::AzEl,
     [](const Place& p) { return m(0.0, -std::cos(p.elevation) / std::sin(p.elevation)); }},
    // FO: fork flexure.
    {"FO", K::HourDec, [](const Place& p) { return m(0.0, std::cos(p.h)); }},
    // IE: index error in elevation.
    {"IE", K::AzEl, [](const Place&) { return m(0.0, 1.0); }},
    // IA: index error in azimuth.
    {"IA", K::AzEl, [](const Place&) { return m(1.0, 0.0); }},
    // HCES, HCEC, DCES, DCEC: centring errors of the hour-angle and
    // declination circles.
    {"HCES", K::HourDec, [](const Place& p) { return m(std::sin(p.h), 0.0); }},
    {"HCEC", K::HourDec, [](const Place& p) { return m(std::cos(p.h), 0.0); }},
    {"DCES", K::HourDec, [](const Place& p) { return m(0.0, std::sin(p.d)); }},
    {"DCEC", K::HourDec, [](const Place& p) { return m(0.0, std::cos(p.d)); }},
    // DNP: dynamic non-perpendicularity.
    {"DNP", K::AlongDec, [](const Place& p) { return m(std::sin(p.h) * std::sin(p.d), 0.0); }},
    {"X2HC", K::AlongDec, [](const Place& p) { return m(std::cos(2.0 * p.h), 0.0); }},
    // HGES, HGEC, DGES, DGEC: gear errors, 40 cycles a turn.
    {"HGES", K::HourDec, [](const Place& p) { return m(std::sin(40.0 * p.h), 0.0); }},
    {"HGEC", K::HourDec, [](const Place& p) { return m(std::cos(40.0 * p.h), 0.0); }},
    {"DGES", K::HourDec, [](const Place& p) { return m(0.0, std::sin(40.0 * p.d)); }},
    {"DGEC", K::HourDec, [](const Place& p) { return m(0.0, std::cos(40.0 * p.d)); }},
    // TFP: the tube's sag amplified by the axial load it carries (the
    // beam-column, or "P-delta", effect): lateral load sin z times axial
    // load cos z.
    {"TFP", K::AzEl,
     [](const Place& p) { return m(0.0, -std::sin(p.elevation) * std::cos(p.elevation)); }},
    // CA: left-right collimation of an altazimuth mount: a constant
    // sideways shift, dA = CA sec E.
    {"CA", K::VectorHorizon, [](const Place& p) { return sideways(p, 1.0); }},
    {"CD4A", K::AlongDec, [](const Place& p) { return m(-std::sin(p.d), std::cos(p.d)); }},
    {"CD4B", K::AlongDec, [](const Place& p) { return m(std::cos(p.d), std::sin(p.d)); }},
    {"CD5A", K::AlongDec,
     [](const Place& p) { return m(std::cos(p.h - p.d), -std::sin(p.h - p.d)); }},
    {"CD5B", K::AlongDec,
     [](const Place& p) { return m(std::sin(p.h - p.d), std::cos(p.h - p.d)); }},
    // AN, AW: azimuth axis tilted towards the north, the west.
    {"AN", K::VectorHorizon, [](const Place& p) { return m(-p.horizon[2], 0.0, p.horizon[0]); }},
    {"AW", K::VectorHorizon, [](const Place& p) { return m(0.0, -p.horizon[2], p.horizon[1]); }},
    // NPAE: azimuth and elevation axes not perpendicular: a sideways shift
    // of sin E, dA = NPAE tan E.
    {"NPAE", K::VectorHorizon, [](const Place& p) { return sideways(p, p.horizon[2]); }},
    // ACES, ACEC: azimuth centring; ECES, ECEC: elevation centring.
    {"ACES", K::AzEl, [](const Place& p) { return m(std::sin(p.azimuth), 0.0); }},
    {"ACEC", K::AzEl, [](const Place& p) { return m(std::cos(p.azimuth), 0.0); }},
    {"ECES", K::AzEl, [](const Place& p) { return m(0.0, std::sin(p.azimuth)); }},
    {"ECEC", K::AzEl, [](const Place& p) { return m(0.0, std::cos(p.azimuth)); }},
    // NRX: Nasmyth rotator displacement, horizontal; NRY: vertical.
    {"NRX", K::SideEl,
     [](const Place& p) { return m(std::cos(p.elevation), -std::sin(p.elevation)); }},
    {"NRY", K::SideEl,
     [](const Place& p) { return m(std::sin(p.elevation), std::cos(p.elevation)); }},
    // The auxiliary-reading terms: a correction proportional to aux1 or aux2.
    {"AUX1H", K::HourDec, [](const Place& p) { return m(p.aux1, 0.0); }},
    {"AUX1X", K::AlongDec, [](const Place& p) { return m(p.aux1, 0.0); }},
    {"AUX1D", K::HourDec, [](const Place& p) { return m(0.0, p.aux1); }},
    {"AUX1A", K::AzEl, [](const Place& p) { return m(p.aux1, 0.0); }},
    {"AUX1S", K::SideEl, [](const Place& p) { return m(p.aux1, 0.0); }},
    {"AUX1E", K::AzEl, [](const Place& p) { return m(0.0, p.aux1); }},
    {"AUX2H", K::HourDec, [](const Place& p) { return m(p.aux2, 0.0); }},
    {"AUX2X", K::AlongDec, [](const Place& p) { return m(p.aux2, 0.0); }},
    {"AUX2D", K::HourDec, [](const Place& p) { return m(0.0, p.aux2); }},
    {"AUX2A", K::AzEl, [](const Place& p) { return m(p.aux2, 0.0); }},
    {"AUX2S", K::SideEl, [](const Place& p) { return m(p.aux2, 0.0); }},
    {"AUX2E", K::AzEl, [](const Place& p) { return m(0.0, p.aux2); }},
    // DAF: declination-axis flexure, -sin E along the parallel.
    {"DAF", K::AlongDec,
     [](const Place& p) {
       return m(-(p.cosLat * std::cos(p.h) * std::cos(p.d) + p.sinLat * std::sin(p.d)), 0.0);
     }},
    // HFX, HFD: empirical flexure shapes along the parallel and in declination.
    {"HFX", K::AlongDec, [](const Place& p) { return m(hfxShape(p), 0.0); }},
    {"HFD", K::AlongDec, [](const Place& p) { return m(0.0, hfdShape(p)); }},
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
