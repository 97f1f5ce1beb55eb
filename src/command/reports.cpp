#include "command/reports.h"

#include <cmath>
#include <string>

#include "astro/astro.h"
#include "command/engine.h"

namespace zenfit {
namespace {

constexpr double kCorrelationWarning = 0.995;
constexpr int kCorrelationBlockWidth = 14;
constexpr char kFormFeed[] = "\f";

using S = Severity;

const char* rejectionText(Rejection rejection) {
  switch (rejection) {
    case Rejection::NoMoreRoom: return "******  No more room - observation rejected  ******\n";
    case Rejection::BadData: return "******  Bad data - observation rejected  ******\n";
    case Rejection::NotInCatalogue:
      return "******  Star not in catalog - observation rejected  ******\n";
    case Rejection::IllegalCatalogueRecord:
      return "******  Illegal record in catalog - observation rejected  ******\n";
    case Rejection::MeanPlaceUndated:
      return "******  Mean place rejected - date was not supplied  ******\n";
    case Rejection::TooNearPole: return "******  Too near pole - observation rejected  ******\n";
    case Rejection::TooLow: return "******  Too low - observation rejected  ******\n";
    case Rejection::TooNearZenith: return "******  Too near zenith - observation rejected  ******\n";
    case Rejection::None: break;
  }
  return "";
}

// A bad catalogue entry is the catalogue's fault, not the observer's.
Severity rejectionSeverity(Rejection rejection) {
  return rejection == Rejection::IllegalCatalogueRecord ? S::Severe : S::Warning;
}

const char* modelFileErrorText(ModelFileError error) {
  switch (error) {
    case ModelFileError::EndedEarly: return "File has ended prematurely!\n";
    case ModelFileError::BadMethod: return "Method invalid!\n";
    case ModelFileError::BadObservationCount: return "Number of observations invalid!\n";
    case ModelFileError::BadRms: return "RMS invalid!\n";
    case ModelFileError::BadRefraction: return "Refraction constant invalid!\n";
    case ModelFileError::BadChainFlag: return "Chained/parallel flag invalid!\n";
    case ModelFileError::BadFloatFlag: return "Float/fix flag invalid!\n";
    case ModelFileError::UnrecognizedTerm: return "Unrecognized term!\n";
    case ModelFileError::ModelFull: return "Model full!\n";
    case ModelFileError::BadValue: return "Illegal coefficient value!\n";
    case ModelFileError::BadSigma: return "Illegal coefficient sigma!\n";
    case ModelFileError::None: break;
  }
  return "";
}

// ---- The fit report.

// The name of the term fitted in a column.
const char* columnName(const FitResult& result, const Model& model, const TermTable& terms,
                       int column) {
  for (const FittedTerm& term : result.terms) {
    if (term.column == column) return terms.name(model[term.slot].term);
  }
  return "";
}

void coefficientTable(Report& report, const FitResult& result, const Model& model,
                      const TermTable& terms) {
  if (result.terms.empty()) return;
  report.add(S::Prompt, "\n       coeff       change     value    sigma\n\n");
  for (const FittedTerm& term : result.terms) {
    const ModelEntry& entry = model[term.slot];
    const char mark = entry.chained != 0 ? ' ' : '&';
    const char* name = terms.name(entry.term);
    if (term.column < 0) {
      report.addf(S::Info, "%3d   %c %-8s%+19.2f\n", term.slot + 1, mark, name,
                  term.value * kArcsecPerRadian);
    } else {
      report.addf(S::Info, "%3d   %c %-8s%+9.3f%+10.2f%9.3f\n", term.slot + 1, mark, name,
                  term.change, term.value * kArcsecPerRadian, term.sigma * kArcsecPerRadian);
    }
  }
}

// The lower triangle of the correlation matrix, 14 columns to a block,
// with a warning for every pair the data cannot tell apart.
void correlationMatrix(Report& report, const FitResult& result, const Model& model,
                       const TermTable& terms) {
  const int q = result.fitted;
  auto name = [&](int column) { return columnName(result, model, terms, column); };
  report.add(S::Prompt, "* Correlations between terms:\n");
  for (int c0 = 0; c0 < q - 1; c0 += kCorrelationBlockWidth) {
    report.add(S::Prompt, "\n");
    const int blockEnd = c0 + kCorrelationBlockWidth - 1;
    const int lastColumn = blockEnd < q - 2 ? blockEnd : q - 2;
    for (int i = c0 + 1; i < q; ++i) {
      std::string line = formatLine("%-8s", name(i));
      const int last = blockEnd < i - 1 ? blockEnd : i - 1;
      for (int j = c0; j <= last; ++j) {
        const double r = result.correlation(i, j);
        if (std::fabs(r) > kCorrelationWarning) {
          report.addfOn(Channel::Secondary, S::Warning,
                        "%s and %s cannot reliably be distinguished.\n", name(i), name(j));
        }
        line += formatLine("%+8.4f", r);
      }
      report.add(S::Prompt, line + "\n");
    }
    std::string labels = "\n          ";
    for (int j = c0; j <= lastColumn; ++j) labels += formatLine("%-8s", name(j));
    report.add(S::Prompt, labels + "\n");
  }
  report.add(S::Prompt, "\n");
}

void illConditioning(Report& report, const FitResult& result, double tolerance) {
  report.add(S::Info, "Action was taken to correct ill-conditioning.  The\n");
  report.addf(S::Info, "current FITTOL tolerance is %.3g, which exceeds\n", tolerance);
  if (result.smallestRatio == result.largestRatio) {
    report.addf(S::Info, "the value %.3g encountered ", result.smallestRatio);
  } else {
    report.addf(S::Info, "values from %.3g to %.3g encountered\n", result.smallestRatio,
                result.largestRatio);
  }
  report.add(S::Info, "during the fit.\n\n");
}

// ---- The residual listing.

// Beyond this many radians an angle cannot come from an observation; it is
// clamped before the sexagesimal split so that the integer fields stay in
// range whatever the list holds.
constexpr double kLargestPrintableAngle = 1e6;

double printable(double angle) {
  if (std::isnan(angle)) return 0.0;
  if (std::fabs(angle) > kLargestPrintableAngle) return std::copysign(kLargestPrintableAngle, angle);
  return angle;
}

// The start of a star's line: number, pier mark, telescope hour angle
// (hundredths of a second of time), declination (tenths of an arcsecond),
// azimuth from the north through the east and zenith distance (degrees).
std::string positionColumns(const ResidualRow& row) {
  char haSign;
  int hms[4];
  astro::splitHours(2, printable(row.telHa), haSign, hms);
  char decSign;
  int dms[4];
  astro::splitDegrees(1, printable(row.telDec), decSign, dms);
  return formatLine("%4d%c %c%2.2d%3.2d%3.2d.%2.2d  %c%2.2d%3.2d%3.2d.%1d%7.1f%6.1f", row.number,
                    row.overPole ? 'b' : ' ', haSign, hms[0], hms[1], hms[2], hms[3], decSign,
                    dms[0], dms[1], dms[2], dms[3], row.azimuth, row.zenithDistance);
}

}  // namespace

Report termSpaceReport(const TermSpace& space) {
  Report report;
  if (space.localOverflow) report.add(S::Severe, "Insufficient space for some local terms!\n");
  if (space.noStandardRoom) {
    report.add(S::Severe, "No space for any standard terms!\n");
    return report;
  }
  if (space.standardOverflow) {
    report.add(S::Severe, "Insufficient space for some standard terms!\n");
  }
  if (space.localCount > 0) {
    report.addf(S::Info, "There are%3d standard and%3d local pointing terms.\n",
                space.standardCount, space.localCount);
  } else {
    report.addf(S::Info, "There are%3d standard pointing terms.\n", space.standardCount);
  }
  if (space.noGenericRoom) report.add(S::Severe, "No space for any generic terms!\n");
  return report;
}

Report coefficientListing(const Model& model, const TermTable& terms, int position) {
  Report report;
  auto entry = [&](int slot) {
    const ModelEntry& e = model[slot];
    report.addf(S::Info, "%3d   %c %-8s%+10.3f", slot + 1, e.chained != 0 ? ' ' : '&',
                terms.name(e.term), e.value * kArcsecPerRadian);
    const double sigma = e.sigma * kArcsecPerRadian;
    if (e.floating == 0) {
      report.add(S::Info, "     fixed\n");
    } else if (!e.hasSigma()) {
      report.add(S::Info, "\n");  // never fitted
    } else if (sigma < 999.999) {
      report.addf(S::Info, "   %7.3f\n", sigma);
    } else {
      report.addf(S::Info, "   %-.4g\n", sigma);
    }
  };
  if (position >= 1) {
    if (position <= kMaxModelTerms && model[position - 1].term != 0) entry(position - 1);
    return report;
  }
  for (int i = 0; i < kMaxModelTerms && model[i].term != 0; ++i) entry(i);
  return report;
}

Report observationReadReport(const ObservationRead& read, const RunState& run, bool briefEcho) {
  Report report;
  for (const ReadRecord& record : read.records) {
    switch (record.kind) {
      case ReadRecord::Kind::Caption:
        report.add(S::Prompt, "\f *  POINTING OBSERVATIONS  *\n\n");
        report.addf(S::Info, "%s\n", record.text.c_str());
        break;
      case ReadRecord::Kind::Option:
        report.addf(S::Info, "%s\n", record.text.c_str());
        break;
      case ReadRecord::Kind::Observation:
        if (!briefEcho) report.addf(S::Info, "%s\n", record.text.c_str());
        if (record.rejection != Rejection::None) {
          if (briefEcho) report.addf(S::Info, "%s\n", record.text.c_str());
          report.add(rejectionSeverity(record.rejection), rejectionText(record.rejection));
        }
        break;
    }
  }
  switch (read.outcome) {
    case ReadOutcome::UnexpectedEnd: report.add(S::Error, "Unexpected end-of-file!\n"); break;
    case ReadOutcome::BadOption: report.add(S::Error, "Error in option record!\n"); break;
    case ReadOutcome::BadRunParameters:
      report.add(S::Error, "Error in run parameters record!\n");
      break;
    case ReadOutcome::Aborted: report.add(S::Info, "*** aborted ***\n"); break;
    case ReadOutcome::Done:
      report.addf(S::Info,
                  "REFA   (arcsec)  = %9.5f\nREFB   (arcsec)  = %10.6f\nDIURAB (arcsec)  = %8.4f\n\n",
                  run.refA * kArcsecPerRadian, run.refB * kArcsecPerRadian,
                  run.diurab * kArcsecPerRadian);
      break;
  }
  report.add(S::Prompt, kFormFeed);
  if (read.rejected > 0) {
    report.addf(S::Warning, "Rejected observation count = %d.\n", read.rejected);
  }
  return report;
}

Report fitReport(const FitResult& result, const Model& model, const TermTable& terms,
                 double tolerance) {
  Report report;
  switch (result.outcome) {
    case FitOutcome::TooManyCoefficients:
      report.add(S::Error, "Too many coefficients to fit!\n");
      return report;
    case FitOutcome::NoMemory:
      report.add(S::Error, "Too many stars and/or coefficients to fit!\n");
      return report;
    case FitOutcome::NotEnoughStars:
      report.add(S::Error, "Not enough stars for fit!\n");
      return report;
    case FitOutcome::SvdShapeError:
      report.addf(S::Severe, "Fatal bug!  Status from SVD routine: %d\n", result.svdStatus);
      return report;
    case FitOutcome::SvdNoConvergence:
      report.addf(S::Warning, "SVD warning - QR phase failed to converge, status = %d\n",
                  result.svdStatus);
      return report;
    case FitOutcome::NoObservations:
    case FitOutcome::Cancelled:
      return report;
    case FitOutcome::Completed:
      break;
  }
  coefficientTable(report, result, model, terms);
  report.addf(S::Info, "\nSky RMS =%7.2f\n", result.skyRms * kArcsecPerRadian);
  if (result.stars - result.fitted < 1) return report;
  report.addf(S::Info, "Popn SD =%7.2f\n\n", result.popSd * kArcsecPerRadian);
  for (const int column : result.alwaysZero) {
    report.addf(S::Info, "%s was always zero.\n", columnName(result, model, terms, column));
  }
  if (result.fitted >= 2) correlationMatrix(report, result, model, terms);
  if (result.illConditioned) illConditioning(report, result, tolerance);
  return report;
}

Report residualListing(const ResidualTable& table, const RunState& run, bool full,
                       double threshold) {
  Report report;
  if (table.rows.empty() && !table.interrupted) {
    report.add(S::Warning, "List of observations is empty.\n");
    report.add(S::Prompt, kFormFeed);
    return report;
  }
  report.add(S::Prompt, kFormFeed);
  report.add(S::Info, run.caption);
  report.add(S::Info, "\n");
  char sign;
  int dms[4];
  astro::splitDegrees(0, run.latitude(), sign, dms);  // whole arcseconds, rounded
  report.addf(S::Info, "Latitude:  %c%2.2d%3.2d%3.2d\n", sign, dms[0], dms[1], dms[2]);
  report.add(S::Prompt, "\n          *HA           *Dec      *Az   *ZD");
  report.add(S::Prompt, "     dX     dD     dS     dZ     dR\n\n");

  const double thresholdArcsec = threshold * kArcsecPerRadian;
  for (const ResidualRow& row : table.rows) {
    if (!full) continue;
    if (row.active) {
      if (row.d[kDr] >= thresholdArcsec) {
        report.add(S::Info, positionColumns(row) +
                                formatLine("%7.1f%7.1f%7.1f%7.1f%7.1f\n", row.d[kDx], row.d[kDd],
                                           row.d[kDs], row.d[kDz], row.d[kDr]));
      }
    } else if (threshold == 0.0) {
      report.add(S::Info, positionColumns(row) + "\n");
    }
  }
  if (table.interrupted) return report;

  if (!full) report.addf(S::Info, "Number of active stars:%5d\n", table.active);
  if (table.active > 0) {
    report.add(S::Info, "                                           ");
    report.add(S::Info, "     dX     dD     dS     dZ     dR\n");
    report.add(S::Info, "                                        RMS  ");
    report.addf(S::Info, "%7.2f%7.2f%7.2f%7.2f%7.2f\n\n", table.rms[kDx], table.rms[kDd],
                table.rms[kDs], table.rms[kDz], table.rms[kDr]);
  }
  report.add(S::Prompt, kFormFeed);
  return report;
}

Report modelFileReport(const ModelFileRead& read) {
  Report report;
  for (const std::string& line : read.lines) {
    report.add(S::Info, line);
    report.add(S::Info, "\n");
  }
  if (read.error != ModelFileError::None) report.add(S::Error, modelFileErrorText(read.error));
  return report;
}

Report settingsReport(const Engine& engine) {
  Report report;
  const Settings& settings = engine.settings;
  const PlotState& plot = engine.plot;
  report.add(S::Info, settings.adjustSense == AdjustSense::Telescope
                          ? "\nADJUST:  the model adjusts the telescope to fit the stars.\n"
                          : "\nADJUST:  the model adjusts the stars to fit the telescope.\n");
  report.add(S::Info,
             engine.run.appendMode
                 ? "APPEND:  the next input file will be appended to the current data list.\n"
                 : "APPEND:  the next input file will overwrite the current data list.\n");
  report.add(S::Info, settings.captionFlag ? "CAPT:    caption plotting is enabled.\n"
                                           : "CAPT:    caption plotting is disabled.\n");
  if (settings.clearMode == 1) {
    report.add(S::Info, "CLRNG:   the plotting zone is cleared before each plot.\n");
  } else if (settings.clearMode == 0) {
    report.add(S::Info, "CLRNG:   no clearing is done before each plot.\n");
  } else {
    report.add(S::Info, "CLRNG:   the whole display surface is cleared before each plot.\n");
  }
  report.add(S::Info, settings.echoFlag ? "ECHO:    library procedures are echoed to the screen.\n"
                                        : "ECHO:    library procedures execute silently.\n");
  report.addf(S::Info, "FITTOL:  the ill-conditioning criterion is %g.\n", settings.fitTolerance);
  report.add(S::Info, settings.frameFlag ? "FRAME:   a frame will be plotted.\n"
                                         : "FRAME:   no frame will be plotted.\n");
  // SHOW has never listed the marker height: its line was composed and
  // overwritten by the next before it was written, and hosts rely on the
  // listing as it stands.
  if (settings.levelOne != 0) {
    report.addf(S::Info, "MESLEV:  messages above severity level %d are displayed.\n",
                settings.levelOne);
  } else {
    report.add(S::Info, "MESLEV:  messages of all levels are displayed.\n");
  }
  if (settings.levelTwo != 0) {
    report.addf(S::Info, "         messages above severity level %d are logged.\n",
                settings.levelTwo);
  } else {
    report.add(S::Info, "         messages of all levels are logged.\n");
  }
  if (plot.current != nullptr) {
    report.addf(S::Info, "PENS:    current pens are %d, %d, %d, %d, %d, %d.\n", plot.pens[0],
                plot.pens[1], plot.pens[2], plot.pens[3], plot.pens[4], plot.pens[5]);
    report.addf(S::Info, "PLTZ:    the plotting zone is from (%5.3f, %5.3f) to (%5.3f, %5.3f).\n",
                plot.zone[0], plot.zone[1], plot.zone[2], plot.zone[3]);
  }
  report.add(S::Info, settings.reportLength != 0 ? "REPLEN:  long reports are summarized.\n"
                                                 : "REPLEN:  long reports are given in full.\n");
  if (plot.current != nullptr) {
    report.addf(S::Info, "TXF:     text fonts %d (caption) and %d ( labels ) will be used.\n",
                plot.fonts[0], plot.fonts[1]);
    static const char* const kPrecision[] = {"TXP:     text precision is 0 (string).\n",
                                             "TXP:     text precision is 1 (char).\n",
                                             "TXP:     text precision is 2 (stroke).\n"};
    if (plot.textPrecision >= 0 && plot.textPrecision <= 2) {
      report.add(S::Info, kPrecision[plot.textPrecision]);
    }
  }
  if (settings.vtMode) {
    report.add(S::Info, "VT:      the screen is VT100;  the scrolling region is lines ");
    report.addf(S::Info, "%d thru %d.", settings.vtTop, settings.vtBottom);
  } else {
    report.add(S::Info, "VT:      the screen is assumed to be non-vt100.\n");
  }
  const int count = engine.observations.count();
  const int active = engine.observations.activeCount();
  if (count == 0) {
    report.add(S::Info, "\nThere are no observations in the data list.\n\n");
  } else if (active == count) {
    report.addf(S::Info, "\nThere are %d observations in the data list, all active.\n", count);
  } else {
    report.addf(S::Info, "\nThere are %d observations in the data list, of which %d are active.\n",
                count, active);
  }
  return report;
}

}  // namespace zenfit
