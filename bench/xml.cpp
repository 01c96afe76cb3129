// Parse and walk of a PIM sync request of 500 records (about 200 KB as a
// client sends it) through the XRCS_* wrapper, against pugixml used directly
// on the same JCHAR text, in one run; the ratio is printed at the end.
//
// "Walk" is the same work on both sides: every element, its name, and the
// name and value of each of its attributes, read as JCHAR text (what the
// library needs). The wrapper hands out and releases a handle or string for
// each; pugixml's values are converted into reused buffers. Before timing,
// both walks must agree on the elements, attributes and characters read.
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>
#include <pugixml.hpp>

#include "unicode/jchar_utf8.h"
#include "xerceswrapper.h"

namespace {

// What a walk read. Timed walks note the first unit of each text; the check
// before timing keeps every text, so both walks are shown to read the same.
struct Tally {
  size_t elements = 0, attributes = 0, firstUnits = 0;
  std::u16string texts;
  bool operator==(const Tally &) const = default;
};

template <bool Keep>
void note(Tally &tally, const char16_t *text, size_t length) {
  tally.firstUnits += length > 0 ? text[0] : 0;
  if constexpr (Keep) tally.texts.append(text, length).push_back(u'|');
}

std::u16string syncRequest() {
  std::u16string text =
      u"<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n<PIMREQ username=\"JDOE\" command=\"putnew\" "
      u"appDataType=\"Appointments\"><PUTINFO numRecsToWrite=\"500\">";
  for (int i = 0; i < 500; ++i) {
    const std::u16string n = vyr::fromUtf8(std::to_string(i));
    text += u"\n<APPT uid=\"ACT" + n + u"\" lastEvent=\"New\" requestedEvent=\"Modify\" subject=\"Quarterly review " +
            n + u" with the team &amp; guests\" description=\"Agenda: figures, forecast; bring the minutes (version " +
            n +
            u").\" location=\"Building 4, room 2.17 &#x2013; Caf\u00E9 side\" allDayEvent=\"N\" "
            u"startDate=\"20240105\" startTime=\"0830\" endDate=\"20240105\" endTime=\"1000\" "
            u"alarmDate=\"20240105\" alarmTime=\"0815\" alarmFlag=\"Yes\" privateFlag=\"N\" "
            u"category=\"Meetings\" syncAnchor=\"20240105080309Z\"/>";
  }
  return text + u"\n</PUTINFO></PIMREQ>";
}

const std::u16string &request() {
  static const std::u16string text = syncRequest();
  return text;
}

// pugixml keeps UTF-8; the library reads JCHAR (decoded as the wrapper does).
void toJchar(const char *utf8, std::u16string &out) {
  out.clear();
  const auto *bytes = reinterpret_cast<const uint8_t *>(utf8);
  for (size_t k = 0; bytes[k] != 0;) {
    if (bytes[k] < 0x80) {
      out.push_back(bytes[k++]);
      continue;
    }
    UChar32 c;
    U8_NEXT_UNSAFE(bytes, k, c);
    if (U_IS_BMP(c)) {
      out.push_back(static_cast<char16_t>(c));
    } else {
      out.push_back(U16_LEAD(c));
      out.push_back(U16_TRAIL(c));
    }
  }
}

template <bool Keep>
Tally walkPugixml(const std::u16string &text) {
  pugi::xml_document document;
  if (!document.load_buffer(text.data(), text.size() * sizeof(char16_t), pugi::parse_default, pugi::encoding_utf16_le))
    return {};
  Tally tally;
  std::u16string name, value;
  const pugi::xml_node root = document.document_element();
  for (pugi::xml_node node = root; node;) {
    if (node.type() == pugi::node_element) {
      ++tally.elements;
      toJchar(node.name(), name);
      note<Keep>(tally, name.data(), name.size());
      for (pugi::xml_attribute a = node.first_attribute(); a; a = a.next_attribute()) {
        ++tally.attributes;
        toJchar(a.name(), name);
        note<Keep>(tally, name.data(), name.size());
        toJchar(a.value(), value);
        note<Keep>(tally, value.data(), value.size());
      }
    }
    if (node.first_child()) {
      node = node.first_child();
      continue;
    }
    while (node != root && !node.next_sibling()) node = node.parent();
    node = node == root ? pugi::xml_node() : node.next_sibling();
  }
  return tally;
}

template <bool Keep>
void take(Tally &tally, JCHAR *text) {
  size_t length = 0;
  if constexpr (Keep)
    while (text[length] != 0) ++length;
  else
    length = text[0] != 0 ? 1 : 0;
  note<Keep>(tally, text, length);
  XRCS_freeString(text);
}

template <bool Keep>
Tally walkXrcs(XRCS_hParser parser, const std::u16string &text) {
  XRCS_hDocument document = nullptr;
  XRCS_hElement root = nullptr;
  Tally tally;
  if (XRCS_parseXMLString(parser, text.c_str(), &document) != XRCS_SUCCESS ||
      XRCS_getDocumentElement(document, &root) != XRCS_SUCCESS) {
    XRCS_freeDocument(document);
    return tally;
  }
  // Depth first, with the handles of the elements on the way down.
  std::vector<XRCS_hElement> path{root};
  while (!path.empty()) {
    XRCS_hElement element = path.back();
    ++tally.elements;
    JCHAR *text16 = nullptr;
    XRCS_getElementName(element, &text16);
    take<Keep>(tally, text16);
    XRCS_hAttribute attribute = nullptr;
    for (XRCS_Status s = XRCS_getElementFirstAttribute(element, &attribute); s == XRCS_SUCCESS;) {
      ++tally.attributes;
      XRCS_getAttributeName(attribute, &text16);
      take<Keep>(tally, text16);
      XRCS_getAttributeValue(attribute, &text16);
      take<Keep>(tally, text16);
      XRCS_hAttribute next = nullptr;
      s = XRCS_getAttributeNextSibling(attribute, &next);
      XRCS_freeAttribute(attribute);
      attribute = next;
    }
    XRCS_hElement child = nullptr;
    if (XRCS_getElementFirstChild(element, &child) == XRCS_SUCCESS) {
      path.push_back(child);
      continue;
    }
    // No child: on to the next sibling, climbing while there is none.
    while (!path.empty()) {
      XRCS_hElement sibling = nullptr;
      const bool more = path.size() > 1 && XRCS_getElementNextSibling(path.back(), &sibling) == XRCS_SUCCESS;
      XRCS_freeElement(path.back());
      path.pop_back();
      if (more) {
        path.push_back(sibling);
        break;
      }
    }
  }
  XRCS_freeDocument(document);
  return tally;
}

void BM_XrcsParseWalk(benchmark::State &state) {
  XRCS_hParser parser = nullptr;
  XRCS_getParser(&parser);
  for (auto _ : state) benchmark::DoNotOptimize(walkXrcs<false>(parser, request()));
  XRCS_freeParser(parser);
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(request().size() * sizeof(char16_t)));
}
BENCHMARK(BM_XrcsParseWalk)->Unit(benchmark::kMicrosecond);

void BM_PugixmlParseWalk(benchmark::State &state) {
  for (auto _ : state) benchmark::DoNotOptimize(walkPugixml<false>(request()));
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(request().size() * sizeof(char16_t)));
}
BENCHMARK(BM_PugixmlParseWalk)->Unit(benchmark::kMicrosecond);

// Keeps the CPU time per iteration of each run (the median when repetitions
// are asked for): on a shared machine the steadier measure.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs) {
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      const std::string name = run.run_name.function_name;
      if ((run.run_type == Run::RT_Iteration && !hasMedian[name]) || median) {
        cpu[name] = run.GetAdjustedCPUTime();
        hasMedian[name] = hasMedian[name] || median;
      }
    }
  }
  std::map<std::string, double> cpu;
  std::map<std::string, bool> hasMedian;
};

}  // namespace

int main(int argc, char **argv) {
  // Unless told otherwise: repetitions of both, interleaved, so that a load
  // that comes and goes on a shared machine falls on both alike.
  std::vector<char *> args(argv, argv + argc);
  char repetitions[] = "--benchmark_repetitions=9", interleave[] = "--benchmark_enable_random_interleaving=true",
       aggregates[] = "--benchmark_report_aggregates_only=true";
  if (argc == 1) args.insert(args.end(), {repetitions, interleave, aggregates});
  argc = static_cast<int>(args.size());
  argv = args.data();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  XRCS_hParser parser = nullptr;
  XRCS_getParser(&parser);
  const Tally ours = walkXrcs<true>(parser, request()), theirs = walkPugixml<true>(request());
  XRCS_freeParser(parser);
  if (!(ours == theirs) || ours.elements != 502) {
    std::fprintf(stderr, "the walks disagree: wrapper %zu elements, %zu attributes, pugixml %zu, %zu\n", ours.elements,
                 ours.attributes, theirs.elements, theirs.attributes);
    return 1;
  }
  std::printf("request: %zu characters, %zu bytes as UTF-8; %zu elements, %zu attributes, %zu characters read\n",
              request().size(), vyr::toUtf8(request()).size(), ours.elements, ours.attributes, ours.texts.size());
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  if (reporter.cpu.count("BM_XrcsParseWalk") && reporter.cpu.count("BM_PugixmlParseWalk"))
    std::printf(
        "\nparse + walk, CPU time: XRCS %.0f us, pugixml %.0f us; ratio (XRCS / pugixml) %.2f (target 1.3 or less)\n",
        reporter.cpu["BM_XrcsParseWalk"], reporter.cpu["BM_PugixmlParseWalk"],
        reporter.cpu["BM_XrcsParseWalk"] / reporter.cpu["BM_PugixmlParseWalk"]);
  benchmark::Shutdown();
  return 0;
}
