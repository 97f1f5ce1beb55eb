// Model files: the model with a header of fit statistics.
//
// Layout: a caption line (two double quotes for a blank caption); a
// statistics record "%c%5d%9.4f%9.3f%9.4f" (T or S for the ADJUST sense,
// number of observations, sky RMS, refraction constants A and B, all in
// arcseconds); one record per term in model order, "%c%c%-8s%+10.4f" with
// ' ' or '&' (chained or parallel), ' ' or '=' (floating or fixed), the
// name in columns 3..10 and the value, followed by "%12.5f" with the sigma
// for a floating term that has one; and "END".
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "model/model.h"
#include "model/terms.h"

namespace zenfit {

// What the statistics record of a file says.
struct ModelFileHeader {
  std::string caption;
  AdjustSense sense = AdjustSense::Telescope;
  int observations = 0;
  double skyRms = 0.0;  // radians
  double refA = 0.0;    // radians
  double refB = 0.0;    // radians
};

// The text of a model file.
std::string formatModelFile(const ModelFileHeader& header, const Model& model,
                            const TermTable& terms);

// Why a model file was refused.
enum class ModelFileError {
  None,
  EndedEarly,          // no caption or statistics record
  BadMethod,           // the record's letter is neither T nor S
  BadObservationCount,
  BadRms,
  BadRefraction,
  BadChainFlag,
  BadFloatFlag,
  UnrecognizedTerm,
  ModelFull,           // a new generic name found no room
  BadValue,
  BadSigma,
};

struct ModelFileRead {
  ModelFileError error = ModelFileError::None;
  std::vector<std::string> lines;     // every line read, as read (the command echoes them)
  std::optional<AdjustSense> sense;   // set as soon as the letter is read, even if a later check fails
  std::optional<double> skyRms;       // radians: set as soon as it is read, likewise
  int observations = 0;
  double refA = 0.0;                  // radians
  double refB = 0.0;
  int floatingCount = 0;
};

// Reads a model file into model: the model is emptied first and filled
// record by record, so after any failure it is empty (term numbers 0) and
// the generic names created before the failure stay in the table. Records
// beyond the 50th are read and left aside.
ModelFileRead readModelFile(std::FILE* file, Model& model, TermTable& terms);

}  // namespace zenfit
