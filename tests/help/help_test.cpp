// The help library: complete for every command and term, answering as a user
// reads it, found where it should be, and reading generic names back.
#include "help/help.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "command/command_table.h"
#include "model/generic.h"
#include "model/terms.h"
#include "support/session.h"

namespace zenfit::help {
namespace {

using Lines = std::vector<std::string>;

const Library& shipped() {
  static const Library library = *Library::parse(builtInText());
  return library;
}

bool contains(const Lines& lines, const std::string& text) {
  return std::any_of(lines.begin(), lines.end(),
                     [&](const std::string& line) { return line.find(text) != std::string::npos; });
}

TEST(HelpLibrary, EveryCommandAndStandardTermHasAnEntry) {
  const char* const kKinds[] = {"  H/D, ", "  X/D, ", "  A/E, ", "  S/E, ", "  V, ", "  VH, "};
  const Library& library = shipped();
  std::vector<std::string> commands = commandWords();
  ASSERT_EQ(commands.size(), 51u);  // the table less the hidden csrv
  for (const char* end : {"END", "QUIT", "QU", "."}) commands.push_back(end);
  const Lines list = library.answer("");
  for (const std::string& word : commands) {
    const Entry* entry = library.find(word);
    ASSERT_NE(entry, nullptr) << word;
    EXPECT_EQ(entry->kind, "Commands") << word;
    // HELP alone names every command entry.
    EXPECT_TRUE(contains(list, "  " + entry->words[0] + " ")) << word;
  }
  const Lines terms = library.answer("TERMS");
  for (const TermDefinition& term : kStandardTerms) {
    const char* name = term.name;
    const Entry* entry = library.find(name);
    ASSERT_NE(entry, nullptr) << name;
    EXPECT_EQ(entry->kind, "Terms") << name;
    EXPECT_EQ(entry->text.at(0).rfind(std::string(name) + " ", 0), 0u) << name;
    // It states its kind of correction.
    EXPECT_TRUE(std::any_of(std::begin(kKinds), std::end(kKinds), [&](auto kind) { return contains(entry->text, kind); }))
        << name;
    EXPECT_TRUE(contains(entry->text, "* USE")) << name;
    EXPECT_TRUE(contains(terms, "  " + std::string(name) + " ")) << name;
  }
  // No topic word belongs to two entries or is too long to type; every line
  // fits without wrapping.
  std::set<std::string> words;
  for (const Entry& entry : library.entries()) {
    EXPECT_FALSE(entry.summary.empty()) << entry.words[0];
    for (const std::string& word : entry.words) {
      EXPECT_TRUE(words.insert(word).second) << word;
      EXPECT_LE(word.size(), 8u) << word;  // a command line's word is at most 8 letters
    }
    for (const std::string& line : entry.text) EXPECT_LE(line.size(), kLineWidth) << line;
    for (const std::string& line : library.answer(entry.words[0])) EXPECT_LE(line.size(), kLineWidth);
  }
}

TEST(HelpLibrary, AnswersAsAUserReadsThem) {
  const Library& library = shipped();
  const Lines list = library.answer("");
  EXPECT_EQ(list.at(0), "ZENFIT commands, one a line; words may be typed in either case.");
  EXPECT_TRUE(contains(list, "Observations"));
  EXPECT_TRUE(contains(list, "  INDAT     read an observation file"));
  EXPECT_TRUE(contains(list, "  END       end the session (also QUIT, QU and .)"));

  const Lines fit = library.answer(" fit");
  EXPECT_EQ(fit.at(0), "FIT             adjust every floating coefficient by least squares");
  EXPECT_TRUE(contains(fit, "  * FIT"));
  EXPECT_EQ(library.answer(",FIT now"), fit);

  const Lines np = library.answer("np");
  EXPECT_EQ(np.at(0), "NP   the hour-angle and declination axes not perpendicular");
  EXPECT_TRUE(contains(np, "dh = NP tan d"));
  EXPECT_EQ(library.answer("?"), library.answer("HELP"));
  EXPECT_EQ(library.answer("."), library.answer("quit"));
  EXPECT_EQ(library.answer("csrv"), library.answer("COEFF"));

  EXPECT_EQ(library.answer("XYZZY"), Lines{"No help for XYZZY; type HELP for the list of commands."});
  // The 8-letter name no generic template accepts.
  EXPECT_EQ(library.answer("hxsh2cd2"),
            Lines{"No help for HXSH2CD2; type HELP for the list of commands."});
}

TEST(HelpLibrary, FileFormatSectionsIndexesAndWrapping) {
  const std::string text =
      "# a comment\n"
      "== Commands: Fitting\n"
      "@ fit refit | fit the model\n"
      "\n"
      "FIT\tfits\r\n"
      "# not shown\n"
      "\n"
      "@ SHOW | list the settings, a summary long enough that it must be wrapped to fit "
      "in the index\n"
      "SHOW lists " + std::string(20, 'x') + " " + std::string(70, 'y') + "\n"
      "== Topics: Start\n"
      "@ COMMANDS | all\n"
      "Commands:\n"
      "{index Commands}\n";
  std::string error;
  const std::optional<Library> library = Library::parse(text, &error);
  ASSERT_TRUE(library) << error;
  EXPECT_EQ(library->answer("Refit"), Lines{"FIT     fits"});
  EXPECT_EQ(library->answer("SHOW"), (Lines{"SHOW lists " + std::string(20, 'x'),
                                              "  " + std::string(70, 'y')}));
  EXPECT_EQ(library->answer(""),
            (Lines{"Commands:", "Fitting", "  FIT       fit the model",
                   "  SHOW      list the settings, a summary long enough that it must be wrapped",
                   "            to fit in the index"}));
  EXPECT_FALSE(Library::parse("# only comments\nand text\n", &error));
  EXPECT_NE(error.find("no help entry"), std::string::npos);

  // A word wider than the line is cut; indentation is kept.
  EXPECT_EQ(wrap("    " + std::string(90, 'z'), 78, 2),
            (Lines{"    " + std::string(74, 'z'), "      " + std::string(16, 'z')}));
}

TEST(HelpLibrary, LooksInTheWorkingFolderThenTheDataFolderThenBuiltIn) {
  EXPECT_EQ(builtInText(), test::readFile(ZENFIT_SOURCE_DIR "/share/zenfit.shl"));
  test::ScratchDir working, data;
  working.write("zenfit.shl", "@ FIT\nfrom the working folder\n");
  data.write("zenfit.shl", "@ FIT\nfrom the data folder\n");

  Loaded loaded = load(working.path(), "zenfit.shl", data.path());
  EXPECT_EQ(loaded.origin, working.file("zenfit.shl"));
  EXPECT_EQ(loaded.library.answer("FIT"), Lines{"from the working folder"});

  // A folder of that name, or a file without entries, is passed over.
  std::filesystem::remove(working.file("zenfit.shl"));
  std::filesystem::create_directory(working.file("zenfit.shl"));
  loaded = load(working.path(), "zenfit.shl", data.path());
  EXPECT_EQ(loaded.origin, data.file("zenfit.shl"));
  EXPECT_EQ(loaded.library.answer("FIT"), Lines{"from the data folder"});
  EXPECT_EQ(loaded.notes, Lines{working.file("zenfit.shl") + " is not a file"});

  data.write("zenfit.shl", "no entries here\n");
  loaded = load(working.path(), "zenfit.shl", data.path());
  EXPECT_EQ(loaded.origin, "built-in");
  EXPECT_EQ(loaded.library.answer("FIT"), shipped().answer("FIT"));
  EXPECT_EQ(loaded.notes.size(), 2u);

  // A site's own name, and an absolute one.
  working.write("site.hlp", "@ FIT\nsite text\n");
  EXPECT_EQ(load(working.path(), "site.hlp", data.path()).library.answer("fit"), Lines{"site text"});
  EXPECT_EQ(load("/nowhere", working.file("site.hlp"), data.path()).origin, working.file("site.hlp"));
  EXPECT_EQ(load(working.path(), "missing.shl", "").origin, "built-in");
}

TEST(HelpLibrary, GenericNamesAreReadBack) {
  EXPECT_EQ(shipped().answer("hxsh2"), (Lines{
      "HXSH2: a generic harmonic term, f = sin 2h.",
      "It shifts the position along the parallel, towards increasing hour angle:",
      "  kind X/D, m_X = f (a shift on the sky)",
      "  dh = HXSH2 f sec d",
      "Here h is the hour angle and d the declination.",
      "The coefficient is in arcseconds. Example:  USE HXSH2",
      "HELP GENERIC tells how such names are built."}));

  const std::pair<const char*, const char*> lines[] = {
      {"HXSH2CD", "HXSH2CD: a generic harmonic term, f = sin 2h cos d."},
      {"HHSH360", "HHSH360: a generic harmonic term, f = sin 360h."},
      {"PDZ2", "PDZ2: a generic polynomial term, f = z^2 (coordinates in radians)."},
      {"PDZ2", "  dd = PDZ2 f"},
      {"PXH2D", "PXH2D: a generic polynomial term, f = h^2 d (coordinates in radians)."},
      {"HZCA", "  dz = HZCA f,  dE = -HZCA f"},
      {"HWSA2", "  dA = -HWSA2 f cos A sec E,  dE = HWSA2 f sin A sin E"},
      {"HLSQ", "Here A is the horizon longitude (from the south through the east), E the"},
      {"HLSQ", "elevation and q the parallactic angle."},
      {"HDCH0", "cos 0h is 1: that factor is a constant."},
      {"HXSD0", "sin 0d is 0: this term does nothing."}};
  for (const auto& [name, line] : lines) {
    const Lines text = explainGenericName(name);
    EXPECT_NE(std::find(text.begin(), text.end(), line), text.end()) << name << ": " << line;
  }
  for (const char* bad : {"PXHD", "HXSH2CD2", "HXSHD", "HESH", "PX", "HXSH1234", "PXH2D3H2", "NP"}) {
    EXPECT_TRUE(explainGenericName(bad).empty()) << bad;
    EXPECT_EQ(matchGenericTemplate(bad), nullptr) << bad;
  }
}

// The help reads names by its own grammar; it must accept exactly the names
// the engine's templates accept. Every name of up to 6 characters over
// letters that stand for each slot class (H marker, P marker, X quantity, S
// function and quantity, C function, D coordinate and quantity, Q
// coordinate, a digit, and E, which fits nowhere) is tried, alone, with a
// coordinate after it and with numbers of several digits after it; no name of 8 characters is ever
// accepted (GenericNamesAreReadBack).
TEST(HelpLibrary, GenericGrammarAgreesWithTheEngine) {
  const std::string alphabet = "HPXSCDQ3E";
  long accepted = 0;
  auto visit = [&](auto&& self, const std::string& name) -> void {
    for (const std::string& tried : {name, name + "D", name + "36", name + "360"}) {
      const bool engine = matchGenericTemplate(tried.c_str()) != nullptr;
      ASSERT_EQ(isGenericName(tried), engine) << tried;
      accepted += engine ? 1 : 0;
    }
    if (name.size() < 6) {
      for (char c : alphabet) self(self, name + c);
    }
  };
  visit(visit, "H");
  visit(visit, "P");
  EXPECT_GT(accepted, 500);
}

}  // namespace
}  // namespace zenfit::help
