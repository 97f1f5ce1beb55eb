// FIT: the pointing model's floating coefficients by linear least squares.
//
// Each active observation gives three rows (the x, y and z components of a
// unit-vector difference in the horizon-referred frame). The partial
// derivatives are one-sided differences over a 10-arcsecond step of each
// coefficient, taken where the term acts in the model's chain, rounded to
// single precision; the system is solved by singular value decomposition
// (Golub & Reinsch 1970; see svd.h) after the singular values below the
// tolerance times the largest have been zeroed. One fit is one linearised
// step from the current coefficients.
//
// The model is evaluated term by term over blocks of observations
// (model/evaluator.h), and the decomposition is reached by the streaming
// route of least_squares.h, which gives svdDecompose's singular values,
// editing and covariance to the last bit. The straightforward path
// (evaluateTerm, svdDecompose, svdSolve, svdCovariance) is kept in the
// tests, which hold FIT to it.
#pragma once

#include <functional>
#include <vector>

#include "data/observations.h"
#include "model/model.h"
#include "model/terms.h"

namespace zenfit {

struct FitOptions {
  bool adjust = true;       // false: nothing is fitted (every term is reported as held)
  double tolerance = 0.01;  // singular values below this fraction of the largest are zeroed
  AdjustSense sense = AdjustSense::Telescope;
  std::function<bool()> cancelled;  // asked after every observation
};

enum class FitOutcome {
  Completed,            // the coefficients were updated and the statistics formed
  TooManyCoefficients,  // 50 or more floating terms
  NoObservations,       // nothing to fit to (ends quietly)
  NoMemory,             // the working arrays could not be allocated
  NotEnoughStars,       // twice the active stars fall short of the coefficients
  SvdShapeError,        // the decomposition refused its arguments (a bug)
  SvdNoConvergence,     // the QR iteration did not converge; nothing was changed
  Cancelled,            // the host asked to stop
};

// One term in use, in model order.
struct FittedTerm {
  int slot = 0;         // model slot
  int column = -1;      // column in the least-squares system; -1 when held
  double change = 0.0;  // arcseconds, as solved (fitted terms)
  double value = 0.0;   // radians: the coefficient after the fit
  double sigma = -1.0;  // radians: sqrt(C_jj * S / n) (fitted terms)
};

struct FitResult {
  FitOutcome outcome = FitOutcome::Completed;
  int svdStatus = 0;                // the decomposition's status, for its report
  bool coefficientsChanged = false; // the solution was added to the coefficients
  std::vector<FittedTerm> terms;    // every term in use
  int fitted = 0;                   // q, the coefficients fitted
  int stars = 0;                    // n, the active stars used
  double sumSquares = 0.0;          // S: squared chords, corrected minus observed (radians^2)
  double skyRms = 0.0;              // sqrt(S / n), radians
  double popSd = -1.0;              // sqrt(S / (n - q)), radians; -1 for n - q < 1
  std::vector<double> covariance;   // q x q, (A^T A)^-1 over the retained directions, arcsec^-2 units of the data
  std::vector<double> correlations; // q x q, C_ij / sqrt(C_ii C_jj) (the root in single precision)
  std::vector<int> alwaysZero;      // columns whose covariance diagonal is exactly zero
  bool illConditioned = false;      // a singular value was zeroed
  double smallestRatio = 0.0;       // of the zeroed singular values to the largest
  double largestRatio = 0.0;
  std::vector<int> withdrawn;       // slots masked for good (a term could not be evaluated there)

  double correlation(int i, int j) const { return correlations[static_cast<std::size_t>(i * fitted + j)]; }
  double covarianceAt(int i, int j) const { return covariance[static_cast<std::size_t>(i * fitted + j)]; }
};

// The fit. The model is read, never written: the result carries the new
// values and sigmas for the caller to store. The observation list is
// written: the fitted position goes to the working copy of the side the
// model corrects, and an observation at which a term cannot be evaluated
// is masked for good.
FitResult fit(const Model& model, const TermTable& terms, ObservationList& list,
              const RunState& run, const FitOptions& options);

// The model as it stands applied to the active observations: the root
// mean square chord between corrected source and target (radians) and the
// number of observations it covers (those where every term evaluates).
struct ModelStatistics {
  int used = 0;
  double rms = 0.0;
};
ModelStatistics modelStatistics(const Model& model, const TermTable& terms,
                                const ObservationList& list, const RunState& run,
                                AdjustSense sense);

// UNFIT: removes the model from every observation's fitted pair (the
// working copy of the side the model corrects) and stores the result as
// that side's input copy, so that applying the model again reproduces the
// fitted pair. adjust false copies the fitted pair unchanged. An
// observation at which a term cannot be evaluated is masked; the slots so
// masked are returned.
std::vector<int> unfit(const Model& model, const TermTable& terms, ObservationList& list,
                       const RunState& run, AdjustSense sense, bool adjust);

}  // namespace zenfit
