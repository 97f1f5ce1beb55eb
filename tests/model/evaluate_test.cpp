// Term evaluation against the classical first-order effect of each term,
// computed here from closed forms, and the protocol rules (ADJUST sense,
// pier side, chained and parallel terms).
#include "model/evaluate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "engine.h"
#include "model/generic.h"

namespace zenfit::test {
namespace {

// Positions on the sky, in the textbook frames, independent of the engine.
struct Sky {
  double h, d, A, E;
};

void horizonOf(double h, double d, double phi, double v[3]) {
  v[0] = std::sin(phi) * std::cos(d) * std::cos(h) - std::cos(phi) * std::sin(d);
  v[1] = -std::cos(d) * std::sin(h);
  v[2] = std::cos(phi) * std::cos(d) * std::cos(h) + std::sin(phi) * std::sin(d);
}

Sky skyOf(const double v[3], double phi) {
  const double ex = v[0] * std::sin(phi) + v[2] * std::cos(phi);
  const double ey = v[1];
  const double ez = v[2] * std::sin(phi) - v[0] * std::cos(phi);
  Sky s;
  s.h = std::atan2(-ey, ex);
  s.d = std::atan2(ez, std::hypot(ex, ey));
  s.A = std::atan2(v[1], v[0]);
  s.E = std::atan2(v[2], std::hypot(v[0], v[1]));
  return s;
}

double wrap(double a) { return std::remainder(a, 2.0 * M_PI); }

// A first-order effect per unit coefficient: (dh, dd) in the equatorial
// frame, or (dA, dE) in the horizon frame.
struct Effect {
  bool horizon;
  double first;
  double second;
};

Effect eq(double dh, double dd) { return {false, dh, dd}; }
Effect hz(double dA, double dE) { return {true, dA, dE}; }

using Law = Effect (*)(const Sky& s, double phi, const double aux[3]);

struct TermLaw {
  const char* name;
  Law law;
};

double sec(double x) { return 1.0 / std::cos(x); }

// Classical small-angle effects of each term, per unit coefficient, as
// the textbooks give them (dh = NP tan d, dh = CH sec d, ME: dh = sin h tan d
// and dd = cos h, ...).
const TermLaw kStandardLaws[] = {
    {"IH", [](const Sky&, double, const double*) { return eq(1, 0); }},
    {"ID", [](const Sky&, double, const double*) { return eq(0, 1); }},
    {"ZH", [](const Sky&, double, const double* a) { return eq(a[0], 0); }},
    {"NP", [](const Sky& s, double, const double*) { return eq(std::tan(s.d), 0); }},
    {"CH", [](const Sky& s, double, const double*) { return eq(sec(s.d), 0); }},
    {"HF", [](const Sky& s, double, const double*) { return eq(std::sin(s.h) * sec(s.d), 0); }},
    {"ZE", [](const Sky& s, double phi, const double*) {
       return eq(0, -(std::sin(phi) * std::cos(s.d) - std::cos(phi) * std::sin(s.d) * std::cos(s.h)));
     }},
    {"ME", [](const Sky& s, double, const double*) {
       return eq(std::sin(s.h) * std::tan(s.d), std::cos(s.h));
     }},
    {"MA", [](const Sky& s, double, const double*) {
       return eq(-std::cos(s.h) * std::tan(s.d), std::sin(s.h));
     }},
    {"TF", [](const Sky& s, double, const double*) { return hz(0, -std::cos(s.E)); }},
    {"TX", [](const Sky& s, double, const double*) { return hz(0, -1.0 / std::tan(s.E)); }},
    {"FO", [](const Sky& s, double, const double*) { return eq(0, std::cos(s.h)); }},
    {"IE", [](const Sky&, double, const double*) { return hz(0, 1); }},
    {"IA", [](const Sky&, double, const double*) { return hz(1, 0); }},
    {"HCES", [](const Sky& s, double, const double*) { return eq(std::sin(s.h), 0); }},
    {"HCEC", [](const Sky& s, double, const double*) { return eq(std::cos(s.h), 0); }},
    {"DCES", [](const Sky& s, double, const double*) { return eq(0, std::sin(s.d)); }},
    {"DCEC", [](const Sky& s, double, const double*) { return eq(0, std::cos(s.d)); }},
    {"DNP", [](const Sky& s, double, const double*) { return eq(std::sin(s.h) * std::tan(s.d), 0); }},
    {"X2HC", [](const Sky& s, double, const double*) { return eq(std::cos(2 * s.h) * sec(s.d), 0); }},
    {"HGES", [](const Sky& s, double, const double*) { return eq(std::sin(40 * s.h), 0); }},
    {"HGEC", [](const Sky& s, double, const double*) { return eq(std::cos(40 * s.h), 0); }},
    {"DGES", [](const Sky& s, double, const double*) { return eq(0, std::sin(40 * s.d)); }},
    {"DGEC", [](const Sky& s, double, const double*) { return eq(0, std::cos(40 * s.d)); }},
    {"TFP", [](const Sky& s, double, const double*) { return hz(0, -std::sin(s.E) * std::cos(s.E)); }},
    {"CA", [](const Sky& s, double, const double*) { return hz(sec(s.E), 0); }},
    {"CD4A", [](const Sky& s, double, const double*) { return eq(-std::tan(s.d), std::cos(s.d)); }},
    {"CD4B", [](const Sky& s, double, const double*) { return eq(1, std::sin(s.d)); }},
    {"CD5A", [](const Sky& s, double, const double*) {
       return eq(std::cos(s.h - s.d) * sec(s.d), -std::sin(s.h - s.d));
     }},
    {"CD5B", [](const Sky& s, double, const double*) {
       return eq(std::sin(s.h - s.d) * sec(s.d), std::cos(s.h - s.d));
     }},
    {"AN", [](const Sky& s, double, const double*) {
       return hz(std::sin(s.A) * std::tan(s.E), std::cos(s.A));
     }},
    {"AW", [](const Sky& s, double, const double*) {
       return hz(-std::cos(s.A) * std::tan(s.E), std::sin(s.A));
     }},
    {"NPAE", [](const Sky& s, double, const double*) { return hz(std::tan(s.E), 0); }},
    {"ACES", [](const Sky& s, double, const double*) { return hz(std::sin(s.A), 0); }},
    {"ACEC", [](const Sky& s, double, const double*) { return hz(std::cos(s.A), 0); }},
    {"ECES", [](const Sky& s, double, const double*) { return hz(0, std::sin(s.A)); }},
    {"ECEC", [](const Sky& s, double, const double*) { return hz(0, std::cos(s.A)); }},
    {"NRX", [](const Sky& s, double, const double*) { return hz(1, -std::sin(s.E)); }},
    {"NRY", [](const Sky& s, double, const double*) { return hz(std::tan(s.E), std::cos(s.E)); }},
    {"AUX1H", [](const Sky&, double, const double* a) { return eq(a[0], 0); }},
    {"AUX1X", [](const Sky& s, double, const double* a) { return eq(a[0] * sec(s.d), 0); }},
    {"AUX1D", [](const Sky&, double, const double* a) { return eq(0, a[0]); }},
    {"AUX1A", [](const Sky&, double, const double* a) { return hz(a[0], 0); }},
    {"AUX1S", [](const Sky& s, double, const double* a) { return hz(a[0] * sec(s.E), 0); }},
    {"AUX1E", [](const Sky&, double, const double* a) { return hz(0, a[0]); }},
    {"AUX2H", [](const Sky&, double, const double* a) { return eq(a[1], 0); }},
    {"AUX2X", [](const Sky& s, double, const double* a) { return eq(a[1] * sec(s.d), 0); }},
    {"AUX2D", [](const Sky&, double, const double* a) { return eq(0, a[1]); }},
    {"AUX2A", [](const Sky&, double, const double* a) { return hz(a[1], 0); }},
    {"AUX2S", [](const Sky& s, double, const double* a) { return hz(a[1] * sec(s.E), 0); }},
    {"AUX2E", [](const Sky&, double, const double* a) { return hz(0, a[1]); }},
    // Declination-axis flexure: -sin E along the parallel.
    {"DAF", [](const Sky& s, double, const double*) { return eq(-std::sin(s.E) * sec(s.d), 0); }},
    // The horseshoe-flexure shape, with its weights in the published order.
    {"HFX", [](const Sky& s, double, const double*) {
       const double h = s.h, d = s.d, z = M_PI / 2 - s.E;
       const double f = 0.723 * std::sin(h) + 0.633 * std::sin(2 * h) + 1.279 * std::sin(3 * h) +
                        1.718 * std::sin(h) * std::cos(d) + 1.202 * std::sin(h) * std::sin(d) +
                        0.219 * std::sin(2 * h) * std::cos(d) + 0.368 * std::sin(2 * h) * std::sin(d) +
                        0.195 * std::sin(h) * std::cos(2 * d) + 1.928 * std::sin(h) * std::sin(z) +
                        3.662 * std::sin(h) * std::cos(z) + 0.381 * std::sin(3 * h) * std::cos(d) +
                        1.156 * std::sin(h) * std::sin(2 * d);
       return eq(f * sec(d), 0);
     }},
};

double parallactic(const Sky& s, double phi) {
  return std::atan2(std::sin(s.h), std::tan(phi) * std::cos(s.d) - std::sin(s.d) * std::cos(s.h));
}

const TermLaw kGenericLaws[] = {
    {"HXSH2",
     [](const Sky& s, double, const double*) { return eq(std::sin(2 * s.h) * sec(s.d), 0); }},
    {"HXSH2CD", [](const Sky& s, double, const double*) { return eq(std::sin(2 * s.h), 0); }},
    {"HHSH360", [](const Sky& s, double, const double*) { return eq(std::sin(360 * s.h), 0); }},
    {"HDCD2", [](const Sky& s, double, const double*) { return eq(0, std::cos(2 * s.d)); }},
    {"HHSHCD",
     [](const Sky& s, double, const double*) { return eq(std::sin(s.h) * std::cos(s.d), 0); }},
    {"HDCHSD3",
     [](const Sky& s, double, const double*) { return eq(0, std::cos(s.h) * std::sin(3 * s.d)); }},
    {"PDZ2",
     [](const Sky& s, double, const double*) {
       const double z = M_PI / 2 - s.E;
       return eq(0, z * z);
     }},
    {"PXH2D",
     [](const Sky& s, double, const double*) { return eq(s.h * s.h * s.d * sec(s.d), 0); }},
    {"PHD0", [](const Sky&, double, const double*) { return eq(1, 0); }},
    {"PHQ", [](const Sky& s, double phi, const double*) { return eq(parallactic(s, phi), 0); }},
    {"HASA", [](const Sky& s, double, const double*) { return hz(std::sin(s.A), 0); }},
    {"HSCA", [](const Sky& s, double, const double*) { return hz(std::cos(s.A) * sec(s.E), 0); }},
    {"HZCZ", [](const Sky& s, double, const double*) { return hz(0, -std::sin(s.E)); }},
    {"HUCH",
     [](const Sky& s, double, const double*) {
       const double f = std::cos(s.h);
       return hz(f * std::tan(s.E), f * std::cos(s.E));
     }},
    {"HLCH",
     [](const Sky& s, double, const double*) {
       const double f = std::cos(s.h);
       return hz(f, -f * std::sin(s.E));
     }},
    {"HPCH",
     [](const Sky& s, double, const double*) { return eq(0, std::cos(s.h) * std::cos(s.d)); }},
    {"HNCH",
     [](const Sky& s, double, const double*) {
       const double f = std::cos(s.h);
       return hz(f * std::sin(s.A) * sec(s.E), f * std::sin(s.E) * std::cos(s.A));
     }},
    {"HWCH",
     [](const Sky& s, double, const double*) {
       const double f = std::cos(s.h);
       return hz(-f * std::cos(s.A) * sec(s.E), f * std::sin(s.E) * std::sin(s.A));
     }},
    {"HVCH",
     [](const Sky& s, double, const double*) { return hz(0, std::cos(s.h) * std::cos(s.E)); }},
};

struct Site {
  double phi, h, d;
};

// Sites and positions well above the horizon, north and south.
const Site kSites[] = {
    {0.6, 0.7, 0.3}, {0.6, -1.2, 0.1}, {0.6, 2.6, 1.1}, {0.6, -0.4, 0.9}, {-0.5, 0.5, -0.8},
};

class Evaluation : public ::testing::Test {
 protected:
  std::unique_ptr<Engine> engine = std::make_unique<Engine>();
  double aux[3] = {0.3, -0.7, 0.0};

  void SetUp() override {
    loadTermNames(*engine);
    setLatitude(0.6);
  }

  void setLatitude(double phi) {
    engine->run.sinLat = std::sin(phi);
    engine->run.cosLat = std::cos(phi);
  }

  int number(const char* name) {
    const int n = resolveTermName(*engine, name, 1, nullptr);
    EXPECT_GT(n, 0) << name;
    return n;
  }

  // The change of one term at (h, d), measured in the frame of the law.
  Effect measure(int term, double c, const Site& site, int pier, Effect kind) {
    setLatitude(site.phi);
    double base[3];
    horizonOf(site.h, site.d, site.phi, base);
    double current[3] = {base[0], base[1], base[2]};
    EXPECT_EQ(evaluateTerm(*engine, term, c, aux, pier, base, current), 0);
    const Sky before = skyOf(base, site.phi);
    const Sky after = skyOf(current, site.phi);
    if (kind.horizon) return hz(wrap(after.A - before.A) / c, (after.E - before.E) / c);
    return eq(wrap(after.h - before.h) / c, (after.d - before.d) / c);
  }

  // Displacement vector of one term, for comparisons between terms.
  std::vector<double> displacement(int term, double c, const Site& site, int pier = 0) {
    setLatitude(site.phi);
    double base[3];
    horizonOf(site.h, site.d, site.phi, base);
    double current[3] = {base[0], base[1], base[2]};
    EXPECT_EQ(evaluateTerm(*engine, term, c, aux, pier, base, current), 0);
    return {current[0] - base[0], current[1] - base[1], current[2] - base[2]};
  }

  void checkLaws(const TermLaw* laws, std::size_t count) {
    const double c = 1e-8;  // radians: second-order terms stay below 1e-7 relative
    for (std::size_t k = 0; k < count; ++k) {
      const TermLaw& law = laws[k];
      const int term = number(law.name);
      for (const Site& site : kSites) {
        double base[3];
        horizonOf(site.h, site.d, site.phi, base);
        const Sky sky = skyOf(base, site.phi);
        const Effect expected = law.law(sky, site.phi, aux);
        const Effect actual = measure(term, c, site, 0, expected);
        const double tol1 = 1e-6 * std::max(1.0, std::fabs(expected.first));
        const double tol2 = 1e-6 * std::max(1.0, std::fabs(expected.second));
        EXPECT_NEAR(actual.first, expected.first, tol1)
            << law.name << " at h=" << site.h << " d=" << site.d << " phi=" << site.phi;
        EXPECT_NEAR(actual.second, expected.second, tol2)
            << law.name << " at h=" << site.h << " d=" << site.d << " phi=" << site.phi;
      }
    }
  }
};

TEST_F(Evaluation, EveryStandardTermGivesItsClassicalFirstOrderEffect) {
  ASSERT_EQ(sizeof kStandardLaws / sizeof kStandardLaws[0], 53u);  // all but HFD
  for (int i = 0; i < 53; ++i) {
    EXPECT_STREQ(kStandardLaws[i].name, termName(engine->terms, i + 1)) << "catalogue order";
  }
  checkLaws(kStandardLaws, 53);
}

TEST_F(Evaluation, FlexureShapesAreSymmetricAboutTheMeridian) {
  // A mount symmetric about the meridian flexes along the parallel oddly in
  // h and in declination evenly; HFD is a pure declination shift.
  const double c = 1e-8;
  const Effect asEq = eq(0, 0);
  for (const Site& site : kSites) {
    const Site mirror = {site.phi, -site.h, site.d};
    const Effect hfx = measure(number("HFX"), c, site, 0, asEq);
    const Effect hfxMirror = measure(number("HFX"), c, mirror, 0, asEq);
    EXPECT_NEAR(hfx.first, -hfxMirror.first, 1e-6 * std::fabs(hfx.first));
    EXPECT_NEAR(hfx.second, 0.0, 1e-6);
    const Effect hfd = measure(number("HFD"), c, site, 0, asEq);
    const Effect hfdMirror = measure(number("HFD"), c, mirror, 0, asEq);
    EXPECT_NEAR(hfd.second, hfdMirror.second, 1e-6 * std::fabs(hfd.second));
    EXPECT_NEAR(hfd.first, 0.0, 1e-6);
    EXPECT_GT(std::fabs(hfd.second), 0.1);
  }
}

TEST_F(Evaluation, GenericTermsMultiplySinesCosinesAndPowersOfTheirCoordinates) {
  checkLaws(kGenericLaws, sizeof kGenericLaws / sizeof kGenericLaws[0]);
}

TEST_F(Evaluation, ZhAndAux1hAreTheSameCorrection) {
  const Site site = kSites[0];
  EXPECT_EQ(displacement(number("ZH"), 1e-4, site), displacement(number("AUX1H"), 1e-4, site));
}

TEST_F(Evaluation, TubeFlexureIsHorseshoeFlexureAlongTheParallelPlusZeInDeclination) {
  // Gravity pulls the tube towards the horizon by sin z; resolved along the
  // parallel that is cos(phi) sin h (the HF shape), along the declination
  // circle it is ZE.
  const double c = 1e-8;
  for (const Site& site : kSites) {
    const auto tf = displacement(number("TF"), c, site);
    const auto hf = displacement(number("HF"), c * std::cos(site.phi), site);
    const auto ze = displacement(number("ZE"), c, site);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(tf[i], hf[i] + ze[i], 1e-6 * c) << i;
  }
}

// A polar coude train traced with plane mirrors: the ray from the fixed
// focus runs up the polar axis, M4 turns it along the declination axis and
// M3 into the tube. Returns the sky direction the focus sees.
void coudeRay(double h, double d, const double m4Tilt[3], const double focusOffset[3],
              double out[3]) {
  const double z[3] = {0, 0, 1};
  const double a[3] = {std::sin(h), std::cos(h), 0};  // declination axis
  const double p[3] = {std::cos(d) * std::cos(h), -std::cos(d) * std::sin(h), std::sin(d)};
  auto reflect = [](const double v[3], const double n[3], double r[3]) {
    const double len = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    const double k = 2 * (v[0] * n[0] + v[1] * n[1] + v[2] * n[2]) / (len * len);
    for (int i = 0; i < 3; ++i) r[i] = v[i] - k * n[i];
  };
  // M4's normal bisects -z and a; its tilt is a small rotation, given in
  // the frame that turns with the hour angle (a, b, z), b = a x z.
  const double b[3] = {a[1] * z[2] - a[2] * z[1], a[2] * z[0] - a[0] * z[2],
                       a[0] * z[1] - a[1] * z[0]};
  double n4[3];
  for (int i = 0; i < 3; ++i) n4[i] = a[i] - z[i];
  double axis[3];
  for (int i = 0; i < 3; ++i) axis[i] = m4Tilt[0] * a[i] + m4Tilt[1] * b[i] + m4Tilt[2] * z[i];
  const double tilted[3] = {n4[0] + axis[1] * n4[2] - axis[2] * n4[1],
                            n4[1] + axis[2] * n4[0] - axis[0] * n4[2],
                            n4[2] + axis[0] * n4[1] - axis[1] * n4[0]};
  double n3[3];
  for (int i = 0; i < 3; ++i) n3[i] = p[i] - a[i];
  double in[3] = {focusOffset[0], focusOffset[1], 1.0};
  double mid[3];
  reflect(in, tilted, mid);
  reflect(mid, n3, out);
  const double len = std::sqrt(out[0] * out[0] + out[1] * out[1] + out[2] * out[2]);
  for (int i = 0; i < 3; ++i) out[i] /= len;
}

// Sky displacement of the coude ray (along the parallel, in declination).
std::pair<double, double> coudeShift(double h, double d, const double tilt[3],
                                     const double offset[3]) {
  const double none[3] = {0, 0, 0};
  double ray[3];
  double ideal[3];
  coudeRay(h, d, tilt, offset, ray);
  coudeRay(h, d, none, none, ideal);
  const double eX[3] = {-std::sin(h), -std::cos(h), 0};
  const double eD[3] = {-std::sin(d) * std::cos(h), std::sin(d) * std::sin(h), std::cos(d)};
  double x = 0, y = 0;
  for (int i = 0; i < 3; ++i) {
    x += (ray[i] - ideal[i]) * eX[i];
    y += (ray[i] - ideal[i]) * eD[i];
  }
  return {x, y};
}

TEST_F(Evaluation, CoudeTermsFollowTheMirrorGeometryOfAPolarCoudeTrain) {
  const double positions[][2] = {{0.7, 0.3}, {-1.2, 0.1}, {2.6, 1.1}, {-0.4, -0.9}, {1.5, -0.2}};
  const double eps = 1e-8;
  // (along the parallel, in declination) of each term at (h, d).
  auto cd4a = [](double, double d) { return std::pair{-std::sin(d), std::cos(d)}; };
  auto cd4b = [](double, double d) { return std::pair{std::cos(d), std::sin(d)}; };
  auto cd5a = [](double h, double d) { return std::pair{std::cos(h - d), -std::sin(h - d)}; };
  auto cd5b = [](double h, double d) { return std::pair{std::sin(h - d), std::cos(h - d)}; };

  // Each perturbation must be one fixed combination of the A and B shapes
  // at every position: solve at the first position, check at the rest.
  auto check = [&](auto shapeA, auto shapeB, const double tilt[3], const double offset[3]) {
    const auto [x0, y0] = coudeShift(positions[0][0], positions[0][1], tilt, offset);
    const auto [ax, ay] = shapeA(positions[0][0], positions[0][1]);
    const auto [bx, by] = shapeB(positions[0][0], positions[0][1]);
    const double det = ax * by - bx * ay;
    const double alpha = (x0 * by - bx * y0) / det;
    const double beta = (ax * y0 - x0 * ay) / det;
    EXPECT_GT(std::hypot(alpha, beta), 0.1 * eps);
    for (const auto& pos : positions) {
      const auto [x, y] = coudeShift(pos[0], pos[1], tilt, offset);
      const auto [px, py] = shapeA(pos[0], pos[1]);
      const auto [qx, qy] = shapeB(pos[0], pos[1]);
      EXPECT_NEAR(x, alpha * px + beta * qx, 1e-6 * eps);
      EXPECT_NEAR(y, alpha * py + beta * qy, 1e-6 * eps);
    }
  };
  const double none[3] = {0, 0, 0};
  const double tiltAboutB[3] = {0, eps, 0};
  const double tiltAboutBisector[3] = {eps, 0, eps};
  check(cd4a, cd4b, tiltAboutB, none);
  check(cd4a, cd4b, tiltAboutBisector, none);
  const double offsetX[3] = {eps, 0, 0};
  const double offsetY[3] = {0, eps, 0};
  check(cd5a, cd5b, none, offsetX);
  check(cd5a, cd5b, none, offsetY);
}

TEST_F(Evaluation, AdjustStarsReversesEveryCorrection) {
  std::vector<int> terms;
  for (int n = 1; n <= 54; ++n) terms.push_back(n);
  for (const char* name :
       {"HXSH2", "PDZ2", "HUCH", "HLCH", "HPCH", "HNCH", "HWCH", "HVCH", "HSCA"}) {
    terms.push_back(number(name));
  }
  const double c = 1e-8;
  for (const int term : terms) {
    for (const Site& site : kSites) {
      for (int pier = 0; pier <= 1; ++pier) {
        engine->settings.adjustSense = 1;
        const auto telescope = displacement(term, c, site, pier);
        engine->settings.adjustSense = 2;
        const auto stars = displacement(term, c, site, pier);
        const double size = std::max(c, std::hypot(telescope[0], telescope[1], telescope[2]));
        for (int i = 0; i < 3; ++i) {
          EXPECT_NEAR(stars[i], -telescope[i], 1e-6 * size)
              << termName(engine->terms, term) << " pier " << pier;
        }
      }
    }
  }
}

TEST_F(Evaluation, OverThePoleDeclinationSensesReverseAndHorizonTermsDoNot) {
  const Site site = kSites[0];
  const double c = 1e-8;
  const Effect asEq = eq(0, 0);
  const Effect asHz = hz(0, 0);
  const double secD = 1.0 / std::cos(site.d);
  // ID: the declination reading runs the other way over the pole.
  EXPECT_NEAR(measure(number("ID"), c, site, 1, asEq).second, -1.0, 1e-6);
  EXPECT_NEAR(measure(number("ID"), c, site, 0, asEq).second, 1.0, 1e-6);
  // IH keeps its sense; CH (along the parallel) reverses.
  EXPECT_NEAR(measure(number("IH"), c, site, 1, asEq).first, 1.0, 1e-6);
  EXPECT_NEAR(measure(number("CH"), c, site, 1, asEq).first, -secD, 1e-6);
  // NP reverses: sin(pi - d) = sin d, then the sense change.
  EXPECT_NEAR(measure(number("NP"), c, site, 1, asEq).first, -std::tan(site.d), 1e-6);
  // Horizon and vector terms are the same on either side.
  EXPECT_NEAR(measure(number("IE"), c, site, 1, asHz).second, 1.0, 1e-6);
  EXPECT_EQ(displacement(number("ME"), c, site, 1), displacement(number("ME"), c, site, 0));
  // Tube flexure resolved in declination follows gravity, not the mount.
  const auto ze0 = displacement(number("ZE"), c, site, 0);
  const auto ze1 = displacement(number("ZE"), c, site, 1);
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(ze0[i], ze1[i], 1e-6 * c);
}

TEST_F(Evaluation, OutOfRangeTermsAndUnusableCorrectionsLeaveTheDirectionAlone) {
  double base[3];
  horizonOf(0.3, 0.2, 0.6, base);
  for (const int term : {0, -3, engine->terms.termNameCount + 1, 100, 1000}) {
    double current[3] = {base[0], base[1], base[2]};
    EXPECT_EQ(evaluateTerm(*engine, term, 1e-3, aux, 0, base, current), 0);
    EXPECT_EQ(current[0], base[0]);
    EXPECT_EQ(current[2], base[2]);
  }
  // TX on the horizon: cot E is infinite; the term cannot be evaluated.
  double horizon[3] = {1, 0, 0};
  double current[3] = {1, 0, 0};
  EXPECT_LT(evaluateTerm(*engine, number("TX"), 1e-5, aux, 0, horizon, current), 0);
  EXPECT_EQ(current[0], 1.0);
  // A coefficient that is not a number is refused the same way.
  double moved[3] = {base[0], base[1], base[2]};
  EXPECT_LT(evaluateTerm(*engine, number("IH"), std::nan(""), aux, 0, base, moved), 0);
  EXPECT_EQ(moved[1], base[1]);
}

class ModelApplication : public Evaluation {
 protected:
  void SetUp() override {
    Evaluation::SetUp();
    ObservationList& list = engine->observations;
    list.status[0] = 1;
    list.pierFlag[0] = 0;
    list.starHa[0] = 0.5;
    list.starDec[0] = 0.2;
    list.starHaWork[0] = 0.6;
    list.starDecWork[0] = 0.25;
    list.telHa[0] = -0.4;
    list.telDec[0] = 0.7;
    list.telHaWork[0] = -0.45;
    list.telDecWork[0] = 0.75;
    list.aux[0][0] = list.aux[0][1] = list.aux[0][2] = 0.0;
    list.status[1] = -1;
    engine->run.obsPresent = 1;
    clearModel(engine->model);
  }

  void use(int slot, const char* name, double value, int chained) {
    Model& model = engine->model;
    model.termNumber[slot] = number(name);
    model.coefValue[slot] = value;
    model.chained[slot] = chained;
    model.floating[slot] = 1;
    model.termNumber[slot + 1] = 0;
  }

  std::pair<double, double> corrected() {
    double source[3];
    double target[3];
    EXPECT_EQ(applyModel(*engine, 0, source, target), 0);
    double h = 0, d = 0;
    directionToHaDec(*engine, source, h, d);
    return {h, d};
  }
};

TEST_F(ModelApplication, TheAdjustSenseChoosesWhichSideIsCorrected) {
  double source[3], target[3], h, d;
  observationDirections(*engine, 0, source, target);
  directionToHaDec(*engine, source, h, d);
  EXPECT_NEAR(h, 0.5, 1e-12);  // the star's input copy
  EXPECT_NEAR(d, 0.2, 1e-12);
  directionToHaDec(*engine, target, h, d);
  EXPECT_NEAR(h, -0.45, 1e-12);  // the telescope's working copy
  EXPECT_NEAR(d, 0.75, 1e-12);

  engine->settings.adjustSense = 2;
  observationDirections(*engine, 0, source, target);
  directionToHaDec(*engine, source, h, d);
  EXPECT_NEAR(h, -0.4, 1e-12);  // the telescope's input copy
  EXPECT_NEAR(d, 0.7, 1e-12);
  directionToHaDec(*engine, target, h, d);
  EXPECT_NEAR(h, 0.6, 1e-12);  // the star's working copy
  EXPECT_NEAR(d, 0.25, 1e-12);
}

TEST_F(ModelApplication, ChainedTermsSeeTheCorrectedPointAndParallelTermsTheSameBase) {
  // IH then HCES (dh = c sin h), with large coefficients so that the base
  // point visibly matters.
  use(0, "IH", 0.1, 1);
  use(1, "HCES", 0.05, 1);
  auto [hc, dc] = corrected();
  EXPECT_NEAR(hc, 0.5 + 0.1 + 0.05 * std::sin(0.6), 1e-12);
  EXPECT_NEAR(dc, 0.2, 1e-12);

  engine->model.chained[1] = 0;
  auto [hp, dp] = corrected();
  EXPECT_NEAR(hp, 0.5 + 0.1 + 0.05 * std::sin(0.5), 1e-12);

  // A chained IH followed by a parallel ID: the two simply add.
  use(0, "IH", 0.1, 1);
  use(1, "ID", -0.03, 0);
  auto [h2, d2] = corrected();
  EXPECT_NEAR(h2, 0.6, 1e-12);
  EXPECT_NEAR(d2, 0.17, 1e-12);

  // A parallel first term is evaluated at the observation itself.
  use(0, "HCES", 0.05, 0);
  auto [h3, d3] = corrected();
  EXPECT_NEAR(h3, 0.5 + 0.05 * std::sin(0.5), 1e-12);
  (void)d3;
}

TEST_F(ModelApplication, AFailingTermIsReportedAndStopsTheModel) {
  engine->run.sinLat = 1.0;  // at the pole the equator is the horizon
  engine->run.cosLat = 0.0;
  engine->observations.starDec[0] = 0.0;
  use(0, "TX", 1e-5, 1);
  double source[3], target[3];
  EXPECT_LT(applyModel(*engine, 0, source, target), 0);
}

}  // namespace
}  // namespace zenfit::test
