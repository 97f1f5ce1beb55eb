#include "model/generic.h"

#include <cstdio>
#include <cstring>

#include "engine.h"

namespace zenfit {

const char* const kGenericTemplates[kGenericTemplateCount] = {
    "PRCICI", "PRCIC",    "PRCI",   "PRC",     "HRFCIII",  "HRFCIFCI", "HRFCII",
    "HRFCI",  "HRFC",     "HRFCIFC", "HRFCIIFC", "HRFCFCI", "HRFCFC",   "HRFCFCII",
};

namespace {

bool isEnd(char c) { return c == '\0' || c == ' '; }

// The characters each slot letter admits.
bool admits(char slot, char c) {
  switch (slot) {
    case 'P': return c == 'P';
    case 'H': return c == 'H';
    case 'R': return c != '\0' && std::strchr("HXDULPASZNWV", c) != nullptr;
    case 'C': return c != '\0' && std::strchr("HDAZQ", c) != nullptr;
    case 'F': return c == 'S' || c == 'C';
    case 'I': return c >= '0' && c <= '9';
    default: return false;
  }
}

bool matches(const char* name, const char* slots) {
  for (int i = 0; i < kTermNameSize - 1; ++i) {
    const bool nameEnded = isEnd(name[i]);
    const bool slotsEnded = isEnd(slots[i]);
    if (nameEnded && slotsEnded) return true;
    if (nameEnded || slotsEnded || !admits(slots[i], name[i])) return false;
  }
  return false;  // eight positions without an end: never a match
}

int findName(const TermTable& table, const char* name) {
  for (int i = 0; i < table.termNameCount && i < kMaxTermNames; ++i) {
    if (keywordEquals(name, table.names[i]) == 0) return i + 1;
  }
  return 0;
}

}  // namespace

const char* matchGenericTemplate(const char* name) {
  for (const char* slots : kGenericTemplates) {
    if (matches(name, slots)) return slots;
  }
  return nullptr;
}

int resolveTermName(Engine& engine, const char* name, int addMode, char* templateOut) {
  TermTable& table = engine.terms;
  if (const int known = findName(table, name); known > 0) return known;

  const char* slots = matchGenericTemplate(name);
  if (slots == nullptr) return -1;
  if (templateOut != nullptr) std::snprintf(templateOut, kTermNameSize, "%s", slots);

  // The name proper ends at its first blank (a template never spans one).
  char word[kTermNameSize];
  const std::size_t length = std::strlen(slots);
  std::memcpy(word, name, length);
  word[length] = '\0';
  if (const int known = findName(table, word); known > 0) return known;

  if (addMode == 0 || table.termNameCount >= kGenericNameLimit) return 0;
  const int index = table.termNameCount++;
  std::snprintf(table.names[index], kTermNameSize, "%s", word);
  std::snprintf(table.templates[index], kTermNameSize, "%s", slots);
  return index + 1;
}

}  // namespace zenfit
