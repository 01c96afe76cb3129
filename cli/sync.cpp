#include "sync.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <system_error>

#include "runtime/context.h"
#include "runtime/pimsync.h"
#include "unicode/jchar_utf8.h"
#include "xml/host.h"

namespace famoflas {
namespace {

constexpr int kRefused = 64;

// The bytes of a document, or nullopt with the reason. No more than maxBytes
// are read: a larger document is refused by its size.
std::optional<std::string> readDocument(const std::string &source, size_t maxBytes, std::string *why) {
  std::ifstream file;
  if (source != "-") {
    std::error_code ec;
    const auto size = std::filesystem::file_size(source, ec);
    if (!ec && size > maxBytes) {
      *why = "larger than the XML size limit (setting xmlmaxchars)";
      return std::nullopt;
    }
    file.open(source, std::ios::binary);
    if (!file) {
      *why = "cannot be read";
      return std::nullopt;
    }
  }
  std::istream &in = source == "-" ? std::cin : file;
  std::string bytes;
  char chunk[1 << 16];
  while (in) {
    in.read(chunk, sizeof chunk);
    bytes.append(chunk, static_cast<size_t>(in.gcount()));
    if (bytes.size() > maxBytes) {
      *why = "larger than the XML size limit (setting xmlmaxchars)";
      return std::nullopt;
    }
  }
  if (in.bad()) {
    *why = "cannot be read";
    return std::nullopt;
  }
  return bytes;
}

// The response on one line: line breaks inside it become character references,
// which read back as the same characters.
std::string oneLine(std::u16string_view response) {
  std::string line;
  for (const char c : vyr::toUtf8(response)) {
    if (c == '\n')
      line += "&#10;";
    else if (c == '\r')
      line += "&#13;";
    else
      line += c;
  }
  return line;
}

// Runs one document; prints its line and reports on stderr. Returns its exit status.
int runDocument(const std::string &source, const std::map<std::string, std::string> &settings) {
  std::string why;
  struct Owner {
    LPBHVRCOM context;
    ~Owner() { vyr::freeContext(context); }
  } owner{vyr::createContext(settings, &why)};
  const auto refuse = [&](const std::string &reason) {
    std::cout << '\n' << std::flush;
    std::cerr << "famoflas sync: " << source << ": " << reason << '\n';
    return kRefused;
  };
  if (owner.context == nullptr) return refuse("bad setting: " + why);
  // A UTF-8 character is at most 3 bytes per JCHAR; a byte-order mark adds 3.
  const size_t maxChars = vyr::xml::contextLimits(owner.context).maxChars;
  const std::optional<std::string> bytes = readDocument(source, maxChars * 3 + 3, &why);
  if (!bytes) return refuse(why);
  std::u16string text;
  if (!vyr::xml::decodeDocumentBytes(*bytes, &text, &why)) return refuse(why);
  const vyr::PimSyncOutcome outcome = vyr::runPimSync(owner.context, text);
  if (outcome.status != vyr::PimSyncOutcome::Status::Ran) return refuse(outcome.error);
  std::cout << oneLine(outcome.response) << '\n' << std::flush;
  for (const vyr::ErrorRecord &e : owner.context->errors)
    std::cerr << "famoflas sync: " << source << ": error " << vyr::toUtf8(e.id) << " '" << vyr::toUtf8(e.text)
              << "' on item " << e.item << " (" << e.source << ':' << e.line << ")\n";
  for (const std::u16string &line : owner.context->trace)
    std::cerr << "famoflas sync: " << source << ": trace: " << vyr::toUtf8(line) << '\n';
  if (outcome.response.empty()) std::cerr << "famoflas sync: " << source << ": the sync function stored no response\n";
  return outcome.code > ER_WARNING ? static_cast<int>(ER_ERROR) : 0;
}

}  // namespace

int runSyncCommand(const std::vector<std::string> &files, const std::map<std::string, std::string> &settings) {
  int status = 0;
  for (const std::string &file : files) status = std::max(status, runDocument(file, settings));
  return status;
}

}  // namespace famoflas
