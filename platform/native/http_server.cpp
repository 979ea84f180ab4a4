#include "platform/native/http_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>

#include "platform/native/native_network.h"

namespace tarnex {

namespace {

// Connections without activity for this long are closed, a stream whose
// client stopped reading among them.
constexpr unsigned kIdleSeconds = 30;
constexpr unsigned kMaxConnections = 64;
constexpr size_t kStreamBlock = 16 * 1024;

class NativeStream;

// What one request carries between the calls of the access handler.
struct RequestState {
  std::string body;
  bool too_large = false;
};

class NativeHttpServer : public HttpServer {
 public:
  explicit NativeHttpServer(EventLoop& loop) : loop_(loop) {}
  ~NativeHttpServer() override;

  std::string Listen(const std::string& host, int port, Handler handler) override;
  int Port() const override { return port_; }

  void Forget(NativeStream* stream) { streams_.erase(stream); }
  // A resumed connection is served at the next turn of the loop.
  void Soon() {
    if (daemon_ == nullptr || running_) return;
    loop_.SetTimerInterval(timer_, 1);
    loop_.SetTimerEnabled(timer_, true);
  }

 private:
  static MHD_Result Access(void* cls, MHD_Connection* connection, const char* url,
                           const char* method, const char* version, const char* upload_data,
                           size_t* upload_data_size, void** con_cls);
  static void Completed(void* cls, MHD_Connection* connection, void** con_cls,
                        MHD_RequestTerminationCode toe);
  MHD_Result Answer(MHD_Connection* connection, const char* url, const char* method,
                    RequestState& state);
  // Lets the daemon do what is ready, then sets the timer to its next time-out.
  void Run();

  EventLoop& loop_;
  Handler handler_;
  MHD_Daemon* daemon_ = nullptr;
  int listen_fd_ = -1;
  int watch_ = 0;
  int timer_ = 0;
  int port_ = 0;
  bool running_ = false;
  std::set<NativeStream*> streams_;
};

class NativeStream : public HttpStream {
 public:
  NativeStream(NativeHttpServer& server, MHD_Connection* connection)
      : server_(&server), connection_(connection) {}

  bool Send(const std::string& text) override {
    if (!open_) return false;
    if (buffer_.size() + text.size() > HttpServer::kStreamBound) {
      // The client has stopped reading: it is dropped.
      open_ = false;
      buffer_.clear();
      Wake();
      return false;
    }
    buffer_ += text;
    Wake();
    return true;
  }
  bool Open() const override { return open_; }
  size_t Pending() const override { return buffer_.size(); }

  // The daemon asks for the next bytes of the response.
  ssize_t Read(char* out, size_t max) {
    if (!open_) return MHD_CONTENT_READER_END_WITH_ERROR;
    if (buffer_.empty()) {
      // Nothing to write: the connection sleeps until the next Send.
      MHD_suspend_connection(connection_);
      suspended_ = true;
      return 0;
    }
    const size_t n = std::min(max, buffer_.size());
    std::memcpy(out, buffer_.data(), n);
    buffer_.erase(0, n);
    return static_cast<ssize_t>(n);
  }
  // The daemon is done with the response: the connection is gone.
  void Finished() {
    open_ = false;
    buffer_.clear();
    connection_ = nullptr;
    if (server_ != nullptr) server_->Forget(this);
    server_ = nullptr;
  }
  // The server goes away first.
  void Close() {
    open_ = false;
    buffer_.clear();
    Wake();
    server_ = nullptr;
  }

 private:
  void Wake() {
    if (suspended_ && connection_ != nullptr) {
      suspended_ = false;
      MHD_resume_connection(connection_);
      if (server_ != nullptr) server_->Soon();
    }
  }

  NativeHttpServer* server_;
  MHD_Connection* connection_;
  std::string buffer_;
  bool open_ = true;
  bool suspended_ = false;
};

// The daemon's hold on a stream: the stream lives as long as its response or
// as the program's handle on it, whichever is longer.
struct StreamHold {
  std::shared_ptr<NativeStream> stream;
};

ssize_t ReadStream(void* cls, uint64_t /*pos*/, char* buf, size_t max) {
  return static_cast<StreamHold*>(cls)->stream->Read(buf, max);
}

void FreeStream(void* cls) {
  auto* hold = static_cast<StreamHold*>(cls);
  hold->stream->Finished();
  delete hold;
}

MHD_Result CollectValue(void* cls, MHD_ValueKind kind, const char* key, const char* value) {
  auto& out = *static_cast<std::map<std::string, std::string>*>(cls);
  std::string name = key == nullptr ? "" : key;
  if (kind == MHD_HEADER_KIND) {
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  }
  out[name] = value == nullptr ? "" : value;
  return MHD_YES;
}

std::string Problem(const std::string& host, int port, int error) {
  return "cannot listen on " + host + ":" + std::to_string(port) + ": " + std::strerror(error);
}

}  // namespace

NativeHttpServer::~NativeHttpServer() {
  if (timer_ != 0) loop_.RemoveTimer(timer_);
  if (watch_ != 0) loop_.Unwatch(watch_);
  if (daemon_ != nullptr) {
    // Streams still open are woken to end, so that no connection is left
    // asleep when the daemon stops.
    const auto streams = streams_;
    for (NativeStream* s : streams) s->Close();
    streams_.clear();
    MHD_run(daemon_);
    MHD_stop_daemon(daemon_);
  }
  if (listen_fd_ >= 0) close(listen_fd_);
}

std::string NativeHttpServer::Listen(const std::string& host, int port, Handler handler) {
  if (daemon_ != nullptr) return "the server listens already";
  sockaddr_storage address{};
  socklen_t length = 0;
  if (!NumericSocketAddress(host, port, address, length)) {
    return "cannot listen on " + host + ":" + std::to_string(port) +
           ": the host must be a numeric IPv4 or IPv6 address";
  }
  const bool v6 = address.ss_family == AF_INET6;
  const int fd = socket(address.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) return Problem(host, port, errno);
  const int one = 1;
  setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof(one));
  if (v6) setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &one, sizeof(one));
  if (bind(fd, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(fd, 32) != 0) {
    const int error = errno;
    close(fd);
    return Problem(host, port, error);
  }
  sockaddr_storage bound{};
  socklen_t bound_length = sizeof(bound);
  getsockname(fd, reinterpret_cast<sockaddr*>(&bound), &bound_length);
  port_ = ntohs(v6 ? reinterpret_cast<sockaddr_in6*>(&bound)->sin6_port
                   : reinterpret_cast<sockaddr_in*>(&bound)->sin_port);

  unsigned flags = MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME;
  if (v6) flags |= MHD_USE_IPv6;
  daemon_ = MHD_start_daemon(
      flags, 0, nullptr, nullptr, &NativeHttpServer::Access, this, MHD_OPTION_LISTEN_SOCKET, fd,
      MHD_OPTION_CONNECTION_TIMEOUT, kIdleSeconds, MHD_OPTION_CONNECTION_LIMIT, kMaxConnections,
      MHD_OPTION_NOTIFY_COMPLETED, &NativeHttpServer::Completed, this, MHD_OPTION_END);
  if (daemon_ == nullptr) {
    close(fd);
    port_ = 0;
    return "cannot start the HTTP server on " + host + ":" + std::to_string(port);
  }
  listen_fd_ = fd;
  handler_ = std::move(handler);
  const MHD_DaemonInfo* info = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_EPOLL_FD);
  timer_ = loop_.AddTimer([this] { Run(); });
  watch_ = loop_.WatchFd(info->epoll_fd, POLLIN, [this](short) { Run(); });
  Run();
  return {};
}

void NativeHttpServer::Run() {
  // A handler that waits lets the loop turn; the daemon is not entered twice.
  if (running_ || daemon_ == nullptr) return;
  running_ = true;
  MHD_run(daemon_);
  running_ = false;
  MHD_UNSIGNED_LONG_LONG ms = 0;
  if (MHD_get_timeout(daemon_, &ms) == MHD_YES) {
    const int64_t interval = ms < 1 ? 1 : (ms > 60000 ? 60000 : static_cast<int64_t>(ms));
    loop_.SetTimerInterval(timer_, interval);
    loop_.SetTimerEnabled(timer_, true);
  } else {
    loop_.SetTimerEnabled(timer_, false);
  }
}

MHD_Result NativeHttpServer::Access(void* cls, MHD_Connection* connection, const char* url,
                                    const char* method, const char* /*version*/,
                                    const char* upload_data, size_t* upload_data_size,
                                    void** con_cls) {
  auto* self = static_cast<NativeHttpServer*>(cls);
  if (*con_cls == nullptr) {
    *con_cls = new RequestState;
    return MHD_YES;
  }
  auto& state = *static_cast<RequestState*>(*con_cls);
  if (*upload_data_size != 0) {
    if (state.body.size() + *upload_data_size > kMaxBody) {
      state.too_large = true;
    } else if (!state.too_large) {
      state.body.append(upload_data, *upload_data_size);
    }
    *upload_data_size = 0;
    return MHD_YES;
  }
  return self->Answer(connection, url, method, state);
}

void NativeHttpServer::Completed(void*, MHD_Connection*, void** con_cls,
                                 MHD_RequestTerminationCode) {
  delete static_cast<RequestState*>(*con_cls);
  *con_cls = nullptr;
}

MHD_Result NativeHttpServer::Answer(MHD_Connection* connection, const char* url, const char* method,
                                    RequestState& state) {
  HttpRequest request;
  request.method = method == nullptr ? "" : method;
  request.path = url == nullptr ? "" : url;
  MHD_get_connection_values(connection, MHD_HEADER_KIND, &CollectValue, &request.headers);
  MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND, &CollectValue, &request.query);
  request.body = std::move(state.body);

  HttpResponse response;
  if (state.too_large) {
    response.status = 413;
  } else {
    try {
      handler_(request, response);
    } catch (...) {
      response = HttpResponse{};
      response.status = 500;
    }
  }

  MHD_Response* r = nullptr;
  std::shared_ptr<NativeStream> stream;
  if (response.stream) {
    stream = std::make_shared<NativeStream>(*this, connection);
    r = MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kStreamBlock, &ReadStream,
                                          new StreamHold{stream}, &FreeStream);
  } else {
    r = MHD_create_response_from_buffer(response.body.size(), response.body.data(),
                                        MHD_RESPMEM_MUST_COPY);
  }
  if (r == nullptr) return MHD_NO;
  if (!response.content_type.empty()) {
    MHD_add_response_header(r, MHD_HTTP_HEADER_CONTENT_TYPE, response.content_type.c_str());
  }
  for (const auto& [name, value] : response.headers) {
    MHD_add_response_header(r, name.c_str(), value.c_str());
  }
  const MHD_Result queued =
      MHD_queue_response(connection, static_cast<unsigned>(response.status), r);
  MHD_destroy_response(r);
  if (stream) {
    streams_.insert(stream.get());
    response.stream(stream);
  }
  return queued;
}

std::unique_ptr<HttpServer> NewNativeHttpServer(EventLoop& loop) {
  return std::make_unique<NativeHttpServer>(loop);
}

bool NativeRandomBytes(std::string& out, size_t size) {
  out.assign(size, '\0');
  size_t got = 0;
  while (got < size) {
    const ssize_t n = getrandom(out.data() + got, size - got, 0);
    if (n < 0) {
      if (errno == EINTR) continue;
      out.clear();
      return false;
    }
    got += static_cast<size_t>(n);
  }
  return true;
}

}  // namespace tarnex
