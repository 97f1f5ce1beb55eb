// FIT: the pointing model's floating coefficients by linear least squares.
//
// Each active observation gives three rows (the x, y and z components of a
// unit-vector difference in the horizon-referred frame). The partial
// derivatives are one-sided differences over a 10-arcsecond step of each
// coefficient, taken where the term acts in the model's chain; the system
// is solved by singular value decomposition (Golub & Reinsch 1970; see
// svd.h) after the singular values below FITTOL times the largest have been
// zeroed. One FIT is one linearised step from the current coefficients.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "command/lexer.h"
#include "engine.h"
#include "fit/fit.h"
#include "fit/svd.h"
#include "model/evaluate.h"

namespace zenfit {
namespace {

constexpr double kDerivativeStep = 4.84813681109536e-5;      // 10 arcseconds, radians
constexpr double kDerivativeScale = 20626.480624709635;      // arcsec per radian / 10
constexpr double kCorrelationWarning = 0.995;
constexpr int kCorrelationBlockWidth = 14;
constexpr int kRowsPerStar = 3;

// The least-squares data are kept to single precision: derivatives from a
// 10-arcsecond difference carry no more than that.
double toSingle(double x) { return static_cast<double>(static_cast<float>(x)); }

template <typename T>
std::unique_ptr<T[]> allocateArray(std::size_t count) {
  return std::unique_ptr<T[]>(new (std::nothrow) T[count]);
}

// The model entries in use, and which of them FIT adjusts.
struct FitTerms {
  int inUse = 0;                          // entries before the first zero term number
  int fitted = 0;                         // q, the coefficients being fitted
  int column[kMaxModelTerms];             // column of each entry, -1 when held
  int slot[kMaxModelTerms];               // model position of each column
};

// The working arrays of one fit; released whichever way the fit ends.
struct Workspace {
  int scanned = 0;    // observation slots before the end mark (at least 1)
  int maxRows = 0;    // 3 x active stars counted before the fit
  int columns = 0;    // k, at least 1
  std::unique_ptr<double[]> observed;    // 3 per slot
  std::unique_ptr<double[]> source;      // 3 per slot
  std::unique_ptr<double[]> design;      // maxRows x columns, row-major
  std::unique_ptr<double[]> residual;    // maxRows
  std::unique_ptr<double[]> w;           // columns
  std::unique_ptr<double[]> v;           // columns x columns
  std::unique_ptr<double[]> solution;    // columns
  std::unique_ptr<double[]> scratch;     // columns
  std::unique_ptr<double[]> covariance;  // columns x columns

  bool allocate(int slots, int stars, int k) {
    scanned = slots > 0 ? slots : 1;
    maxRows = kRowsPerStar * stars;
    columns = k > 0 ? k : 1;
    const auto n = static_cast<std::size_t>(columns);
    const auto rows = static_cast<std::size_t>(maxRows > 0 ? maxRows : 1);
    observed = allocateArray<double>(3 * static_cast<std::size_t>(scanned));
    source = allocateArray<double>(3 * static_cast<std::size_t>(scanned));
    design = allocateArray<double>(rows * n);
    residual = allocateArray<double>(rows);
    w = allocateArray<double>(n);
    v = allocateArray<double>(n * n);
    solution = allocateArray<double>(n);
    scratch = allocateArray<double>(n);
    covariance = allocateArray<double>(n * n);
    return observed && source && design && residual && w && v && solution && scratch &&
           covariance;
  }
};

// Singular-value editing and what it found, for the report.
struct Editing {
  bool zeroed = false;
  double smallestRatio = 0.0;
  double largestRatio = 0.0;
};

FitTerms fitTerms(const Model& model, bool adjust) {
  FitTerms terms;
  while (terms.inUse < kMaxModelTerms && model.termNumber[terms.inUse] != 0) {
    const int i = terms.inUse++;
    terms.column[i] = -1;
    if (adjust && model.floating[i] != 0) {
      terms.column[i] = terms.fitted;
      if (terms.fitted < kMaxModelTerms) terms.slot[terms.fitted] = i;
      ++terms.fitted;
    }
  }
  return terms;
}

// The model applied to one active star, filling its derivative and
// residual rows (row = 3 x its number among the active stars). Returns
// false when a term cannot be evaluated there.
bool differentiate(Engine& engine, const FitTerms& terms, int slot, const double source[3],
                   const double observed[3], int row, Workspace& ws) {
  const Model& model = engine.model;
  const ObservationList& list = engine.observations;
  double base[3] = {source[0], source[1], source[2]};
  double running[3] = {source[0], source[1], source[2]};
  for (int i = 0; i < terms.inUse; ++i) {
    if (model.chained[i] != 0) std::memcpy(base, running, sizeof base);
    double kept[3] = {running[0], running[1], running[2]};
    if (evaluateTerm(engine, model.termNumber[i], model.coefValue[i], list.aux[slot],
                     list.pierFlag[slot], base, running) < 0) {
      return false;
    }
    const int column = terms.column[i];
    if (column < 0) continue;
    if (evaluateTerm(engine, model.termNumber[i], model.coefValue[i] + kDerivativeStep,
                     list.aux[slot], list.pierFlag[slot], base, kept) < 0) {
      return false;
    }
    for (int c = 0; c < kRowsPerStar; ++c) {
      ws.design[static_cast<std::size_t>(row + c) * ws.columns + column] =
          toSingle((kept[c] - running[c]) * kDerivativeScale);
    }
  }
  if (terms.fitted > 0) {
    for (int c = 0; c < kRowsPerStar; ++c) {
      ws.residual[row + c] = toSingle((observed[c] - running[c]) * kArcsecPerRadian);
    }
  }
  return true;
}

// First pass: the two directions of every observation, and the rows of
// the active ones. Returns false when the host asked to stop; stars
// receives the number of active stars that were kept.
bool firstPass(Engine& engine, const FitTerms& terms, Workspace& ws, int& stars) {
  ObservationList& list = engine.observations;
  stars = 0;
  for (int i = 0; i < ws.scanned && list.status[i] >= 0; ++i) {
    double* source = &ws.source[3 * static_cast<std::size_t>(i)];
    double* observed = &ws.observed[3 * static_cast<std::size_t>(i)];
    observationDirections(engine, i, source, observed);
    if (list.status[i] != kStatusMasked && kRowsPerStar * stars < ws.maxRows) {
      if (differentiate(engine, terms, i, source, observed, kRowsPerStar * stars, ws)) {
        ++stars;
      } else {
        list.status[i] = kStatusMasked;  // withdrawn for good
      }
    }
    if (cancelPoll(engine, 0) != 0) return false;
  }
  return true;
}

// Zeroes the singular values below tolerance times the largest.
Editing editSingularValues(double* w, int n, double tolerance) {
  Editing editing;
  double wmax = 0.0;
  for (int j = 0; j < n; ++j) {
    if (w[j] > wmax) wmax = w[j];
  }
  if (!(wmax > 0.0)) return editing;
  editing.smallestRatio = wmax;
  editing.largestRatio = 0.0;
  for (int j = 0; j < n; ++j) {
    const double ratio = w[j] / wmax;
    if (ratio < tolerance) {
      w[j] = 0.0;
      editing.zeroed = true;
      if (ratio < editing.smallestRatio) editing.smallestRatio = ratio;
      if (ratio > editing.largestRatio) editing.largestRatio = ratio;
    }
  }
  return editing;
}

// Decomposes, edits and solves; adds the changes to the fitted
// coefficients. Returns false (coefficients unchanged) when the
// decomposition failed.
bool solve(Engine& engine, const FitTerms& terms, int stars, Workspace& ws, Editing& editing) {
  const int m = kRowsPerStar * stars;
  const int n = terms.fitted;
  int status = 0;
  svdDecompose(m, n, ws.maxRows, n, ws.design.get(), ws.w.get(), ws.v.get(), ws.scratch.get(),
               status);
  if (status < 0) {
    msgOutF(engine, 'S', "Fatal bug!  Status from SVD routine: %d\n", status);
    return false;
  }
  if (status > 0) {
    msgOutF(engine, 'W', "SVD warning - QR phase failed to converge, status = %d\n", status);
    return false;
  }
  editing = editSingularValues(ws.w.get(), n, engine.settings.fitTolerance);
  svdSolve(m, n, ws.maxRows, n, ws.residual.get(), ws.design.get(), ws.w.get(), ws.v.get(),
           ws.scratch.get(), ws.solution.get());
  svdCovariance(n, n, n, ws.w.get(), ws.v.get(), ws.scratch.get(), ws.covariance.get());
  for (int j = 0; j < n; ++j) {
    engine.model.coefValue[terms.slot[j]] += ws.solution[j] * kRadianPerArcsec;
  }
  return true;
}

// Second pass: the model with its new coefficients applied to every
// observation, the result written back as the fitted position. Returns
// false when the host asked to stop; sum receives the sum of squared
// residual chords of the active stars (radians squared) and stars their
// number.
bool secondPass(Engine& engine, Workspace& ws, double& sum, int& stars) {
  ObservationList& list = engine.observations;
  const bool correctTelescope = engine.settings.adjustSense != 2;
  sum = 0.0;
  stars = 0;
  for (int i = 0; i < ws.scanned && list.status[i] >= 0; ++i) {
    const double* source = &ws.source[3 * static_cast<std::size_t>(i)];
    const double* observed = &ws.observed[3 * static_cast<std::size_t>(i)];
    double corrected[3] = {source[0], source[1], source[2]};
    if (applyModelTerms(engine, i, corrected) < 0) {
      list.status[i] = kStatusMasked;
    } else {
      double ha = 0.0;
      double dec = 0.0;
      directionToHaDec(engine, corrected, ha, dec);
      if (correctTelescope) {
        list.starHaWork[i] = ha;
        list.starDecWork[i] = dec;
      } else {
        list.telHaWork[i] = ha;
        list.telDecWork[i] = dec;
      }
      if (list.status[i] != kStatusMasked) {
        for (int c = 0; c < 3; ++c) {
          const double d = corrected[c] - observed[c];
          sum += d * d;
        }
        ++stars;
      }
    }
    if (cancelPoll(engine, 0) != 0) return false;
  }
  return true;
}

const char* fittedName(const Engine& engine, const FitTerms& terms, int column) {
  return termName(engine.terms, engine.model.termNumber[terms.slot[column]]);
}

void reportCoefficients(Engine& engine, const FitTerms& terms, const Workspace& ws,
                        double meanSquare) {
  Model& model = engine.model;
  if (terms.inUse == 0) return;
  msgOut(engine, 'P', "\n       coeff       change     value    sigma\n\n");
  for (int i = 0; i < terms.inUse; ++i) {
    const char mark = model.chained[i] != 0 ? ' ' : '&';
    const char* name = termName(engine.terms, model.termNumber[i]);
    const int column = terms.column[i];
    if (column < 0) {
      msgOutF(engine, 'I', "%3d   %c %-8s%+19.2f\n", i + 1, mark, name,
              model.coefValue[i] * kArcsecPerRadian);
      continue;
    }
    const double variance = ws.covariance[static_cast<std::size_t>(column) * terms.fitted + column];
    model.coefSigma[i] = std::sqrt(variance * meanSquare);
    msgOutF(engine, 'I', "%3d   %c %-8s%+9.3f%+10.2f%9.3f\n", i + 1, mark, name,
            ws.solution[column], model.coefValue[i] * kArcsecPerRadian,
            model.coefSigma[i] * kArcsecPerRadian);
  }
}

// The lower triangle of the correlation matrix, 14 columns to a block,
// with a warning for every pair the data cannot tell apart.
void reportCorrelations(Engine& engine, const FitTerms& terms, const Workspace& ws) {
  const int q = terms.fitted;
  const double* c = ws.covariance.get();
  auto at = [&](int i, int j) { return c[static_cast<std::size_t>(i) * q + j]; };
  char line[kMessageLineSize];
  msgOut(engine, 'P', "* Correlations between terms:\n");
  for (int c0 = 0; c0 < q - 1; c0 += kCorrelationBlockWidth) {
    msgOut(engine, 'P', "\n");
    const int lastColumn = c0 + kCorrelationBlockWidth - 1 < q - 2 ? c0 + kCorrelationBlockWidth - 1
                                                                    : q - 2;
    for (int i = c0 + 1; i < q; ++i) {
      int length = std::snprintf(line, sizeof line, "%-8s", fittedName(engine, terms, i));
      const int last = c0 + kCorrelationBlockWidth - 1 < i - 1 ? c0 + kCorrelationBlockWidth - 1
                                                               : i - 1;
      for (int j = c0; j <= last; ++j) {
        const double product = at(i, i) * at(j, j);
        const double r = product != 0.0 ? at(i, j) / toSingle(std::sqrt(product)) : 0.0;
        if (std::fabs(r) > kCorrelationWarning) {
          msgOutSecondaryF(engine, 'W', "%s and %s cannot reliably be distinguished.\n",
                           fittedName(engine, terms, i), fittedName(engine, terms, j));
        }
        if (length >= 0 && length < static_cast<int>(sizeof line)) {
          length += std::snprintf(line + length, sizeof line - length, "%+8.4f", r);
        }
      }
      if (length >= 0 && length < static_cast<int>(sizeof line)) {
        std::snprintf(line + length, sizeof line - length, "\n");
      }
      msgOut(engine, 'P', line);
    }
    int length = std::snprintf(line, sizeof line, "\n          ");
    for (int j = c0; j <= lastColumn; ++j) {
      if (length >= 0 && length < static_cast<int>(sizeof line)) {
        length += std::snprintf(line + length, sizeof line - length, "%-8s",
                                fittedName(engine, terms, j));
      }
    }
    if (length >= 0 && length < static_cast<int>(sizeof line)) {
      std::snprintf(line + length, sizeof line - length, "\n");
    }
    msgOut(engine, 'P', line);
  }
  msgOut(engine, 'P', "\n");
}

void reportIllConditioning(Engine& engine, const Editing& editing) {
  msgOut(engine, 'I', "Action was taken to correct ill-conditioning.  The\n");
  msgOutF(engine, 'I', "current FITTOL tolerance is %.3g, which exceeds\n",
          engine.settings.fitTolerance);
  if (editing.smallestRatio == editing.largestRatio) {
    msgOutF(engine, 'I', "the value %.3g encountered ", editing.smallestRatio);
  } else {
    msgOutF(engine, 'I', "values from %.3g to %.3g encountered\n", editing.smallestRatio,
            editing.largestRatio);
  }
  msgOut(engine, 'I', "during the fit.\n\n");
}

void report(Engine& engine, const FitTerms& terms, const Workspace& ws, const Editing& editing,
            int stars, double sum) {
  FitState& fit = engine.fit;
  const int q = terms.fitted;
  const double meanSquare = stars > 0 ? sum / stars : 0.0;
  reportCoefficients(engine, terms, ws, meanSquare);

  fit.skyRms = std::sqrt(meanSquare);
  msgOutF(engine, 'I', "\nSky RMS =%7.2f\n", fit.skyRms * kArcsecPerRadian);
  fit.illConditioned = editing.zeroed ? 1 : 0;
  const int freedom = stars - q;
  if (freedom < 1) {
    fit.popSd = -1.0;
    return;
  }
  fit.popSd = std::sqrt(stars * meanSquare / freedom);
  msgOutF(engine, 'I', "Popn SD =%7.2f\n\n", fit.popSd * kArcsecPerRadian);

  for (int j = 0; j < q; ++j) {
    if (ws.covariance[static_cast<std::size_t>(j) * q + j] == 0.0) {
      msgOutF(engine, 'I', "%s was always zero.\n", fittedName(engine, terms, j));
    }
  }
  if (q >= 2) reportCorrelations(engine, terms, ws);
  if (editing.zeroed) reportIllConditioning(engine, editing);
}

}  // namespace

int fitModel(Engine& engine, bool adjust) {
  const FitTerms terms = fitTerms(engine.model, adjust);
  if (terms.fitted >= kMaxModelTerms) {
    msgOut(engine, 'E', "Too many coefficients to fit!\n");
    return 1;
  }
  const ObservationList& list = engine.observations;
  if (engine.run.obsPresent < 0 || list.status[0] < 0) return 1;  // nothing to fit to

  Workspace ws;
  if (!ws.allocate(observationCount(list), activeObservationCount(list), terms.fitted)) {
    msgOut(engine, 'E', "Too many stars and/or coefficients to fit!\n");
    return 1;
  }
  int stars = 0;
  if (!firstPass(engine, terms, ws, stars)) return 1;
  if (2 * stars < terms.fitted) {
    msgOut(engine, 'E', "Not enough stars for fit!\n");
    return 1;
  }
  Editing editing;
  if (terms.fitted > 0) {
    if (!solve(engine, terms, stars, ws, editing)) return 1;
  } else {
    for (int j = 0; j < ws.columns; ++j) ws.solution[j] = 0.0;
  }
  double sum = 0.0;
  if (!secondPass(engine, ws, sum, stars)) return 1;
  report(engine, terms, ws, editing, stars, sum);
  return 0;
}

bool readAdjustOption(Engine& engine, int commandLength, bool& adjust) {
  int cursor = commandLength;
  char word[kLineLength + 1];
  nextWord(sizeof word, engine.lines.command, cursor, word);
  adjust = true;
  if (word[0] == '\0') return true;
  char extra[kLineLength + 1];
  nextWord(sizeof extra, engine.lines.command, cursor, extra);
  if (keywordEquals(word, "N") != 0 || extra[0] != '\0') {
    msgOut(engine, 'E', "Bad argument!\n");
    return false;
  }
  adjust = false;
  return true;
}

void cmdFit(Engine& engine) {
  bool adjust = true;
  if (!readAdjustOption(engine, 3, adjust)) return;
  engine.dispatch.status = fitModel(engine, adjust) == 0 ? kStatusDone : kStatusInterrupted;
}

}  // namespace zenfit
