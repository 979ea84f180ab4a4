// A small blocking HTTP/1.0 client for the operator console's own shell:
// one request on a fresh connection, the answer read to its end.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tarnex {

struct HttpReply {
  int status = 0;                              // 0 when no answer came; `error` says why
  std::map<std::string, std::string> headers;  // names in lower case
  std::string body;
  std::string error;
};

struct HttpCall {
  std::string address;  // "http://HOST:PORT", an IPv6 host in brackets
  std::string method = "GET";
  std::string target = "/";  // the path and the query
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  // Given, the body goes to it piece by piece as it comes, instead of into
  // the reply; it returns false to stop reading.
  std::function<bool(const std::string&)> on_body;
  // The longest wait for the next bytes, in milliseconds.
  int idle_ms = 30000;
};

HttpReply HttpFetch(const HttpCall& call);

// An `on_body` that cuts a stream of server-sent events into its events and
// gives each one that carries data its name and data; `on_event` returns
// false to stop reading.
std::function<bool(const std::string&)> EventStreamReader(
    std::function<bool(const std::string& event, const std::string& data)> on_event);

}  // namespace tarnex
