// An HTTP server that runs inside the event loop, on its one thread: the
// operator console's transport. A request is answered at once by the
// handler, or turned into a stream that the server keeps open and the
// program writes to as it goes (Server-Sent Events).
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tarnex {

struct HttpRequest {
  std::string method;  // "GET", "POST" ...
  std::string path;    // without the query
  std::map<std::string, std::string> query;
  std::map<std::string, std::string> headers;  // names in lower case
  std::string body;
  // The header's value, or "" when the request has none.
  std::string Header(const std::string& lower_name) const {
    const auto it = headers.find(lower_name);
    return it == headers.end() ? std::string() : it->second;
  }
};

// The open end of a streamed response. Text sent waits in the stream's own
// buffer until the client reads it; a client that lets more than the bound
// pile up is dropped, and the stream closes.
class HttpStream {
 public:
  virtual ~HttpStream() = default;
  // False when the stream is closed (the client left, or was dropped).
  virtual bool Send(const std::string& text) = 0;
  virtual bool Open() const = 0;
  // Bytes sent but not yet taken by the client's connection.
  virtual size_t Pending() const = 0;
};

struct HttpResponse {
  int status = 200;
  std::string content_type = "text/plain; charset=utf-8";
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  // Set, the response is a stream instead of `body`: it is handed the stream
  // once the server has it.
  std::function<void(std::shared_ptr<HttpStream>)> stream;
};

class HttpServer {
 public:
  using Handler = std::function<void(const HttpRequest&, HttpResponse&)>;
  // The most a request body may hold; a larger one is refused (413).
  static constexpr size_t kMaxBody = 1 << 20;
  // The most a stream keeps waiting for its client.
  static constexpr size_t kStreamBound = 256 * 1024;

  virtual ~HttpServer() = default;
  // Listens on `host` (a numeric IPv4 or IPv6 address) and `port` (0: any
  // free port). "" when it listens, else what went wrong.
  virtual std::string Listen(const std::string& host, int port, Handler handler) = 0;
  // The port it listens on; 0 before Listen.
  virtual int Port() const = 0;
};

}  // namespace tarnex
