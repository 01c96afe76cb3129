#include "serve.h"

#include <arpa/inet.h>
#include <httplib.h>
#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <memory>
#include <mutex>
#include <semaphore>
#include <thread>

#include "db/host.h"
#include "dsjson.h"
#include "logins.h"
#include "metrics.h"
#include "openapi.h"
#include "run.h"
#include "runtime/context.h"
#include "runtime/pimsync.h"
#include "unicode/jchar_utf8.h"
#include "users.h"
#include "xml/host.h"

namespace famoflas {
namespace {

constexpr size_t kDefaultBodyLimit = size_t{16} << 20;
constexpr unsigned kMaxThreads = 256;
// Seconds a connection may stay silent in the middle of a request, or idle between two.
constexpr time_t kReadTimeout = 5;
constexpr time_t kWriteTimeout = 10;
constexpr time_t kKeepAliveTimeout = 5;
// Requests one connection may send before the server closes it, so that
// connections beyond the threads get their turn.
constexpr size_t kKeepAliveRequests = 100;

struct ServeOptions {
  std::string host = "127.0.0.1";
  int port = 8470;
  unsigned threads = 0;
  std::string tlsCert, tlsKey;
  bool insecure = false;
  size_t bodyLimit = kDefaultBodyLimit;
};

std::optional<unsigned long long> parseCount(const std::string &text) {
  if (text.empty() || text.size() > 18 || !std::all_of(text.begin(), text.end(), ::isdigit)) return std::nullopt;
  return std::stoull(text);
}

// HOST:PORT, [IPv6]:PORT.
void parseListen(const std::string &text, ServeOptions *options) {
  const std::string usage = "--listen needs HOST:PORT (or [IPv6]:PORT), got '" + text + "'";
  std::string host, port;
  if (text.starts_with('[')) {
    const size_t close = text.find(']');
    if (close == std::string::npos || close + 1 >= text.size() || text[close + 1] != ':') throw CommandError{usage};
    host = text.substr(1, close - 1);
    port = text.substr(close + 2);
  } else {
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos || text.find(':') != colon) throw CommandError{usage};
    host = text.substr(0, colon);
    port = text.substr(colon + 1);
  }
  const auto number = parseCount(port);
  if (host.empty() || !number || *number > 65535) throw CommandError{usage};
  options->host = host;
  options->port = static_cast<int>(*number);
}

// BYTES, or a number with K, M or G (powers of 1024).
size_t parseSize(const std::string &text) {
  std::string digits = text;
  unsigned shift = 0;
  if (!digits.empty()) {
    const char unit = static_cast<char>(std::toupper(static_cast<unsigned char>(digits.back())));
    shift = unit == 'K' ? 10 : unit == 'M' ? 20 : unit == 'G' ? 30 : 0;
    if (shift != 0) digits.pop_back();
  }
  const auto number = parseCount(digits);
  if (!number || *number == 0 || *number > (1ull << 40) >> shift)
    throw CommandError{"--max-body needs a size in bytes (K, M or G after it for KiB, MiB, GiB), got '" + text + "'"};
  return static_cast<size_t>(*number << shift);
}

ServeOptions parseOptions(const std::vector<std::pair<std::string, std::string>> &pairs) {
  ServeOptions options;
  for (const auto &[name, value] : pairs) {
    if (name == "--listen") {
      parseListen(value, &options);
    } else if (name == "--threads") {
      const auto number = parseCount(value);
      if (!number || *number == 0 || *number > kMaxThreads)
        throw CommandError{"--threads needs a number from 1 to " + std::to_string(kMaxThreads) + ", got '" + value +
                           "'"};
      options.threads = static_cast<unsigned>(*number);
    } else if (name == "--tls-cert") {
      options.tlsCert = value;
    } else if (name == "--tls-key") {
      options.tlsKey = value;
    } else if (name == "--max-body") {
      options.bodyLimit = parseSize(value);
    } else if (name == "--insecure") {
      options.insecure = true;
    }
  }
  if (options.tlsCert.empty() != options.tlsKey.empty()) throw CommandError{"--tls-cert and --tls-key go together"};
  if (options.threads == 0) options.threads = std::clamp(std::thread::hardware_concurrency(), 1u, kMaxThreads);
  return options;
}

bool isLoopback(const std::string &host) {
  if (host == "localhost") return true;
  in_addr v4{};
  if (inet_pton(AF_INET, host.c_str(), &v4) == 1) return (ntohl(v4.s_addr) >> 24) == 127;
  in6_addr v6{};
  return inet_pton(AF_INET6, host.c_str(), &v6) == 1 && IN6_IS_ADDR_LOOPBACK(&v6);
}

std::string isoNow() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  const auto millis = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[40];
  const size_t n = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc);
  std::snprintf(text + n, sizeof text - n, ".%03dZ", static_cast<int>(millis));
  return text;
}

// One line on stderr, whole, whichever thread writes it.
void logLine(const nlohmann::ordered_json &line) {
  static std::mutex lock;
  const std::string text = dumpJson(line) + "\n";
  std::lock_guard guard(lock);
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
}

// What the request log and the metrics know of the request a thread serves.
struct RequestNote {
  bool started = false;
  std::chrono::steady_clock::time_point start;
  std::string user;
};
thread_local RequestNote tNote;

double secondsSinceHead() {
  return tNote.started ? std::chrono::duration<double>(std::chrono::steady_clock::now() - tNote.start).count() : 0.0;
}

// The endpoint a path belongs to, as the metrics label it.
std::string endpointOf(const std::string &path) {
  for (const char *fixed : {"/v1/health", "/v1/functions", "/v1/batch", "/v1/pim", "/v1/openapi.json", "/metrics"})
    if (path == fixed) return fixed;
  if (path.starts_with("/v1/functions/")) return "/v1/functions/{name}";
  if (path.starts_with("/v1/call/")) return "/v1/call/{name}";
  return "other";
}

void answerJson(httplib::Response &res, int status, const nlohmann::ordered_json &body) {
  res.status = status;
  res.set_content(dumpJson(body), "application/json");
}

void answerError(httplib::Response &res, int status, const std::string &error) {
  answerJson(res, status, {{"error", error}});
}

// The media type of the request, lower case, without parameters.
std::string mediaType(const httplib::Request &req) {
  std::string type = req.get_header_value("Content-Type");
  type = type.substr(0, type.find(';'));
  type.erase(std::remove_if(type.begin(), type.end(), ::isspace), type.end());
  std::transform(type.begin(), type.end(), type.begin(), ::tolower);
  return type;
}

// A slot of the calls that run at once, held for one call and given back on every path out.
class CallSlot {
 public:
  explicit CallSlot(std::counting_semaphore<kMaxThreads> &slots) : slots_(slots) { slots_.acquire(); }
  ~CallSlot() { slots_.release(); }
  CallSlot(const CallSlot &) = delete;
  CallSlot &operator=(const CallSlot &) = delete;

 private:
  std::counting_semaphore<kMaxThreads> &slots_;
};

class Service {
 public:
  Service(std::map<std::string, std::string> settings, std::string database, unsigned threads)
      : settings_(std::move(settings)),
        database_(std::move(database)),
        hostSettings_(contextSettings(settings_, database_)),
        openapi_(dumpJson(openApiDocument())),
        calls_(static_cast<std::ptrdiff_t>(threads)) {}

  void install(httplib::Server &server);
  ServiceMetrics &metrics() { return metrics_; }

 private:
  // The user of the request, or nullopt with the answer (401, 429, 503) set.
  std::optional<ServiceUser> authenticate(const httplib::Request &req, httplib::Response &res);
  // The settings a user's calls start from: the host's, the user's, and who they are.
  std::map<std::string, std::string> userSettings(const ServiceUser &user) const;
  void call(const httplib::Request &req, httplib::Response &res);
  void batch(const httplib::Request &req, httplib::Response &res);
  void pim(const httplib::Request &req, httplib::Response &res);

  std::map<std::string, std::string> settings_;  // --setting values
  std::string database_;
  std::map<std::string, std::string> hostSettings_;  // with the database's location: user lookups
  std::string openapi_;
  ServiceMetrics metrics_;
  Logins logins_;
  // Business functions running at once (--threads): each holds a database connection.
  std::counting_semaphore<kMaxThreads> calls_;
};

std::optional<ServiceUser> Service::authenticate(const httplib::Request &req, httplib::Response &res) {
  const std::optional<BasicCredentials> credentials = basicCredentials(req.get_header_value("Authorization"));
  if (!credentials) {
    res.set_header("WWW-Authenticate", "Basic realm=\"famoflas\", charset=\"UTF-8\"");
    answerError(res, 401, "sign on with HTTP Basic authentication as a user of famoflas user add");
    return std::nullopt;
  }
  LoginOutcome login = logins_.check(hostSettings_, *credentials);
  switch (login.verdict) {
    case LoginVerdict::Accepted:
      tNote.user = login.user.name;
      return std::move(login.user);
    case LoginVerdict::Throttled:
      res.set_header("Retry-After", std::to_string(login.retryAfter));
      answerError(res, 429,
                  "too many failed logins for this user name; retry in " + std::to_string(login.retryAfter) + " s");
      return std::nullopt;
    case LoginVerdict::Unavailable:
      logLine({{"time", isoNow()}, {"event", "users unavailable"}, {"error", login.error}});
      answerError(res, 503, "the users cannot be read from the database");
      return std::nullopt;
    case LoginVerdict::Refused:
      break;
  }
  res.set_header("WWW-Authenticate", "Basic realm=\"famoflas\", charset=\"UTF-8\"");
  answerError(res, 401, "unknown user or wrong password");
  return std::nullopt;
}

std::map<std::string, std::string> Service::userSettings(const ServiceUser &user) const {
  std::map<std::string, std::string> settings = settings_;
  for (const auto &[key, value] : user.settings) settings[key] = value;
  settings["user"] = user.name;
  return settings;
}

void Service::call(const httplib::Request &req, httplib::Response &res) {
  const std::optional<ServiceUser> user = authenticate(req, res);
  if (!user) return;
  if (mediaType(req) != "application/json") return answerError(res, 415, "a call's body is application/json");
  const std::string name = req.matches[1];
  if (vyr::findFunction(name) == nullptr) return answerError(res, 404, "unknown business function '" + name + "'");
  CallRequest request;
  std::string error;
  if (!readCallBody(req.body, name, userSettings(*user), &request, &error)) return answerError(res, 400, error);
  request.settings = contextSettings(request.settings, database_);
  CallOutcome outcome;
  {
    CallSlot slot(calls_);
    outcome = runCall(request);
  }
  if (!outcome.ran) {
    // Settings of the user's row that no longer pass are the installation's fault, not the client's.
    const int status = outcome.error.starts_with("bad setting") ? 500 : 400;
    return answerError(res, status, outcome.error);
  }
  metrics_.countCall(name, outcome.code);
  answerJson(res, 200, outcome.result);
}

void Service::batch(const httplib::Request &req, httplib::Response &res) {
  const std::optional<ServiceUser> user = authenticate(req, res);
  if (!user) return;
  const std::string type = mediaType(req);
  if (type != "application/x-ndjson" && type != "application/jsonl")
    return answerError(res, 415, "a batch is JSON lines: application/x-ndjson");
  const std::map<std::string, std::string> base = userSettings(*user);
  std::string out;
  size_t number = 0;
  for (size_t start = 0; start < req.body.size();) {
    size_t end = req.body.find('\n', start);
    if (end == std::string::npos) end = req.body.size();
    const std::string_view text(req.body.data() + start, end - start);
    start = end + 1;
    ++number;
    if (text.find_first_not_of(" \t\r") == std::string_view::npos) continue;
    BatchLineOutcome line;
    {
      CallSlot slot(calls_);
      line = runBatchLine(text, number, base, false, database_);
    }
    if (line.ran) metrics_.countCall(line.output.value("function", ""), line.output.value("return", ER_ERROR));
    out += dumpJson(line.output);
    out += '\n';
  }
  res.status = 200;
  res.set_content(out, "application/x-ndjson");
}

// A PIM sync request document through the transport, on a context of the
// user's own: the document must name that user, else nothing runs (403). The
// sync caches live in this process between a run's requests.
void Service::pim(const httplib::Request &req, httplib::Response &res) {
  const std::optional<ServiceUser> user = authenticate(req, res);
  if (!user) return;
  const std::string type = mediaType(req);
  if (type != "application/xml" && type != "text/xml")
    return answerError(res, 415, "a sync request is an XML document: application/xml");
  std::u16string request;
  std::string error;
  if (!vyr::xml::decodeDocumentBytes(req.body, &request, &error)) return answerError(res, 400, error);
  struct Owner {
    LPBHVRCOM context;
    ~Owner() { vyr::freeContext(context); }
  } owner{vyr::createContext(contextSettings(userSettings(*user), database_), &error)};
  // Settings of the user's row that no longer pass are the installation's fault, not the client's.
  if (owner.context == nullptr) return answerError(res, 500, "bad setting: " + error);
  vyr::PimSyncOutcome outcome;
  {
    CallSlot slot(calls_);
    outcome = vyr::runPimSync(owner.context, request);
  }
  switch (outcome.status) {
    case vyr::PimSyncOutcome::Status::Ran:
      break;
    case vyr::PimSyncOutcome::Status::WrongUser:
      return answerError(res, 403, outcome.error);
    case vyr::PimSyncOutcome::Status::NoSyncFunction:
      return answerError(res, 404, outcome.error);
    case vyr::PimSyncOutcome::Status::BadRequest:
      return answerError(res, 400, outcome.error);
  }
  if (outcome.response.empty()) return answerError(res, 500, "the sync function answered no document");
  res.status = 200;
  res.set_content(vyr::toUtf8(outcome.response), "application/xml; charset=utf-8");
}

void Service::install(httplib::Server &server) {
  server.set_pre_routing_handler([](const httplib::Request &, httplib::Response &) {
    tNote = RequestNote{true, std::chrono::steady_clock::now(), {}};
    return httplib::Server::HandlerResponse::Unhandled;
  });
  server.Get("/v1/health", [](const httplib::Request &, httplib::Response &res) {
    answerJson(res, 200, {{"status", "ok"}, {"version", FAMOFLAS_VERSION}});
  });
  server.Get("/v1/functions", [this](const httplib::Request &req, httplib::Response &res) {
    if (!authenticate(req, res)) return;
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const BSFN_CATALOG_ENTRY *entry : vyr::allFunctions())
      list.push_back({{"function", entry->szFunction}, {"source", entry->szSource ? entry->szSource : ""}});
    answerJson(res, 200, list);
  });
  server.Get("/v1/functions/([^/]+)", [this](const httplib::Request &req, httplib::Response &res) {
    if (!authenticate(req, res)) return;
    const std::string name = req.matches[1];
    const BSFN_CATALOG_ENTRY *entry = vyr::findFunction(name);
    if (entry == nullptr) return answerError(res, 404, "unknown business function '" + name + "'");
    answerJson(res, 200, describeFunction(name, *entry));
  });
  server.Post("/v1/call/([^/]+)", [this](const httplib::Request &req, httplib::Response &res) { call(req, res); });
  server.Post("/v1/batch", [this](const httplib::Request &req, httplib::Response &res) { batch(req, res); });
  server.Post("/v1/pim", [this](const httplib::Request &req, httplib::Response &res) { pim(req, res); });
  server.Get("/v1/openapi.json", [this](const httplib::Request &req, httplib::Response &res) {
    if (!authenticate(req, res)) return;
    res.set_content(openapi_, "application/json");
  });
  server.Get("/metrics", [this](const httplib::Request &req, httplib::Response &res) {
    if (!authenticate(req, res)) return;
    res.set_content(metrics_.text(), "text/plain; version=0.0.4");
  });
  // Whatever answers an error without a body of its own gets a JSON one.
  server.set_error_handler(httplib::Server::HandlerWithResponse([](const httplib::Request &, httplib::Response &res) {
    if (!res.body.empty()) return httplib::Server::HandlerResponse::Unhandled;
    const char *why = res.status == 404   ? "no such endpoint"
                      : res.status == 413 ? "the body is over the size limit"
                      : res.status == 414 ? "the path is too long"
                                          : "bad request";
    answerError(res, res.status, why);
    return httplib::Server::HandlerResponse::Handled;
  }));
  server.set_exception_handler([](const httplib::Request &, httplib::Response &res, const std::exception_ptr &) {
    answerError(res, 500, "internal error");
  });
  // Counted before the answer is written, so that a client that has its
  // answer finds the request in the next /metrics it reads.
  server.set_post_routing_handler([this](const httplib::Request &req, httplib::Response &res) {
    metrics_.countRequest(endpointOf(req.path), res.status, secondsSinceHead());
  });
  server.set_logger([this](const httplib::Request &req, const httplib::Response &res) {
    const double seconds = secondsSinceHead();
    logLine({{"time", isoNow()},
             {"user", tNote.user.empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(tNote.user)},
             {"method", req.method},
             {"path", req.path},
             {"status", res.status},
             {"ms", static_cast<double>(static_cast<int64_t>(seconds * 1e6)) / 1e3}});
    tNote = RequestNote{};
  });
}

// Waits for SIGTERM or SIGINT (blocked in every thread, so they arrive here)
// and stops the server; a stop requested before it runs waits for it.
class StopOnSignal {
 public:
  explicit StopOnSignal(httplib::Server &server) : server_(server) {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGTERM);
    sigaddset(&signals_, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals_, &previous_);
    waiter_ = std::thread([this] { wait(); });
  }
  ~StopOnSignal() {
    finished_ = true;
    // Wakes the waiter's sigwait, where SIGTERM is blocked: nothing is terminated.
    pthread_kill(waiter_.native_handle(), SIGTERM);  // NOLINT(bugprone-bad-signal-to-kill-thread)
    waiter_.join();
    pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
  }
  StopOnSignal(const StopOnSignal &) = delete;
  StopOnSignal &operator=(const StopOnSignal &) = delete;

 private:
  void wait() {
    int signal = 0;
    sigwait(&signals_, &signal);
    if (finished_) return;
    logLine({{"time", isoNow()}, {"event", "stopping"}, {"signal", signal == SIGINT ? "SIGINT" : "SIGTERM"}});
    while (!server_.is_running() && !finished_) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    server_.stop();
  }

  httplib::Server &server_;
  sigset_t signals_{};
  sigset_t previous_{};
  std::atomic<bool> finished_{false};
  std::thread waiter_;
};

}  // namespace

bool isServeOption(std::string_view name) {
  return name == "--listen" || name == "--threads" || name == "--tls-cert" || name == "--tls-key" ||
         name == "--max-body";
}

void printServeHelp(std::ostream &out) {
  out << "Usage: famoflas serve [--listen HOST:PORT] [--threads N] [--tls-cert FILE --tls-key FILE]\n"
         "                      [--max-body SIZE] [--insecure] [--db LOCATION] [--setting KEY=VALUE]...\n\n"
         "Serves the business functions over HTTP until SIGTERM or SIGINT, then finishes the calls under way.\n"
         "  --listen HOST:PORT  address to listen on [127.0.0.1:8470]; port 0 takes a free port. The address\n"
         "                      bound is the first line on stderr; every request then logs a JSON line there.\n"
         "  --threads N         business functions running at once, each with one database connection\n"
         "                      [the number of cores]; connections are served by 8 x N threads (at least 32)\n"
         "  --tls-cert, --tls-key  serve HTTPS with this certificate chain and private key (PEM)\n"
         "  --max-body SIZE     largest request body, bytes or with K, M, G [16M]; larger ones get 413\n"
         "  --insecure          allow plain HTTP on an address other than loopback\n"
         "  --setting KEY=VALUE settings every call starts from; a user's own settings come on top\n\n"
         "Endpoints (HTTP Basic authentication as a user of famoflas user add; all but health):\n"
         "  GET  /v1/health                 no authentication\n"
         "  GET  /v1/functions              what famoflas list prints, as JSON\n"
         "  GET  /v1/functions/NAME         what famoflas describe NAME prints\n"
         "  POST /v1/call/NAME              {\"ds\": {...}} (application/json): the result of famoflas call\n"
         "  POST /v1/batch                  JSON lines of calls (application/x-ndjson), as famoflas batch\n"
         "  POST /v1/pim                    a PIM sync request document (application/xml) of the signed-on\n"
         "                                  user; the response document back, as famoflas sync prints it\n"
         "  GET  /v1/openapi.json           OpenAPI 3.0 document of every function\n"
         "  GET  /metrics                   Prometheus text format\n";
}

int runServeCommand(const std::vector<std::pair<std::string, std::string>> &pairs,
                    const std::vector<std::string> &positionals, const std::map<std::string, std::string> &settings,
                    const std::string &database) {
  if (!positionals.empty()) throw CommandError{"serve takes options only, got '" + positionals.front() + "'"};
  const ServeOptions options = parseOptions(pairs);
  const bool tls = !options.tlsCert.empty();
  if (!tls && !options.insecure && !isLoopback(options.host))
    throw CommandError{"refusing plain HTTP on " + options.host +
                       ", which is not a loopback address: give --tls-cert and --tls-key, or --insecure"};
  // A database that cannot be opened is said now, not at the first request.
  std::string error;
  const std::map<std::string, std::string> hostSettings = contextSettings(settings, database);
  const auto environment = settings.find("env");
  const auto location = hostSettings.find("env." + (environment == settings.end() ? "DEFAULT" : environment->second));
  if (location == hostSettings.end()) throw CommandError{"serve: no database location for the environment"};
  if (!vyr::db::initDatabase(location->second, &error)) throw CommandError{"serve: " + error};

  std::unique_ptr<httplib::Server> server;
  if (tls) {
    server = std::make_unique<httplib::SSLServer>(options.tlsCert.c_str(), options.tlsKey.c_str());
    if (!server->is_valid())
      throw CommandError{"serve: cannot use " + options.tlsCert + " and " + options.tlsKey +
                         " (a PEM certificate chain and its private key)"};
  } else {
    server = std::make_unique<httplib::Server>();
  }
  Service service(settings, database, options.threads);
  const size_t connections = std::clamp<size_t>(size_t{8} * options.threads, 32, 1024);
  server->new_task_queue = [connections] { return new httplib::ThreadPool(connections); };
  server->set_tcp_nodelay(true);
  server->set_payload_max_length(options.bodyLimit);
  server->set_read_timeout(kReadTimeout, 0);
  server->set_write_timeout(kWriteTimeout, 0);
  server->set_keep_alive_timeout(kKeepAliveTimeout);
  server->set_keep_alive_max_count(kKeepAliveRequests);
  service.install(*server);

  StopOnSignal stopper(*server);
  int port = options.port;
  if (port == 0) {
    port = server->bind_to_any_port(options.host);
  } else if (!server->bind_to_port(options.host, port)) {
    port = -1;
  }
  if (port < 0) throw CommandError{"serve: cannot listen on " + options.host + ":" + std::to_string(options.port)};
  const std::string host = options.host.find(':') != std::string::npos ? "[" + options.host + "]" : options.host;
  std::cerr << (tls ? "https://" : "http://") << host << ':' << port << std::endl;
  const bool listened = server->listen_after_bind();
  // Every worker has finished its request by now: the contexts are freed,
  // their handles closed and transactions ended.
  vyr::db::closeUnusedEnvironments();
  logLine({{"time", isoNow()}, {"event", "stopped"}});
  return listened ? 0 : 70;
}

}  // namespace famoflas
