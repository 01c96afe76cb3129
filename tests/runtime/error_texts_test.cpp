// Every error id the library and the companions raise has a message text in
// the platform's data dictionary. The ids are read from the sources, so an id
// added anywhere (a new family, a new helper) is caught here:
// - literal ids, or macros of them, passed as the id of vyrErrorSetEx or of a
//   function that passes one of its parameters on as that id (such helpers,
//   BsfnErrorWithText among them, are found the same way);
// - in a file that raises ids held elsewhere (a table's field, a variable, a
//   function's answer), the four-character ids with a digit written in it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "runtime/context.h"
#include "unicode/jchar_utf8.h"
#include "vyrbhvr.h"

namespace {

namespace fs = std::filesystem;

struct Source {
  std::string path;
  std::string text;  // comments blanked, so commented-out calls do not count
};

// Blanks comments, keeping string and character literals and line breaks.
std::string withoutComments(const std::string &in) {
  std::string out = in;
  for (size_t i = 0; i < out.size(); ++i) {
    if (out[i] == '"' || out[i] == '\'') {
      const char quote = out[i];
      for (++i; i < out.size() && out[i] != quote; ++i)
        if (out[i] == '\\') ++i;
    } else if (out.compare(i, 2, "//") == 0) {
      for (; i < out.size() && out[i] != '\n'; ++i) out[i] = ' ';
    } else if (out.compare(i, 2, "/*") == 0) {
      const size_t end = std::min(out.find("*/", i + 2), out.size() - 2) + 2;
      for (; i < end; ++i)
        if (out[i] != '\n') out[i] = ' ';
      --i;
    }
  }
  return out;
}

std::vector<Source> librarySources() {
  std::vector<Source> sources;
  for (const char *folder : {"famoflas", "companions"})
    for (const auto &file : fs::recursive_directory_iterator(fs::path(FAMOFLAS_SOURCE_DIR) / folder)) {
      const std::string extension = file.path().extension().string();
      if (extension != ".cpp" && extension != ".h") continue;
      std::ifstream in(file.path());
      std::ostringstream text;
      text << in.rdbuf();
      sources.push_back({fs::relative(file.path(), FAMOFLAS_SOURCE_DIR).string(), withoutComments(text.str())});
    }
  return sources;
}

std::string trimmed(const std::string &text) {
  const size_t first = text.find_first_not_of(" \t\r\n");
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// The top-level arguments of the call whose '(' is at open.
std::vector<std::string> arguments(const std::string &text, size_t open) {
  std::vector<std::string> out;
  std::string current;
  int depth = 0;
  for (size_t i = open + 1; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '"' || c == '\'') {
      const size_t start = i;
      for (++i; i < text.size() && text[i] != c; ++i)
        if (text[i] == '\\') ++i;
      current += text.substr(start, i - start + 1);
      continue;
    }
    if (depth == 0 && (c == ',' || c == ')')) {
      out.push_back(trimmed(current));
      current.clear();
      if (c == ')') return out;
      continue;
    }
    if (c == '(' || c == '{' || c == '[') ++depth;
    if (c == ')' || c == '}' || c == ']') --depth;
    current += c;
  }
  return {};
}

size_t lineOf(const std::string &text, size_t position) {
  return size_t(std::count(text.begin(), text.begin() + std::ptrdiff_t(position), '\n')) + 1;
}

// The closest function defined before position that has a parameter named
// parameter: its name and the parameter's index, or "" when there is none.
std::pair<std::string, size_t> enclosingFunction(const std::string &text, size_t position,
                                                 const std::string &parameter) {
  static const std::regex definition(R"((\w+)\s*\([^(){};]*\)\s*\{)"), lastWord(R"((\w+)$)");
  static const std::set<std::string> keywords = {"if", "for", "while", "switch", "catch"};
  std::pair<std::string, size_t> found{"", 0};
  for (auto it = std::sregex_iterator(text.begin(), text.begin() + std::ptrdiff_t(position), definition);
       it != std::sregex_iterator(); ++it) {
    if (keywords.count((*it)[1])) continue;
    const std::vector<std::string> parameters = arguments(text, text.find('(', size_t(it->position(1))));
    for (size_t i = 0; i < parameters.size(); ++i) {
      std::smatch name;
      if (std::regex_search(parameters[i], name, lastWord) && name[1] == parameter) found = {(*it)[1], i};
    }
  }
  return found;
}

struct RaisedIds {
  std::map<std::string, std::string> ids;  // id -> where it is raised
  std::vector<std::string> problems;       // calls whose id cannot be told
};

RaisedIds raisedIds(const std::vector<Source> &sources) {
  RaisedIds result;
  std::map<std::string, std::string> macros;
  static const std::regex macro(R"re(#define\s+(\w+)\s+u"([^"]*)")re");
  for (const Source &source : sources)
    for (auto it = std::sregex_iterator(source.text.begin(), source.text.end(), macro); it != std::sregex_iterator();
         ++it)
      macros[(*it)[1]] = (*it)[2];

  std::vector<std::pair<std::string, size_t>> raisers = {{"vyrErrorSetEx", 3}};
  std::map<std::string, std::string> tableFiles;  // file -> a raise whose id it holds elsewhere
  static const std::regex literal(R"re(u"([^"]*)")re"), identifier(R"(\w+)"),
      declaration(R"((const\s+)?\w+(\s+|\s*\*\s*)\w+)");
  for (size_t r = 0; r < raisers.size(); ++r) {  // raisers grows as helpers are found
    const auto [function, index] = raisers[r];
    const std::regex call("\\b" + function + "\\s*\\(");
    for (const Source &source : sources) {
      for (auto it = std::sregex_iterator(source.text.begin(), source.text.end(), call); it != std::sregex_iterator();
           ++it) {
        const size_t open = size_t(it->position() + it->length() - 1);
        const std::vector<std::string> args = arguments(source.text, open);
        if (args.size() <= index) continue;
        const std::string &arg = args[index];
        const std::string where = source.path + ":" + std::to_string(lineOf(source.text, open));
        std::smatch parts;
        if (std::regex_match(arg, parts, literal)) {
          result.ids.emplace(parts[1], where);
        } else if (macros.count(arg)) {
          result.ids.emplace(macros[arg], where);
        } else if (std::regex_match(arg, declaration)) {
          // the helper's own definition or declaration
        } else if (const auto helper = std::regex_match(arg, identifier) ? enclosingFunction(source.text, open, arg)
                                                                         : std::pair<std::string, size_t>{};
                   !helper.first.empty()) {
          if (std::find(raisers.begin(), raisers.end(), helper) == raisers.end()) raisers.push_back(helper);
        } else if (std::regex_search(arg, literal)) {  // a choice between literals
          for (auto it2 = std::sregex_iterator(arg.begin(), arg.end(), literal); it2 != std::sregex_iterator(); ++it2)
            result.ids.emplace((*it2)[1], where);
        } else {  // a table's field, a variable, a function's answer: the file holds the ids
          tableFiles.emplace(source.path, where);
        }
      }
    }
  }
  static const std::regex tableId(R"re(u"([0-9A-Z]{4})")re");
  for (const Source &source : sources) {
    const auto raise = tableFiles.find(source.path);
    if (raise == tableFiles.end()) continue;
    bool any = false;
    for (auto it = std::sregex_iterator(source.text.begin(), source.text.end(), tableId); it != std::sregex_iterator();
         ++it)
      if ((*it)[1].str().find_first_of("0123456789") != std::string::npos) {
        result.ids.emplace((*it)[1], source.path + ":" + std::to_string(lineOf(source.text, size_t(it->position()))));
        any = true;
      }
    if (!any) result.problems.push_back(raise->second + ": the id raised there is nowhere in its file");
  }
  return result;
}

TEST(ErrorTexts, EveryIdTheLibraryAndCompanionsRaiseHasAMessage) {
  const RaisedIds raised = raisedIds(librarySources());
  for (const std::string &problem : raised.problems) ADD_FAILURE() << problem;
  // Each way an id is raised is seen: literal, helper, table, macro.
  for (const char *id : {"4363", "078N", "187Q", "0002", "TXLB"}) EXPECT_TRUE(raised.ids.count(id)) << id;

  std::string missing;
  for (const auto &[id, where] : raised.ids) {
    EXPECT_LT(id.size(), size_t(VYR_ERROR_ID_SIZE)) << id << " at " << where;
    if (vyr::errorMessage(vyr::fromUtf8(id)).empty()) missing += "\n  \"" + id + "\" raised at " + where;
  }
  EXPECT_TRUE(missing.empty()) << "ids without a message text (add them to kErrorTexts in "
                                  "platform/runtime/dictionary.cpp):"
                               << missing;
}

}  // namespace
