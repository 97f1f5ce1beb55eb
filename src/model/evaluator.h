// The pointing model applied to a block of observations at once: the fast
// form of evaluateTerm's protocol, for FIT, UNFIT and the model's
// statistics.
//
// Term by term over the block (structure of arrays), so that each step is
// one loop over the observations that the compiler vectorises. Nothing is
// computed twice: a term's place (PlaceBlock) and multipliers serve both
// the plain and the stepped evaluation of a derivative, a chained term's
// place is the taking-apart of the running vector that its correction
// needs, and a run of parallel terms shares one place. No angle is formed:
// a shift of the hour angle (or azimuth) and the declination (or
// elevation) is made by the angle-addition formulas on the vector's own
// sines and cosines, with the sines and cosines of the small shifts from
// their Taylor series. Along-the-parallel, sideways and vector corrections
// are the same operations as evaluateTerm's.
//
// The results agree with evaluateTerm's to a few units in the last place
// of a double (tests/model/evaluator_test.cpp). Direction vectors must be
// unit vectors, as every direction the engine makes is.
#pragma once

#include "model/evaluate.h"
#include "model/generic.h"

namespace zenfit {

// The fit's one-sided difference: a 10-arcsecond step of the coefficient,
// and the factor that turns the change of the direction into arcseconds
// per arcsecond (arcseconds per radian divided by 10).
inline constexpr double kDerivativeStep = 4.84813681109536e-5;
inline constexpr double kDerivativeScale = 20626.480624709635;

// x rounded to single precision, as the fit keeps its data. The rounding
// is held in place by an empty asm: g++ 12.2 folds a vectorised
// double -> float -> double round trip into nothing (seen in FIT's
// residual rows), which would leave the data unrounded.
inline double roundToSingle(double x) {
  float f = static_cast<float>(x);
#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
  __asm__("" : "+x"(f));
#else
  volatile float held = f;
  f = held;
#endif
  return f;
}

// Directions of a block of observations, one array per component.
struct DirectionBlock {
  double x[kPlaceBlock], y[kPlaceBlock], z[kPlaceBlock];
};

// Where the derivatives go: lane i's component c for the entry's column j
// at rows[(3 i + c) stride + j columnStride], rounded to single precision.
struct DerivativeRows {
  double* rows = nullptr;       // lane 0's x component in column 0
  int stride = 0;               // doubles from one row (lane and component) to the next
  const int* column = nullptr;  // per model slot: the column, or -1 for a held term
  int columnStride = 1;         // doubles from one column to the next
};

class ModelEvaluator {
 public:
  // The entries of model in use (up to the first zero term number), with
  // their coefficients as they stand.
  ModelEvaluator(const EvaluationContext& context, const Model& model);

  int entries() const { return count_; }

  // Applies model slots first .. last to v (in place) by the chained and
  // parallel protocol, starting with the base at v. failed[i] is set for
  // each lane at which a term cannot be evaluated (and left as it was for
  // the others); such a lane's direction is then of no use.
  void apply(const LaneData& lanes, DirectionBlock& v, bool* failed, int first, int last) const;
  void apply(const LaneData& lanes, DirectionBlock& v, bool* failed) const {
    apply(lanes, v, failed, 0, count_ - 1);
  }

  // The fit's pass: applies every slot as apply does and, for each slot
  // with a column, writes the derivative of the direction with respect to
  // its coefficient, the one-sided difference over kDerivativeStep times
  // kDerivativeScale rounded to single precision, for lanes 0 .. count-1.
  void differentiate(const LaneData& lanes, DirectionBlock& v, bool* failed,
                     const DerivativeRows& out) const;

  // The loops run with AVX2 where the processor has it (wide_vectors.h),
  // to the same results; false keeps them on the baseline instructions
  // (for the tests that compare the two).
  void useWideVectors(bool on) { wide_ = on; }

  // A model entry as the loops read it.
  enum class Source { Nothing, Standard, Generic, Unreadable };
  struct Entry {
    Source source = Source::Nothing;
    CorrectionKind kind = CorrectionKind::HourDec;
    void (*block)(const PlaceBlock&, MultiplierBlock&) = nullptr;
    GenericForm generic;
    double value = 0.0;
    bool chained = false;
  };

 private:
  template <bool kDerive>
  void run(const LaneData& lanes, DirectionBlock& v, bool* failed, int first, int last,
           const DerivativeRows* out) const;

  EvaluationContext context_;
  bool wide_ = true;
  int count_ = 0;
  Entry entries_[kMaxModelTerms];
};

}  // namespace zenfit
