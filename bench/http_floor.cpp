// The floor under famoflas serve for scripts/bench-serve: a bare cpp-httplib
// server, TCP_NODELAY set, that parses a small JSON body and answers 300
// bytes. It prints its address on the first line of stderr and serves until
// it is killed; wrk measures it beside the service in the same run.
#include <httplib.h>

#include <iostream>
#include <string>

#include <nlohmann/json.hpp>

int main() {
  httplib::Server server;
  server.set_tcp_nodelay(true);
  server.set_keep_alive_max_count(100);
  const std::string answer(300, 'x');
  server.Post("/echo", [&](const httplib::Request &req, httplib::Response &res) {
    const nlohmann::json body = nlohmann::json::parse(req.body, nullptr, false);
    if (body.is_discarded()) {
      res.status = 400;
      return;
    }
    res.set_content(answer, "application/json");
  });
  const int port = server.bind_to_any_port("127.0.0.1");
  if (port < 0) return 1;
  std::cerr << "http://127.0.0.1:" << port << std::endl;
  return server.listen_after_bind() ? 0 : 1;
}
