// Clients of POST /v1/pim for scripts/bench-serve: N users at once, each with
// its own activities, each running whole initial syncs (getcount, getdetails
// pages until done, endsync) against one famoflas serve. Every answer must be
// a well-formed document with the expected records; any other answer stops the
// run with exit code 1.
//
// Usage: bench_pim_clients URL USER-PREFIX PASSWORD USERS ACTIVITIES ROUNDS
//   users are USER-PREFIX1..USERS, all with PASSWORD; first each user puts
//   ACTIVITIES appointments (not timed), then every user runs ROUNDS syncs.
// Prints: syncs/s, activities/s, p50 and p99 of a whole sync in ms.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <httplib.h>
#include <pugixml.hpp>

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kPage = 100;

struct Client {
  std::string url, user, password;

  // The answer to one document, parsed; false (with the reason on stderr) unless 200 and well formed.
  bool post(const std::string &command, const std::string &child, pugi::xml_document *answer) const {
    httplib::Client http(url);
    http.set_basic_auth(user, password);
    http.set_read_timeout(120, 0);
    const std::string body = "<?xml version=\"1.0\"?><PIMREQ username=\"" + user + "\" command=\"" + command +
                             "\" appDataType=\"Appointments\">" + child + "</PIMREQ>";
    const httplib::Result res = http.Post("/v1/pim", body, "application/xml");
    if (!res || res->status != 200) {
      std::fprintf(stderr, "%s %s: %s\n", user.c_str(), command.c_str(),
                   res ? (std::to_string(res->status) + " " + res->body.substr(0, 300)).c_str() : "no answer");
      return false;
    }
    if (!answer->load_string(res->body.c_str())) {
      std::fprintf(stderr, "%s %s: not a well-formed document: %s\n", user.c_str(), command.c_str(),
                   res->body.substr(0, 300).c_str());
      return false;
    }
    return true;
  }
  static std::string getInfo(int start, int count) {
    return "<GETINFO startRec=\"" + std::to_string(start) + "\" numRecsRequested=\"" + std::to_string(count) +
           "\" syncAnchor=\"19700101000000Z\"/>";
  }
  static size_t records(const pugi::xml_document &doc) { return doc.select_nodes("//APPT").size(); }
  bool fail(const char *what, const pugi::xml_document &doc) const {
    std::string text;
    struct Writer : pugi::xml_writer {
      std::string *out;
      void write(const void *data, size_t size) override { out->append(static_cast<const char *>(data), size); }
    } writer;
    writer.out = &text;
    doc.save(writer, "", pugi::format_raw);
    std::fprintf(stderr, "%s: %s: %s\n", user.c_str(), what, text.substr(0, 300).c_str());
    return false;
  }

  bool put(int activities) const {
    std::string changes;
    for (int i = 0; i < activities; ++i)
      changes += "<APPT uid=\"" + user + "-" + std::to_string(i) + "\" subject=\"Review " + std::to_string(i) +
                 " &amp; plan\" location=\"Room 2\" startDate=\"20240" + std::to_string(1 + i % 9) +
                 "10\" startTime=\"0900\" endDate=\"20240" + std::to_string(1 + i % 9) +
                 "10\" endTime=\"1000\" alarmFlag=\"No\" privateFlag=\"N\"/>";
    pugi::xml_document doc;
    if (!post("putnew", "<PUTINFO numRecsToWrite=\"" + std::to_string(activities) + "\">" + changes + "</PUTINFO>",
              &doc))
      return false;
    const pugi::xml_node info = doc.select_node("//PUTRESP").node();
    if (info.attribute("numRecsWritten").as_int(-1) != activities) return fail("putnew wrote another number", doc);
    return true;
  }

  // One whole initial sync; false on any unexpected answer.
  bool sync(int activities) const {
    pugi::xml_document doc;
    if (!post("getcount", getInfo(1, kPage), &doc)) return false;
    if (doc.select_node("//*[@totalRecs]").node().attribute("totalRecs").as_int(-1) != activities)
      return fail("getcount counted another number", doc);
    int received = 0;
    for (int start = 1; start <= activities; start += kPage) {
      pugi::xml_document page;
      if (!post("getdetails", getInfo(start, kPage), &page)) return false;
      const int expected = std::min(kPage, activities - start + 1);
      if (int(records(page)) != expected ||
          page.select_node("//*[@totalRecs]").node().attribute("totalRecs").as_int(-1) != expected)
        return fail(("getdetails from " + std::to_string(start) + " sent another number").c_str(), page);
      received += expected;
    }
    if (received != activities) return false;
    pugi::xml_document end;
    if (!post("endsync", "<ENDSYNC SyncResult=\"Success\"/>", &end)) return false;
    if (!end.child("PIMRESP")) return fail("endsync", end);
    return true;
  }
};

double percentile(std::vector<double> values, double p) {
  std::sort(values.begin(), values.end());
  const size_t at = std::min(values.size() - 1, size_t(p * double(values.size() - 1) + 0.5));
  return values[at];
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 7) {
    std::fprintf(stderr, "usage: %s URL USER-PREFIX PASSWORD USERS ACTIVITIES ROUNDS\n", argv[0]);
    return 2;
  }
  const int users = std::atoi(argv[4]), activities = std::atoi(argv[5]), rounds = std::atoi(argv[6]);
  std::vector<Client> clients;
  for (int i = 1; i <= users; ++i) clients.push_back({argv[1], argv[2] + std::to_string(i), argv[3]});
  for (const Client &client : clients)
    if (!client.put(activities)) return 1;
  // A sync takes changes up to its anchor, a whole second: the puts must be in an earlier one.
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));

  std::mutex lock;
  std::vector<double> seconds;
  std::atomic<bool> failed{false};
  const auto start = Clock::now();
  std::vector<std::thread> threads;
  for (const Client &client : clients)
    threads.emplace_back([&, client] {
      for (int round = 0; round < rounds && !failed; ++round) {
        const auto begin = Clock::now();
        if (!client.sync(activities)) {
          failed = true;
          return;
        }
        const double took = std::chrono::duration<double>(Clock::now() - begin).count();
        std::lock_guard<std::mutex> guard(lock);
        seconds.push_back(took);
      }
    });
  for (std::thread &thread : threads) thread.join();
  const double wall = std::chrono::duration<double>(Clock::now() - start).count();
  if (failed || int(seconds.size()) != users * rounds) {
    std::fprintf(stderr, "bench_pim_clients: a sync failed\n");
    return 1;
  }
  const double syncs = double(seconds.size());
  std::printf("%.2f %.0f %.1f %.1f\n", syncs / wall, syncs * activities / wall, percentile(seconds, 0.5) * 1e3,
              percentile(seconds, 0.99) * 1e3);
  return 0;
}
