// Model files: OUTMOD writes the model with a header of fit statistics,
// INMOD reads it back.
//
// Layout: a caption line (two double quotes for a blank caption); a
// statistics record "%c%5d%9.4f%9.3f%9.4f" (T or S for the ADJUST sense,
// number of observations, sky RMS, refraction constants A and B, all in
// arcseconds); one record per term in model order, "%c%c%-8s%+10.4f" with
// ' ' or '&' (chained or parallel), ' ' or '=' (floating or fixed), the
// name in columns 3..10 and the value, followed by "%12.5f" with the sigma
// for a floating term that has one; and "END".
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "command/startup.h"
#include "data/decode.h"
#include "engine.h"
#include "model/evaluate.h"
#include "model/generic.h"

namespace zenfit {
namespace {

// One prepared line of the file, in buffers of the reader's own (the
// shared line buffers still hold the command being run).
struct FileLine {
  char raw[kLineLength + 1];
  char echo[kLineLength + 1];
  char command[kLineLength + 1];
};

// Reads the next line that is neither blank nor a comment, echoing it.
// Returns false at the end of the file.
bool nextLine(Engine& engine, std::FILE* file, FileLine& line) {
  for (;;) {
    const int status = readLine(file, kLineLength, line.raw, line.echo, line.command);
    if (status < 0) return false;
    if (status == 1) continue;
    msgOut(engine, 'I', line.raw);
    msgOut(engine, 'I', "\n");
    return true;
  }
}

bool startsWithEnd(const FileLine& line) {
  char word[kCommandWordSize];
  int cursor = 0;
  nextWord(kCommandWordSize, line.command, cursor, word);
  return keywordEquals(word, "END") == 0;
}

bool isNumber(int status) { return status == kDecodedNumber || status == kDecodedNegative; }

// The sky residual of the model as it stands: the root mean square length
// of (corrected source - target) over the active observations (radians),
// and how many observations it covers.
double modelRms(Engine& engine, int& used) {
  used = 0;
  double sum = 0.0;
  if (engine.run.obsPresent < 0) return 0.0;
  const ObservationList& list = engine.observations;
  for (int i = 0; i < kObservationSlots && list.status[i] >= 0; ++i) {
    if (list.status[i] == kStatusMasked) continue;
    double corrected[3];
    double target[3];
    if (applyModel(engine, i, corrected, target) < 0) continue;
    for (int k = 0; k < 3; ++k) {
      const double difference = corrected[k] - target[k];
      sum += difference * difference;
    }
    ++used;
  }
  return std::sqrt(sum / (used > 0 ? used : 1));
}

// Reads the statistics record: the method letter (which sets the ADJUST
// sense at once, without reordering the model), the number of
// observations, the sky RMS (stored at once as the last fit's, with no
// population SD) and the refraction constants A and B (arcseconds).
// Returns null, or the message that rejects the record.
const char* readStatistics(Engine& engine, const char* command, int& observations, double& refA,
                           double& refB) {
  char word[kLineLength + 1];
  int cursor = 0;
  nextWord(sizeof word, command, cursor, word);
  if (word[0] != 'T' && word[0] != 'S') return "Method invalid!\n";
  engine.settings.adjustSense = word[0] == 'T' ? 1 : 2;

  // The numbers start right after the letter: a five-digit count touches it.
  int pos = cursor - static_cast<int>(std::strlen(word)) + 2;
  double value = 0.0;
  int status = kDecodedNull;
  decodeArgument(command, pos, value, status);
  if (status == kDecodedError || status == kDecodedNegative ||
      (status == kDecodedNumber && (value != std::floor(value) || value > 2147483647.0))) {
    return "Number of observations invalid!\n";
  }
  if (status == kDecodedNumber) observations = static_cast<int>(value);

  double rms = 0.0;
  status = kDecodedNull;
  decodeArgument(command, pos, rms, status);
  if (!isNumber(status) || rms < 0.0) return "RMS invalid!\n";
  engine.fit.skyRms = rms * kRadianPerArcsec;
  engine.fit.popSd = -1.0;

  int statusA = kDecodedNull;
  int statusB = kDecodedNull;
  decodeArgument(command, pos, refA, statusA);
  decodeArgument(command, pos, refB, statusB);
  if (statusA == kDecodedError || statusB == kDecodedError || refA < 0.0 || refB > 0.0) {
    return "Refraction constant invalid!\n";
  }
  return nullptr;
}

// The name field of a term record: columns 3..10, trailing blanks dropped,
// upper case.
void recordName(const char* raw, char name[kTermNameSize]) {
  const std::size_t length = std::strlen(raw);
  int n = 0;
  for (std::size_t i = 2; i < length && i < 2 + (kTermNameSize - 1); ++i) {
    name[n++] = static_cast<char>(std::toupper(static_cast<unsigned char>(raw[i])));
  }
  name[n] = '\0';
  trimRight(name);
}

}  // namespace

int writeModelFile(Engine& engine, std::FILE* file) {
  const RunState& run = engine.run;
  std::fprintf(file, "%s\n", trimmedLength(run.caption) > 0 ? run.caption : "\"\"");

  int used = 0;
  const double rms = modelRms(engine, used);
  std::fprintf(file, "%c%5d%9.4f%9.3f%9.4f\n", engine.settings.adjustSense == 2 ? 'S' : 'T', used,
               rms * kArcsecPerRadian, run.refA * kArcsecPerRadian, run.refB * kArcsecPerRadian);

  const Model& model = engine.model;
  for (int i = 0; i < kMaxModelTerms && model.termNumber[i] != 0; ++i) {
    std::fprintf(file, "%c%c%-8s%+10.4f", model.chained[i] != 0 ? ' ' : '&',
                 model.floating[i] != 0 ? ' ' : '=', termName(engine.terms, model.termNumber[i]),
                 model.coefValue[i] * kArcsecPerRadian);
    if (model.floating[i] != 0 && model.coefSigma[i] >= 0.0) {
      std::fprintf(file, "%12.5f\n", model.coefSigma[i] * kArcsecPerRadian);
    } else {
      std::fprintf(file, "\n");
    }
  }
  std::fprintf(file, "END\n");
  return 0;
}

int readModelFile(Engine& engine, std::FILE* file, bool& failed) {
  Model& model = engine.model;
  failed = true;
  clearModel(model);

  FileLine line;
  // Caption, then the statistics record.
  if (!nextLine(engine, file, line) || startsWithEnd(line) || !nextLine(engine, file, line) ||
      startsWithEnd(line)) {
    msgOut(engine, 'E', "File has ended prematurely!\n");
    return -2;
  }
  int observations = 0;
  double refA = 0.0;
  double refB = 0.0;
  if (const char* problem = readStatistics(engine, line.command, observations, refA, refB)) {
    msgOut(engine, 'E', problem);
    return -3;
  }

  int stored = 0;
  int floatingCount = 0;
  while (nextLine(engine, file, line) && !startsWithEnd(line)) {
    // Records beyond the capacity of the model are read and left aside.
    if (stored >= kMaxModelTerms) continue;
    const char chainFlag = line.raw[0];
    const char floatFlag = line.raw[0] != '\0' ? line.raw[1] : '\0';
    if (chainFlag != ' ' && chainFlag != '&') {
      clearModel(model);
      msgOut(engine, 'E', "Chained/parallel flag invalid!\n");
      return -4;
    }
    if (floatFlag != ' ' && floatFlag != '=') {
      clearModel(model);
      msgOut(engine, 'E', "Float/fix flag invalid!\n");
      return -4;
    }
    char name[kTermNameSize];
    recordName(line.raw, name);
    const int number = resolveTermName(engine, name, 1, nullptr);
    if (number < 0) {
      clearModel(model);
      msgOut(engine, 'E', "Unrecognized term!\n");
      return -4;
    }
    if (number == 0) {
      clearModel(model);
      msgOut(engine, 'E', "Model full!\n");
      return observations;
    }
    int pos = 11;
    double value = 0.0;
    double sigma = 0.0;
    int status = kDecodedNull;
    decodeArgument(line.raw, pos, value, status);
    if (!isNumber(status)) {
      clearModel(model);
      msgOut(engine, 'E', "Illegal coefficient value!\n");
      return -4;
    }
    status = kDecodedNull;
    decodeArgument(line.raw, pos, sigma, status);
    if (!isNumber(status)) {
      clearModel(model);
      msgOut(engine, 'E', "Illegal coefficient sigma!\n");
      return -4;
    }
    model.termNumber[stored] = number;
    model.chained[stored] = chainFlag == ' ' ? 1 : 0;
    model.floating[stored] = floatFlag == ' ' ? 1 : 0;
    model.coefValue[stored] = value * kRadianPerArcsec;
    model.coefSigma[stored] = sigma * kRadianPerArcsec;
    if (floatFlag == ' ') ++floatingCount;
    ++stored;
    if (stored < kMaxModelTerms) model.termNumber[stored] = 0;
  }

  const int freedom = observations - floatingCount;
  // With as many floating terms as observations the division is by zero;
  // what it gives is kept.
  FitState& fit = engine.fit;
  fit.popSd = freedom < 0 ? -1.0
                          : std::sqrt(observations * fit.skyRms * fit.skyRms / freedom);
  engine.run.refA = refA * kRadianPerArcsec;
  engine.run.refB = refB * kRadianPerArcsec;
  failed = false;
  return 0;
}

void cmdOutmod(Engine& engine) {
  char name[kFileNameSize];
  if (!requireFileName(engine, 6, name, "Output filename must be specified!\n")) return;
  std::FILE* file =
      openOrReport(engine, name, "w", "Output file cannot be opened!  File = %s, status = %d\n");
  if (file == nullptr) return;
  writeModelFile(engine, file);
  std::fclose(file);
  engine.dispatch.status = kStatusDone;
}

void cmdInmod(Engine& engine) {
  char name[kFileNameSize];
  if (!requireFileName(engine, 5, name, "Input filename must be specified!\n")) return;
  std::FILE* file =
      openOrReport(engine, name, "r", "Input file cannot be opened!  File = %s, status  = %d\n");
  if (file == nullptr) return;
  bool failed = true;
  readModelFile(engine, file, failed);
  std::fclose(file);
  if (!failed) engine.dispatch.status = kStatusDone;
}

}  // namespace zenfit
