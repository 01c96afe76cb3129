// The famoflas command: calls business functions by name and prints JSON.
// stdout carries only results; progress and errors go to stderr.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "dsjson.h"
#include "run.h"
#include "runtime/context.h"
#include "runtime/valuetext.h"
#include "serve.h"
#include "sync.h"
#include "tables.h"
#include "unicode/jchar_utf8.h"
#include "users.h"

namespace {

// Exit status of a command line or input that cannot be carried out.
constexpr int kUsage = 64;
// Exit status when the libraries cannot be loaded.
constexpr int kUnavailable = 69;

struct Arguments {
  std::string command;
  std::optional<std::string> database;
  std::vector<std::string> settings;  // KEY=VALUE
  std::vector<std::string> libraries;
  std::vector<std::string> overrides;  // functions a --library may replace
  std::optional<std::string> dsJson;
  std::optional<std::string> report;
  std::optional<std::string> user;
  std::vector<std::string> positionals;
  std::vector<std::pair<std::string, std::string>> serveOptions;  // --listen HOST:PORT, --insecure, ...
  bool help = false;
  bool version = false;
};

struct UsageError {
  std::string message;
};

// A message as stderr shows it: control characters and bytes that are not
// UTF-8 escaped (\xHH, \u0085), so a value given on the command line or in a
// file can neither drive the terminal nor break the message's one line.
std::string printable(std::string_view text) {
  std::string out;
  char escaped[8];
  for (size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    if (lead < 0x20 || lead == 0x7F) {
      std::snprintf(escaped, sizeof escaped, "\\x%02x", lead);
      out += escaped;
      ++i;
      continue;
    }
    if (lead < 0x80) {
      out.push_back(text[i++]);
      continue;
    }
    const size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
    std::u16string units;
    if (length == 1 || i + length > text.size() || !vyr::decodeUtf8(text.substr(i, length), &units)) {
      std::snprintf(escaped, sizeof escaped, "\\x%02x", lead);
      out += escaped;
      ++i;
      continue;
    }
    if (units.size() == 1 && units[0] >= 0x80 && units[0] <= 0x9F) {  // C1 controls
      std::snprintf(escaped, sizeof escaped, "\\u%04x", unsigned(units[0]));
      out += escaped;
    } else {
      out.append(text.substr(i, length));
    }
    i += length;
  }
  return out;
}

Arguments parseArguments(int argc, char **argv) {
  Arguments args;
  bool optionsEnded = false;
  for (int i = 1; i < argc; ++i) {
    std::string token = argv[i];
    if (optionsEnded || token == "-" || token.empty() || token[0] != '-') {
      if (args.command.empty() && !optionsEnded)
        args.command = token;
      else
        args.positionals.push_back(token);
      continue;
    }
    if (token == "--") {
      optionsEnded = true;
      continue;
    }
    if (token == "--help" || token == "-h") {
      args.help = true;
      continue;
    }
    if (token == "--version") {
      args.version = true;
      continue;
    }
    std::string name = token, value;
    bool inlineValue = false;
    if (const size_t eq = token.find('='); eq != std::string::npos && token.rfind("--", 0) == 0) {
      name = token.substr(0, eq);
      value = token.substr(eq + 1);
      inlineValue = true;
    }
    if (name == "--insecure" && !inlineValue) {
      args.serveOptions.emplace_back(name, "");
      continue;
    }
    const bool serveOption = famoflas::isServeOption(name);
    if (!serveOption && name != "--db" && name != "--setting" && name != "--library" && name != "--override" &&
        name != "--ds-json" && name != "--report" && name != "--user")
      throw UsageError{"unknown option '" + name + "' (see famoflas --help)"};
    if (!inlineValue) {
      if (i + 1 >= argc) throw UsageError{name + " needs a value"};
      value = argv[++i];
    }
    if (serveOption) {
      args.serveOptions.emplace_back(name, value);
    } else if (name == "--db") {
      if (value.empty()) throw UsageError{"--db needs a database location"};
      args.database = value;
    } else if (name == "--setting") {
      args.settings.push_back(value);
    } else if (name == "--library") {
      args.libraries.push_back(value);
    } else if (name == "--override") {
      args.overrides.push_back(value);
    } else if (name == "--report") {
      args.report = value;
    } else if (name == "--user") {
      args.user = value;
    } else {
      args.dsJson = value;
    }
  }
  if (optionsEnded && args.command.empty() && !args.positionals.empty()) {
    args.command = args.positionals.front();
    args.positionals.erase(args.positionals.begin());
  }
  return args;
}

void printSettings(std::ostream &out) {
  auto padded = [](std::string_view key) {
    return std::string(key) + std::string(key.size() < 12 ? 12 - key.size() : 1, ' ');
  };
  out << "Settings (--setting KEY=VALUE; default in brackets):\n";
  for (const vyr::SettingKey &key : vyr::settingKeys())
    out << "  " << padded(key.key) << key.meaning << " [" << key.defaultValue << "]\n";
  out << "  " << padded("env.NAME") << "database location of environment NAME (--db sets the one of env)\n";
}

void printValueTexts(std::ostream &out) {
  out << "Member values (MEMBER=VALUE, or --ds-json FILE|- with a JSON object of member: value):\n"
         "  string   the characters, blanks kept, at most the member's width\n"
         "  char     one character, \"\" for none\n"
         "  math     decimal with '.', e.g. -12.50 (decimals given are kept; an exponent shifts the\n"
         "           point exactly: 1.5e3 is 1500); JSON numbers are read from their text alike\n"
         "  date     YYYY-MM-DD, \"\" or JSON null for the null date\n"
         "  utime    YYYY-MM-DDTHH:MM:SSZ (UTC, optional .ffffff), \"\" or null for none\n"
         "  int, id, short  integers within their range\n"
         "  bytes    hex, two digits per byte (missing bytes are zero)\n"
         "  pointer  cannot be set\n";
}

void printHelp(std::ostream &out, const std::string &command) {
  if (command == "call") {
    out << "Usage: famoflas call NAME [MEMBER=VALUE]... [--ds-json FILE|-] [--report FILE|-] [--db LOCATION]\n"
           "                     [--setting KEY=VALUE]...\n\n"
           "Runs one business function on a fresh context and prints one JSON object:\n"
           "  {\"function\", \"return\", \"ds\": {member: value, ...}, \"errors\": [...], \"trace\": [...]}\n"
           "With --report the context runs a batch report whose state the file gives (docs/report-state.md);\n"
           "the state after the call, stop requests included, is printed as \"report\" in the object.\n"
           "The exit status is the function's return code (0 success, 1 warning, 2 error);\n"
           "64 when nothing was called (unknown function or member, a value that does not fit, a bad setting);\n"
           "69 when the call could not be carried out (the database could not be reached, the function\n"
           "threw or returned a code outside 0-2): the object is printed, the reason goes to stderr.\n\n";
    printValueTexts(out);
    out << "\n";
    printSettings(out);
    return;
  }
  if (command == "batch") {
    out << "Usage: famoflas batch FILE|- [--db LOCATION] [--setting KEY=VALUE]...\n\n"
           "Each input line is a JSON object {\"function\": NAME, \"ds\": {...}, \"settings\": {...},\n"
           "\"report\": {...}} (report optional, as call --report); all\n"
           "run in this process, one result object per line (as famoflas call prints; a line that\n"
           "cannot run gives {\"line\": N, \"function\": ..., \"error\": \"...\"}). Blank lines are skipped.\n"
           "A line's return code is the function's own answer and does not change the exit status:\n"
           "0 when every line ran; 69 when any call could not be carried out (the database could not\n"
           "be reached, ...: as call exits 69); else 64 when any line was refused. Each such line is\n"
           "named on stderr, and a last stderr line counts them.\n\n";
    printSettings(out);
    return;
  }
  if (command == "sync") {
    out << "Usage: famoflas sync --user NAME FILE|-... [--db LOCATION] [--setting KEY=VALUE]...\n\n"
           "Runs PIM sync request documents (UTF-8, or UTF-16 with a byte-order mark) in order in this one\n"
           "process, so the sync caches live from \"getcount\" to \"getdetails\". Each runs on a fresh context\n"
           "signed on as NAME; a document whose \"username\" is another user is refused before anything runs.\n"
           "The sync function is chosen by \"appDataType\" (Appointments, Tasks: beginAppointmentSync).\n"
           "stdout: one line per document, its response (line breaks in it written as &#10; and &#13;), or an\n"
           "empty line when it was refused; the reasons, errors and trace lines go to stderr.\n"
           "Exit status 0 when every document ran and its function returned 0 or 1, 2 when a function returned\n"
           "an error, 64 when a document was refused (unreadable, not UTF-8, not accepted XML, wrong user,\n"
           "no sync function). The settings xmlmaxchars and xmlmaxdepth limit what is parsed.\n\n";
    printSettings(out);
    return;
  }
  if (command == "serve") {
    famoflas::printServeHelp(out);
    return;
  }
  if (command == "user") {
    out << "Usage: famoflas user add NAME | passwd NAME | remove NAME | list | set NAME KEY=VALUE... [--db "
           "LOCATION]\n\n"
           "Users of famoflas serve, kept in the tables F98SVUSR (name, Argon2id hash) and F98SVSET (settings)\n"
           "of the database. add and passwd read the password from stdin (one line); it must pass the\n"
           "installation's password policy (ValidatePasswordPolicyFromF98QXSEC; famoflas db init installs a\n"
           "default one when the database has none). list prints each user and their settings, never a hash.\n"
           "set takes the keys of --setting except user, env, env.NAME and fail; KEY= removes one.\n";
    return;
  }
  out << "famoflas - call FAMOFLAS business functions by name\n\n"
         "Usage:\n"
         "  famoflas call NAME [MEMBER=VALUE]... [--ds-json FILE|-]   run one business function\n"
         "       [--report FILE|-]                                    ...under a running report's state\n"
         "  famoflas batch FILE|-                                      run JSON lines of calls\n"
         "  famoflas sync --user NAME FILE|-...                        run PIM sync requests, one response per line\n"
         "  famoflas list                                              registered functions and source objects\n"
         "  famoflas describe NAME                                     members of a function's data structure\n"
         "  famoflas db init                                           create the database and its tables\n"
         "  famoflas db load FILE|-                                    load rows from JSON {\"F0007\": [{...}, ...]}\n"
         "                                                             (all or nothing; unnamed columns "
         "blank/zero/null)\n"
         "  famoflas db dump TABLE                                     print a table in the same form, in key order\n"
         "  famoflas db catalog                                        every table's columns and indexes, as JSON\n"
         "  famoflas user add|passwd|remove NAME, list, set NAME K=V   users of the HTTP service (user --help)\n"
         "  famoflas serve [--listen HOST:PORT] [--threads N] ...      the HTTP service (serve --help)\n"
         "  famoflas --version | --help | COMMAND --help\n\n"
         "Options of every command:\n"
         "  --db LOCATION         database of the context's environment: an SQLite file (default: famoflas.db\n"
         "                        here) or postgresql://... for a PostgreSQL server; only db init and db load\n"
         "                        create a missing file, other commands fail on it\n"
         "  --setting KEY=VALUE   a setting of the context, repeatable\n"
         "  --library PATH        also load the business functions of PATH (exporting famoflasCatalog);\n"
         "                        a name that is already registered is refused unless --override names it\n"
         "  --override NAME       let a --library replace the registered function NAME (list shows it)\n\n";
  printValueTexts(out);
  out << "\n";
  printSettings(out);
}

// NAME=VALUE split at the first '='; a pair without a name is refused with the expected form.
std::pair<std::string, std::string> splitPair(const std::string &pair, const std::string &expected) {
  const size_t eq = pair.find('=');
  if (eq == std::string::npos || eq == 0) throw UsageError{expected + ", got '" + pair + "'"};
  return {pair.substr(0, eq), pair.substr(eq + 1)};
}

std::map<std::string, std::string> settingsFrom(const std::vector<std::string> &pairs) {
  std::map<std::string, std::string> settings;
  for (const std::string &pair : pairs) {
    auto [key, value] = splitPair(pair, "--setting needs KEY=VALUE");
    settings[key] = std::move(value);
  }
  return settings;
}

// The JSON document an option names (a file or - for stdin).
nlohmann::json readJson(const std::string &option, const std::string &source) {
  const std::optional<std::string> text = famoflas::readInput(source);
  if (!text) throw UsageError{"cannot read " + option + " " + source};
  std::string error;
  std::optional<nlohmann::json> document = famoflas::parseJson(*text, &error);
  if (!document) throw UsageError{option + " " + source + ": " + error};
  return std::move(*document);
}

void printJsonLine(const nlohmann::ordered_json &value) {
  std::cout << famoflas::dumpJson(value) << '\n' << std::flush;
}

int runCallCommand(const Arguments &args, const std::string &database) {
  if (args.positionals.empty()) throw UsageError{"call needs a business function name"};
  famoflas::CallRequest request;
  request.function = args.positionals.front();
  for (size_t i = 1; i < args.positionals.size(); ++i)
    request.assignments.push_back(splitPair(args.positionals[i], "expected MEMBER=VALUE"));
  if (args.dsJson) {
    request.members = readJson("--ds-json", *args.dsJson);
    if (!request.members->is_object()) throw UsageError{"--ds-json must hold a JSON object of member: value"};
  }
  if (args.report) {
    if (*args.report == "-" && args.dsJson == std::string("-"))
      throw UsageError{"--ds-json and --report cannot both read stdin"};
    request.report = readJson("--report", *args.report);
  }
  request.settings = famoflas::contextSettings(settingsFrom(args.settings), database);
  famoflas::CallOutcome outcome = famoflas::runCall(request);
  if (!outcome.ran) throw UsageError{outcome.error};
  printJsonLine(outcome.result);
  if (!outcome.platformFailures.empty()) {
    std::cerr << "famoflas: the call could not be carried out: " << printable(outcome.platformFailures.front()) << '\n';
    return kUnavailable;
  }
  return static_cast<int>(outcome.code);
}

int runBatchCommand(const Arguments &args, const std::string &database) {
  if (args.positionals.size() != 1) throw UsageError{"batch needs one input: a file or - for stdin"};
  const std::string &source = args.positionals.front();
  std::ifstream file;
  if (source != "-") {
    file.open(source, std::ios::binary);
    if (!file) throw UsageError{"cannot read batch input " + source};
  }
  std::istream &in = source == "-" ? std::cin : file;
  const auto base = settingsFrom(args.settings);
  size_t refused = 0, failed = 0;
  std::string text;
  for (size_t number = 1; std::getline(in, text); ++number) {
    if (text.find_first_not_of(" \t\r") == std::string::npos) continue;
    const famoflas::BatchLineOutcome outcome = famoflas::runBatchLine(text, number, base, true, database);
    printJsonLine(outcome.output);
    if (!outcome.ran) {
      ++refused;
      std::cerr << "famoflas batch: line " << number << ": " << printable(outcome.error) << '\n';
    } else if (!outcome.platformFailures.empty()) {
      ++failed;
      std::cerr << "famoflas batch: line " << number
                << ": could not be carried out: " << printable(outcome.platformFailures.front()) << '\n';
    }
  }
  if (refused + failed == 0) return 0;
  std::cerr << "famoflas batch: " << failed << " line(s) could not be carried out, " << refused << " line(s) refused\n";
  return failed > 0 ? kUnavailable : kUsage;
}

int runDescribeCommand(const Arguments &args) {
  if (args.positionals.size() != 1) throw UsageError{"describe needs one business function name"};
  const std::string &name = args.positionals.front();
  const BSFN_CATALOG_ENTRY *entry = vyr::findFunction(name);
  if (entry == nullptr) throw UsageError{"unknown business function '" + name + "'"};
  printJsonLine(famoflas::describeFunction(name, *entry));
  return 0;
}

int runListCommand(const Arguments &args) {
  if (!args.positionals.empty()) throw UsageError{"list takes no arguments"};
  for (const BSFN_CATALOG_ENTRY *entry : vyr::allFunctions()) {
    std::cout << entry->szFunction << ' ' << (entry->szSource ? entry->szSource : "");
    const vyr::FunctionOrigin origin = vyr::functionOrigin(entry->szFunction);
    if (!origin.replaced.empty())
      std::cout << " (--override: from " << origin.library << ", replacing " << origin.replaced << ')';
    std::cout << '\n';
  }
  return 0;
}

void showMessageBox(std::u16string_view text, std::u16string_view caption) noexcept {
  try {
    std::cerr << printable(vyr::toUtf8(caption)) << ": " << printable(vyr::toUtf8(text)) << std::endl;
  } catch (...) {
  }
}

int run(int argc, char **argv) {
  const Arguments args = parseArguments(argc, argv);
  if (args.version) {
    std::cout << "famoflas " << FAMOFLAS_VERSION << '\n';
    return 0;
  }
  if (args.help) {
    printHelp(std::cout, args.command);
    return 0;
  }
  if (args.command.empty()) throw UsageError{"no command given (see famoflas --help)"};
  const std::string &command = args.command;
  if (command != "call" && command != "batch" && command != "list" && command != "describe" && command != "db" &&
      command != "user" && command != "serve" && command != "sync")
    throw UsageError{"unknown command '" + command + "' (see famoflas --help)"};
  if (!args.serveOptions.empty() && command != "serve")
    throw UsageError{args.serveOptions.front().first + " belongs to serve"};
  if (args.dsJson && command != "call") throw UsageError{"--ds-json belongs to call"};
  if (args.report && command != "call") throw UsageError{"--report belongs to call"};
  if (args.user && command != "sync") throw UsageError{"--user belongs to sync"};
  // Refuse bad settings before anything is loaded.
  auto settings = settingsFrom(args.settings);
  if (command == "sync") {
    if (!args.user) throw UsageError{"sync needs --user NAME, the user the requests are for"};
    if (args.positionals.empty()) throw UsageError{"sync needs at least one request file (or - for stdin)"};
    if (const auto given = settings.find("user"); given != settings.end() && given->second != *args.user)
      throw UsageError{"--user and --setting user name different users"};
    settings["user"] = *args.user;
  }
  for (const auto &[key, value] : settings) {
    std::string why;
    if (!vyr::validSetting(key, value, &why)) throw UsageError{"bad setting: " + why};
  }
  std::string error;
  if (!famoflas::loadLibraries(args.libraries, &error, args.overrides)) {
    std::cerr << "famoflas: " << printable(error) << '\n';
    return kUnavailable;
  }
  vyr::setMessageBoxHandler(showMessageBox);
  const std::string database = args.database.value_or("famoflas.db");
  if (command == "db") {
    try {
      return famoflas::runTablesCommand(args.positionals, famoflas::contextSettings(settings, database));
    } catch (const famoflas::TablesCommandError &e) {
      throw UsageError{e.message};
    }
  }
  try {
    if (command == "user")
      return famoflas::runUserCommand(args.positionals, famoflas::contextSettings(settings, database));
    if (command == "serve") return famoflas::runServeCommand(args.serveOptions, args.positionals, settings, database);
  } catch (const famoflas::CommandError &e) {
    throw UsageError{e.message};
  }
  if (command == "call") return runCallCommand(args, database);
  if (command == "batch") return runBatchCommand(args, database);
  if (command == "sync")
    return famoflas::runSyncCommand(args.positionals, famoflas::contextSettings(settings, database));
  if (command == "describe") return runDescribeCommand(args);
  return runListCommand(args);
}

}  // namespace

int main(int argc, char **argv) {
  try {
    return run(argc, argv);
  } catch (const UsageError &e) {
    std::cerr << "famoflas: " << printable(e.message) << '\n';
    return kUsage;
  } catch (const std::exception &e) {
    std::cerr << "famoflas: " << printable(e.what()) << '\n';
    return 70;
  }
}
