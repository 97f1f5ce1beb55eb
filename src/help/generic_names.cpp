// Reading a generic term name back into words for HELP. The grammar is the
// engine's (harmonic H R F C [I [I [I]]] [F C [I]], polynomial
// P R C [I [C [I]]], at most 7 characters); what each letter does follows
// the term evaluator.
#include <cctype>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "help/help.h"

namespace zenfit::help {
namespace {

constexpr std::string_view kQuantities = "HXDULPASZNWV";
constexpr std::string_view kCoordinates = "HDAZQ";
constexpr std::size_t kMaxGenericLength = 7;

struct Factor {
  char function = 0;    // 'S' or 'C' (harmonic only)
  char coordinate = 0;  // one of kCoordinates
  int number = 1;       // the multiple (harmonic) or the power (polynomial)
};

struct Parsed {
  bool harmonic = false;
  char quantity = 0;
  std::vector<Factor> factors;
};

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool in(std::string_view set, char c) { return set.find(c) != std::string_view::npos; }

// Reads digits at name[i...]: at most maxDigits of them; -1 when there are
// none, so the caller can tell "no multiple" from "0".
int readNumber(std::string_view name, std::size_t& i, std::size_t maxDigits) {
  int value = -1;
  for (std::size_t n = 0; n < maxDigits && i < name.size() && isDigit(name[i]); ++n, ++i) {
    value = (value < 0 ? 0 : 10 * value) + (name[i] - '0');
  }
  return value;
}

std::optional<Parsed> parse(std::string_view name) {
  if (name.size() < 3 || name.size() > kMaxGenericLength) return std::nullopt;
  Parsed parsed;
  parsed.harmonic = name[0] == 'H';
  if (name[0] != 'H' && name[0] != 'P') return std::nullopt;
  if (!in(kQuantities, name[1])) return std::nullopt;
  parsed.quantity = name[1];
  std::size_t i = 2;
  if (parsed.harmonic) {
    // One or two factors: function, coordinate, optional multiple.
    while (i < name.size() && parsed.factors.size() < 2) {
      if (i + 1 >= name.size() || (name[i] != 'S' && name[i] != 'C') || !in(kCoordinates, name[i + 1])) {
        return std::nullopt;
      }
      Factor factor;
      factor.function = name[i];
      factor.coordinate = name[i + 1];
      i += 2;
      const int multiple = readNumber(name, i, 3);
      if (multiple >= 0) factor.number = multiple;
      parsed.factors.push_back(factor);
    }
  } else {
    // A coordinate and an optional one-digit power; a second coordinate
    // only after a power.
    while (i < name.size() && parsed.factors.size() < 2) {
      if (!in(kCoordinates, name[i])) return std::nullopt;
      Factor factor;
      factor.coordinate = name[i++];
      const int power = readNumber(name, i, 1);
      if (power >= 0) factor.number = power;
      parsed.factors.push_back(factor);
      if (power < 0) break;
    }
  }
  if (i != name.size() || parsed.factors.empty()) return std::nullopt;
  return parsed;
}

std::string symbol(char coordinate) {
  switch (coordinate) {
    case 'H': return "h";
    case 'D': return "d";
    case 'A': return "A";
    case 'Z': return "z";
    case 'Q': return "q";
    default: return "?";
  }
}

std::string formula(const Parsed& p) {
  std::string f;
  for (const Factor& factor : p.factors) {
    if (!f.empty()) f += ' ';
    if (p.harmonic) {
      f += factor.function == 'S' ? "sin " : "cos ";
      if (factor.number != 1) f += std::to_string(factor.number);
      f += symbol(factor.coordinate);
    } else {
      f += symbol(factor.coordinate);
      if (factor.number != 1) f += "^" + std::to_string(factor.number);
    }
  }
  return f;
}

// What the quantity letter does with f: a sentence, the kind and
// multipliers, the first-order effect (c the coefficient's name), and the
// symbols those use.
struct Effect {
  std::string what;
  std::string kind;
  std::string formula;
  std::string symbols;
};

Effect effect(char quantity, const std::string& c) {
  switch (quantity) {
    case 'H': return {"It corrects the hour angle:", "kind H/D, m_H = f", "dh = " + c + " f", "H"};
    case 'X':
      return {"It shifts the position along the parallel, towards increasing hour angle:",
              "kind X/D, m_X = f (a shift on the sky)", "dh = " + c + " f sec d", "HD"};
    case 'D': return {"It corrects the declination:", "kind H/D, m_D = f", "dd = " + c + " f", "D"};
    case 'A':
      return {"It corrects the horizon longitude:", "kind A/E, m_A = f", "dA = " + c + " f", "A"};
    case 'S':
      return {"It shifts the position across the vertical circle, towards increasing A:",
              "kind S/E, m_S = f (a shift on the sky)", "dA = " + c + " f sec E", "AE"};
    case 'Z':
      return {"It corrects the zenith distance:", "kind A/E, m_E = -f",
              "dz = " + c + " f,  dE = -" + c + " f", "ZE"};
    case 'U':
      return {"It shifts the position upwards in a Nasmyth focal plane, seen on the sky "
              "turned through the elevation (as NRY):",
              "kind S/E, (m_S, m_E) = f (sin E, cos E)",
              "dA = " + c + " f tan E,  dE = " + c + " f cos E", "AE"};
    case 'L':
      return {"It shifts the position to the left in a Nasmyth focal plane, seen on the sky "
              "turned through the elevation (as NRX):",
              "kind S/E, (m_S, m_E) = f (cos E, -sin E)",
              "dA = " + c + " f,  dE = -" + c + " f sin E", "AE"};
    case 'P':
      return {"It pulls the position towards the north celestial pole:",
              "kind V, the equatorial vector f (0, 0, 1) added", "dd = " + c + " f cos d", "D"};
    case 'N':
      return {"It pulls the position towards the north point of the horizon:",
              "kind VH, the horizon vector f (-1, 0, 0) added",
              "dA = " + c + " f sin A sec E,  dE = " + c + " f cos A sin E", "AE"};
    case 'W':
      return {"It pulls the position towards the west point of the horizon:",
              "kind VH, the horizon vector f (0, -1, 0) added",
              "dA = -" + c + " f cos A sec E,  dE = " + c + " f sin A sin E", "AE"};
    case 'V':
      return {"It pulls the position towards the zenith:",
              "kind VH, the horizon vector f (0, 0, 1) added", "dE = " + c + " f cos E", "E"};
    default:
      return {};
  }
}

// A symbol and what it stands for.
std::pair<std::string, std::string> meaning(char letter) {
  switch (letter) {
    case 'H': return {"h", "the hour angle"};
    case 'D': return {"d", "the declination"};
    case 'A': return {"A", "the horizon longitude (from the south through the east)"};
    case 'Z': return {"z", "the zenith distance"};
    case 'Q': return {"q", "the parallactic angle"};
    case 'E': return {"E", "the elevation"};
    default: return {"", ""};
  }
}

}  // namespace

bool isGenericName(std::string_view name) { return parse(name).has_value(); }

std::vector<std::string> explainGenericName(std::string_view name) {
  const std::optional<Parsed> parsed = parse(name);
  if (!parsed) return {};
  const std::string c(name);
  const Effect does = effect(parsed->quantity, c);

  std::vector<std::string> lines;
  auto say = [&lines](const std::string& text) {
    for (std::string& line : wrap(text, kLineWidth, 0)) lines.push_back(std::move(line));
  };
  say(c + ": a generic " + (parsed->harmonic ? "harmonic" : "polynomial") + " term, f = " +
      formula(*parsed) + (parsed->harmonic ? "." : " (coordinates in radians)."));
  say(does.what);
  lines.push_back("  " + does.kind);
  lines.push_back("  " + does.formula);

  // Multiples and powers of 0 are legal but degenerate: say what they give.
  for (const Factor& factor : parsed->factors) {
    if (factor.number != 0) continue;
    const std::string x = symbol(factor.coordinate);
    if (!parsed->harmonic) {
      say(x + "^0 is 1: that factor is a constant.");
    } else if (factor.function == 'S') {
      say("sin 0" + x + " is 0: this term does nothing.");
    } else {
      say("cos 0" + x + " is 1: that factor is a constant.");
    }
  }

  // Every symbol used, hour angle and declination first, then the horizon.
  std::set<char> used(does.symbols.begin(), does.symbols.end());
  for (const Factor& factor : parsed->factors) used.insert(factor.coordinate);
  std::vector<std::string> parts;
  for (char letter : std::string_view("HDAZEQ")) {
    if (used.count(letter) == 0) continue;
    const auto [sym, text] = meaning(letter);
    parts.push_back(sym + (parts.empty() ? " is " : " ") + text);
  }
  std::string glossary = "Here " + parts[0];
  for (std::size_t i = 1; i < parts.size(); ++i) {
    glossary += (i + 1 == parts.size() ? " and " : ", ") + parts[i];
  }
  say(glossary + ".");
  say("The coefficient is in arcseconds. Example:  USE " + c);
  say("HELP GENERIC tells how such names are built.");
  return lines;
}

}  // namespace zenfit::help
