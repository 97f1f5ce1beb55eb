#include "line_editor.h"

#include <fcntl.h>
#include <histedit.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <memory>

#include "base/atomic_file.h"

namespace zenfit::cli {
namespace {

constexpr int kHistoryLines = 1000;

LineEditor* editorOf(EditLine* el) {
  void* data = nullptr;
  el_get(el, EL_CLIENTDATA, &data);
  return static_cast<LineEditor*>(data);
}

char* promptFor(EditLine* el) { return const_cast<char*>(editorOf(el)->promptText()); }

unsigned char completeKey(EditLine* el, int /*key*/) { return editorOf(el)->complete(); }

bool isSeparator(char c) { return c == ' ' || c == ',' || c == '\t'; }

std::string upper(std::string s) {
  for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return s;
}

// The words of text, separated as on a command line.
std::vector<std::string> splitWords(const std::string& text) {
  std::vector<std::string> words;
  std::string word;
  for (char c : text) {
    if (isSeparator(c)) {
      if (!word.empty()) words.push_back(word);
      word.clear();
    } else {
      word += c;
    }
  }
  if (!word.empty()) words.push_back(word);
  return words;
}

}  // namespace

std::string defaultHistoryFile() {
  const char* home = std::getenv("HOME");
  if (home == nullptr || home[0] == '\0') {
    const passwd* user = ::getpwuid(::getuid());
    home = user != nullptr ? user->pw_dir : nullptr;
  }
  if (home == nullptr || home[0] == '\0') return "";
  return std::string(home) + "/.zenfit_history";
}

LineEditor::LineEditor(std::FILE* in, std::FILE* out, CompletionWords words, std::string historyFile)
    : out_(out), words_(std::move(words)), historyFile_(std::move(historyFile)) {
  editor_ = el_init("zenfit", in, out, stderr);
  if (editor_ == nullptr) return;
  el_set(editor_, EL_CLIENTDATA, this);
  el_set(editor_, EL_EDITOR, "emacs");
  el_set(editor_, EL_SIGNAL, 1);  // the terminal is put back on Ctrl-C and the like
  el_set(editor_, EL_PROMPT, &promptFor);

  history_ = history_init();
  if (history_ != nullptr) {
    HistEvent event;
    history(history_, &event, H_SETSIZE, kHistoryLines);
    history(history_, &event, H_SETUNIQUE, 1);
    if (!historyFile_.empty()) history(history_, &event, H_LOAD, historyFile_.c_str());
    el_set(editor_, EL_HIST, history, history_);
  }
  el_set(editor_, EL_ADDFN, "zenfit-complete", "Complete a command word or a term name",
         &completeKey);
  el_set(editor_, EL_BIND, "^I", "zenfit-complete", nullptr);
  el_source(editor_, nullptr);  // the user's ~/.editrc
}

LineEditor::~LineEditor() {
  if (editor_ != nullptr) el_end(editor_);
  if (history_ != nullptr) history_end(history_);
}

bool LineEditor::readLine(const char* prompt, std::string& line) {
  prompt_ = prompt != nullptr ? std::string(prompt) + " " : "";
  int count = 0;
  const char* text = el_gets(editor_, &count);
  if (text == nullptr || count <= 0) {  // Ctrl-D on an empty line
    std::fputc('\n', out_);
    std::fflush(out_);
    return false;
  }
  line.assign(text, static_cast<std::size_t>(count));
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
  remember(line);
  return true;
}

// Enters a line that holds anything into the history and saves the history
// at once, so that a session that ends badly keeps it and a session started
// meanwhile sees it. The file is private to the user, and written whole.
void LineEditor::remember(const std::string& line) {
  if (history_ == nullptr || line.find_first_not_of(" \t") == std::string::npos) return;
  HistEvent event;
  history(history_, &event, H_ENTER, line.c_str());
  if (historyFile_.empty() || !historyError_.empty()) return;
  // libedit saves only to a real file (it sets the file's mode), so the
  // text goes through an anonymous temporary file.
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> scratch(std::tmpfile(), std::fclose);
  if (!scratch || history(history_, &event, H_SAVE_FP, scratch.get()) < 0) return;
  std::string text;
  std::rewind(scratch.get());
  char block[4096];
  for (std::size_t n; (n = std::fread(block, 1, sizeof block, scratch.get())) > 0;) text.append(block, n);
  const int fd = ::open(historyFile_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd >= 0) ::close(fd);
  const FileResult saved = writeFileAtomically(historyFile_, text);
  if (!saved.ok()) historyError_ = saved.error;
}

// Tab: completes the word before the cursor from the words that fit there;
// with several, as far as they agree, and lists them when they agree no
// further.
unsigned char LineEditor::complete() {
  const LineInfo* info = el_line(editor_);
  const std::string before(info->buffer, static_cast<std::size_t>(info->cursor - info->buffer));
  if (before.find('!') != std::string::npos) return CC_REFRESH_BEEP;  // inside a comment
  std::size_t start = before.size();
  while (start > 0 && !isSeparator(before[start - 1])) --start;
  const std::string stem = before.substr(start);
  const std::string key = upper(stem);

  std::vector<std::string> matches;
  for (const std::string& word : words_(splitWords(before.substr(0, start)))) {
    const std::string candidate = upper(word);
    if (candidate.compare(0, key.size(), key) == 0 &&
        std::find(matches.begin(), matches.end(), candidate) == matches.end()) {
      matches.push_back(candidate);
    }
  }
  if (matches.empty()) return CC_REFRESH_BEEP;
  std::sort(matches.begin(), matches.end());

  std::size_t common = matches.front().size();
  for (const std::string& m : matches) {
    std::size_t i = 0;
    while (i < common && i < m.size() && m[i] == matches.front()[i]) ++i;
    common = i;
  }
  // The case the user is typing in: lower case when the word has a lower
  // case letter and no upper case one.
  auto isLower = [](char c) { return std::islower(static_cast<unsigned char>(c)) != 0; };
  auto isUpper = [](char c) { return std::isupper(static_cast<unsigned char>(c)) != 0; };
  const bool lower = std::any_of(stem.begin(), stem.end(), isLower) &&
                     std::none_of(stem.begin(), stem.end(), isUpper);
  auto typed = [lower](std::string s) {
    if (lower) {
      for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return s;
  };

  if (matches.size() == 1) {
    el_insertstr(editor_, typed(matches.front().substr(key.size()) + " ").c_str());
    return CC_REFRESH;
  }
  if (common > key.size()) {
    el_insertstr(editor_, typed(matches.front().substr(key.size(), common - key.size())).c_str());
    return CC_REFRESH;
  }
  // List them, in columns across an 80-column screen.
  std::size_t width = 0;
  for (const std::string& m : matches) width = std::max(width, m.size());
  width += 2;
  const std::size_t columns = std::max<std::size_t>(1, 80 / width);
  std::fputc('\n', out_);
  for (std::size_t i = 0; i < matches.size(); ++i) {
    const std::string word = typed(matches[i]);
    if ((i + 1) % columns == 0 || i + 1 == matches.size()) {
      std::fprintf(out_, "%s\n", word.c_str());
    } else {
      std::fprintf(out_, "%-*s", static_cast<int>(width), word.c_str());
    }
  }
  std::fflush(out_);
  return CC_REDISPLAY;
}

}  // namespace zenfit::cli
