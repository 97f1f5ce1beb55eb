#include "model/model_file.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "base/decode.h"
#include "base/text.h"
#include "model/generic.h"

namespace zenfit {
namespace {

// Reads the next line that is neither blank nor a comment, keeping it for
// the echo. Returns false at the end of the file.
bool nextLine(std::FILE* file, PreparedLine& line, ModelFileRead& read) {
  for (;;) {
    const int status = readLine(file, line);
    if (status < 0) return false;
    if (status == 1) continue;
    read.lines.emplace_back(line.raw);
    return true;
  }
}

bool startsWithEnd(const PreparedLine& line) {
  char word[kCommandWordSize];
  int cursor = 0;
  nextWord(kCommandWordSize, line.command, cursor, word);
  return keywordEquals(word, "END") == 0;
}

// Reads the statistics record: the method letter (which sets the ADJUST
// sense at once, without reordering the model), the number of
// observations, the sky RMS (taken at once as the last fit's) and the
// refraction constants A and B (arcseconds).
ModelFileError readStatistics(const char* command, ModelFileRead& read, double& refA,
                              double& refB) {
  char word[kLineLength + 1];
  int cursor = 0;
  nextWord(sizeof word, command, cursor, word);
  if (word[0] != 'T' && word[0] != 'S') return ModelFileError::BadMethod;
  read.sense = word[0] == 'T' ? AdjustSense::Telescope : AdjustSense::Stars;

  // The numbers start right after the letter: a five-digit count touches it.
  int pos = cursor - static_cast<int>(std::strlen(word)) + 2;
  const DecodedNumber count = decodeNumberAt(command, pos);
  if (count.malformed || count.negative ||
      (count.present && (count.value != std::floor(count.value) || count.value > 2147483647.0))) {
    return ModelFileError::BadObservationCount;
  }
  if (count.present) read.observations = static_cast<int>(count.value);

  const DecodedNumber rms = decodeNumberAt(command, pos);
  if (!rms.present || rms.value < 0.0) return ModelFileError::BadRms;
  read.skyRms = rms.value * kRadianPerArcsec;

  const DecodedNumber a = decodeNumberAt(command, pos);
  const DecodedNumber b = decodeNumberAt(command, pos);
  if (a.present) refA = a.value;
  if (b.present) refB = b.value;
  if (a.malformed || b.malformed || refA < 0.0 || refB > 0.0) {
    return ModelFileError::BadRefraction;
  }
  return ModelFileError::None;
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

std::string formatModelFile(const ModelFileHeader& header, const Model& model,
                            const TermTable& terms) {
  std::string file = trimmedLength(header.caption.c_str()) > 0 ? header.caption : "\"\"";
  file += '\n';
  char line[160];
  std::snprintf(line, sizeof line, "%c%5d%9.4f%9.3f%9.4f\n",
                header.sense == AdjustSense::Stars ? 'S' : 'T', header.observations,
                header.skyRms * kArcsecPerRadian, header.refA * kArcsecPerRadian,
                header.refB * kArcsecPerRadian);
  file += line;
  for (int i = 0; i < kMaxModelTerms && model[i].term != 0; ++i) {
    const ModelEntry& entry = model[i];
    std::snprintf(line, sizeof line, "%c%c%-8s%+10.4f", entry.chained != 0 ? ' ' : '&',
                  entry.floating != 0 ? ' ' : '=', terms.name(entry.term),
                  entry.value * kArcsecPerRadian);
    file += line;
    if (entry.floating != 0 && entry.hasSigma()) {
      std::snprintf(line, sizeof line, "%12.5f\n", entry.sigma * kArcsecPerRadian);
      file += line;
    } else {
      file += '\n';
    }
  }
  file += "END\n";
  return file;
}

ModelFileRead readModelFile(std::FILE* file, Model& model, TermTable& terms) {
  ModelFileRead read;
  model.clear();
  auto fail = [&](ModelFileError error) {
    model.clear();
    read.error = error;
    return read;
  };

  PreparedLine line;
  // Caption, then the statistics record.
  if (!nextLine(file, line, read) || startsWithEnd(line) || !nextLine(file, line, read) ||
      startsWithEnd(line)) {
    return fail(ModelFileError::EndedEarly);
  }
  double refA = 0.0;
  double refB = 0.0;
  if (const ModelFileError error = readStatistics(line.command, read, refA, refB);
      error != ModelFileError::None) {
    return fail(error);
  }

  int stored = 0;
  while (nextLine(file, line, read) && !startsWithEnd(line)) {
    // Records beyond the capacity of the model are read and left aside.
    if (stored >= kMaxModelTerms) continue;
    const char chainFlag = line.raw[0];
    const char floatFlag = line.raw[0] != '\0' ? line.raw[1] : '\0';
    if (chainFlag != ' ' && chainFlag != '&') return fail(ModelFileError::BadChainFlag);
    if (floatFlag != ' ' && floatFlag != '=') return fail(ModelFileError::BadFloatFlag);
    char name[kTermNameSize];
    recordName(line.raw, name);
    const int number = resolveTermName(terms, name, 1, nullptr);
    if (number < 0) return fail(ModelFileError::UnrecognizedTerm);
    if (number == 0) return fail(ModelFileError::ModelFull);
    int pos = 11;
    const DecodedNumber value = decodeNumberAt(line.raw, pos);
    if (!value.present) return fail(ModelFileError::BadValue);
    const DecodedNumber sigma = decodeNumberAt(line.raw, pos);
    if (!sigma.present) return fail(ModelFileError::BadSigma);
    ModelEntry& entry = model[stored];
    entry.term = number;
    entry.chained = chainFlag == ' ' ? 1 : 0;
    entry.floating = floatFlag == ' ' ? 1 : 0;
    entry.value = value.value * kRadianPerArcsec;
    entry.sigma = sigma.value * kRadianPerArcsec;
    if (floatFlag == ' ') ++read.floatingCount;
    ++stored;
    if (stored < kMaxModelTerms) model[stored].term = 0;
  }
  read.refA = refA * kRadianPerArcsec;
  read.refB = refB * kRadianPerArcsec;
  return read;
}

}  // namespace zenfit
