#include "help/help.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <sstream>
#include <utility>

#ifndef ZENFIT_HELP_DATADIR
#define ZENFIT_HELP_DATADIR "/usr/local/share/zenfit"
#endif

namespace zenfit::help {
namespace {

std::string upper(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return out;
}

std::string_view trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
  return s;
}

// A file line as shown: tabs expanded to 8-column stops, no line-end or
// trailing blanks.
std::string cleanLine(std::string_view raw) {
  std::string line;
  for (char c : raw) {
    if (c == '\t') {
      line.append(8 - line.size() % 8, ' ');
    } else if (c != '\r') {
      line.push_back(c);
    }
  }
  while (!line.empty() && line.back() == ' ') line.pop_back();
  return line;
}

std::vector<std::string> splitWords(std::string_view s) {
  std::vector<std::string> words;
  std::istringstream in{std::string(s)};
  for (std::string word; in >> word;) words.push_back(upper(word));
  return words;
}

void trimBlankLines(std::vector<std::string>& text) {
  while (!text.empty() && text.back().empty()) text.pop_back();
  const auto first = std::find_if(text.begin(), text.end(), [](const std::string& l) { return !l.empty(); });
  text.erase(text.begin(), first);
}

void append(std::vector<std::string>& out, std::vector<std::string> more) {
  out.insert(out.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

}  // namespace

std::vector<std::string> wrap(std::string_view line, std::size_t width, std::size_t hang) {
  std::vector<std::string> out;
  if (width == 0) width = kLineWidth;
  std::size_t indent = 0;
  while (indent < line.size() && line[indent] == ' ') ++indent;
  const std::string continuation(std::min(indent + hang, width / 2), ' ');
  std::string rest(line);
  std::size_t lead = indent;  // blanks that start the current piece
  while (rest.size() > width) {
    std::size_t cut = rest.rfind(' ', width);
    std::size_t next = cut;
    if (cut == std::string::npos || cut <= lead) {
      cut = next = width;  // one word wider than the line: cut it
    } else {
      while (cut > lead && rest[cut - 1] == ' ') --cut;
      while (next < rest.size() && rest[next] == ' ') ++next;
    }
    out.push_back(rest.substr(0, cut));
    rest = continuation + rest.substr(next);
    lead = continuation.size();
  }
  if (out.empty() || rest.size() > lead) out.push_back(rest);
  return out;
}

std::optional<Library> Library::parse(std::string_view text, std::string* error) {
  Library library;
  std::string kind;
  std::string title;
  Entry* current = nullptr;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    const std::string line = cleanLine(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);

    if (!line.empty() && line[0] == '#') continue;
    if (line.rfind("==", 0) == 0) {
      const std::string_view heading = trim(std::string_view(line).substr(2));
      const std::size_t colon = heading.find(':');
      kind = std::string(trim(heading.substr(0, colon)));
      title = colon == std::string_view::npos ? "" : std::string(trim(heading.substr(colon + 1)));
      current = nullptr;
    } else if (!line.empty() && line[0] == '@') {
      const std::string_view head = std::string_view(line).substr(1);
      const std::size_t bar = head.find('|');
      Entry entry;
      entry.words = splitWords(head.substr(0, bar));
      if (bar != std::string_view::npos) entry.summary = std::string(trim(head.substr(bar + 1)));
      entry.kind = kind;
      entry.title = title;
      library.entries_.push_back(std::move(entry));
      current = &library.entries_.back();
      if (current->words.empty()) current = nullptr;  // no word: nothing can reach it
    } else if (current != nullptr) {
      current->text.push_back(line);
    }
  }
  std::erase_if(library.entries_, [](const Entry& e) { return e.words.empty(); });
  for (Entry& entry : library.entries_) trimBlankLines(entry.text);
  if (library.entries_.empty()) {
    if (error != nullptr) *error = "holds no help entry (an entry starts with a line \"@ WORD\")";
    return std::nullopt;
  }
  return library;
}

const Entry* Library::find(std::string_view word) const {
  const std::string key = upper(trim(word));
  if (key.empty()) return nullptr;
  for (const Entry& entry : entries_) {
    for (const std::string& w : entry.words) {
      if (w == key) return &entry;
    }
  }
  return nullptr;
}

std::vector<std::string> Library::index(std::string_view kind) const {
  std::vector<std::string> out;
  std::vector<std::string> titles;  // in the order the file first gives them
  for (const Entry& entry : entries_) {
    if (entry.kind == kind && std::find(titles.begin(), titles.end(), entry.title) == titles.end()) {
      titles.push_back(entry.title);
    }
  }
  for (const std::string& title : titles) {
    if (!out.empty()) out.emplace_back();
    if (!title.empty()) out.push_back(title);
    for (const Entry& entry : entries_) {
      if (entry.kind != kind || entry.title != title) continue;
      std::string line = "  " + entry.words[0];
      line.resize(std::max<std::size_t>(line.size() + 2, 12), ' ');
      append(out, wrap(line + entry.summary, kLineWidth, 10));
    }
  }
  return out;
}

std::vector<std::string> Library::show(const Entry& entry) const {
  std::vector<std::string> out;
  for (const std::string& line : entry.text) {
    const std::string_view t = trim(line);
    if (t.size() > 8 && t.rfind("{index ", 0) == 0 && t.back() == '}') {
      append(out, index(trim(t.substr(7, t.size() - 8))));
    } else {
      append(out, wrap(line));
    }
  }
  return out;
}

std::vector<std::string> Library::answer(std::string_view request) const {
  // The topic is the first word; blanks and commas separate words, as on
  // any command line.
  std::size_t begin = request.find_first_not_of(" ,\t");
  std::string word;
  if (begin != std::string_view::npos) {
    const std::size_t end = request.find_first_of(" ,\t", begin);
    word = upper(request.substr(begin, end == std::string_view::npos ? end : end - begin));
  }
  if (word.empty()) {
    if (const Entry* entry = find("COMMANDS")) return show(*entry);
    return index("Commands");
  }
  if (const Entry* entry = find(word)) return show(*entry);
  if (std::vector<std::string> lines = explainGenericName(word); !lines.empty()) return lines;
  return wrap("No help for " + word + "; type HELP for the list of commands.");
}

// ---- Where the text comes from.

std::string helpFileName(std::string_view prefix, std::string_view name, std::string_view suffix) {
  return std::string(prefix) + std::string(name) + std::string(suffix);
}

std::filesystem::path installedDataFolder() { return ZENFIT_HELP_DATADIR; }

Loaded load(const std::filesystem::path& workingFolder, const std::string& fileName,
            const std::filesystem::path& dataFolder) {
  Loaded loaded;
  auto tryFile = [&](const std::filesystem::path& path) {
    std::error_code ec;
    if (!std::filesystem::exists(path, ec)) return false;
    if (!std::filesystem::is_regular_file(path, ec)) {
      loaded.notes.push_back(path.string() + " is not a file");
      return false;
    }
    std::ifstream in(path, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (!in.good() && !in.eof()) {
      loaded.notes.push_back(path.string() + " cannot be read");
      return false;
    }
    std::string error;
    std::optional<Library> library = Library::parse(text, &error);
    if (!library) {
      loaded.notes.push_back(path.string() + " " + error);
      return false;
    }
    loaded.library = std::move(*library);
    loaded.origin = path.string();
    return true;
  };

  if (!fileName.empty()) {
    const std::filesystem::path name(fileName);
    if (name.is_absolute()) {
      if (tryFile(name)) return loaded;
    } else {
      if (tryFile(workingFolder / name)) return loaded;
      if (!dataFolder.empty() && tryFile(dataFolder / name)) return loaded;
    }
  }
  if (std::optional<Library> library = Library::parse(builtInText())) loaded.library = std::move(*library);
  loaded.origin = "built-in";
  return loaded;
}

}  // namespace zenfit::help
