#include "platform/winsock.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "platform/native/native_network.h"
#include "platform/native/time_sources.h"

namespace tarnex {
namespace {

// A descriptor closed on destruction.
class Fd {
 public:
  explicit Fd(int fd = -1) : fd_(fd) {}
  ~Fd() { Reset(); }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  int get() const { return fd_; }
  void Reset(int fd = -1) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
  }

 private:
  int fd_;
};

sockaddr_in Loopback(int port) {
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  addr.sin_port = htons(static_cast<uint16_t>(port));
  return addr;
}

int LocalPortOf(int fd) {
  sockaddr_in addr{};
  socklen_t len = sizeof addr;
  if (::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len) != 0) return -1;
  return ntohs(addr.sin_port);
}

// A plain client connected to 127.0.0.1:`port`, non-blocking once connected.
// The loopback handshake completes in the kernel before anyone accepts.
int RawConnect(int port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  const sockaddr_in addr = Loopback(port);
  if (::connect(fd, reinterpret_cast<const sockaddr*>(&addr), sizeof addr) != 0 ||
      ::fcntl(fd, F_SETFL, O_NONBLOCK) != 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

// Reads what is there without blocking. Returns false at end of stream.
bool RawRead(int fd, std::string& out) {
  char buffer[4096];
  for (;;) {
    const ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
    if (n > 0) {
      out.append(buffer, static_cast<size_t>(n));
      continue;
    }
    if (n == 0) return false;
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
  }
}

bool RawSend(int fd, const std::string& bytes) {
  return ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

// The loop runs on a paced virtual clock: 10 virtual ms of Wait let up to 1 real
// ms pass in poll, returning as soon as a socket is ready. Loopback traffic
// still hangs on the kernel's own timers at times (a delayed acknowledgement
// holding back a small second segment), so it needs real time to pass; a
// bounded number of turns gives it that.
class WinsockTest : public ::testing::Test {
 protected:
  static constexpr double kPace = 100;

  explicit WinsockTest(double speed = kPace) : clock_(CivilTime{2024, 3, 15, 12, 0, 0, 0}, speed) {}

  bool PumpUntil(const std::function<bool()>& done, int turns = 1000) {
    for (int i = 0; i < turns && !done(); ++i) loop_.Wait(10);
    return done();
  }

  // Makes `listener` listen on a port of the system's choosing and accept
  // each request on itself (Close then Accept).
  void ListenAndAcceptOnSelf(Winsock& listener) {
    listener.SetLocalPort(0);
    listener.OnConnectionRequest = [&listener](intptr_t id) {
      listener.Close();
      EXPECT_EQ(listener.Accept(id), 0);
    };
    ASSERT_EQ(listener.Listen(), 0);
    ASSERT_EQ(listener.state(), Winsock::kListening);
    ASSERT_GT(listener.BoundPort(), 0);
  }

  // Connects `client` to a listener that accepts on `server`; both connected.
  void ConnectPair(Winsock& server, Winsock& client) {
    ASSERT_NO_FATAL_FAILURE(ListenAndAcceptOnSelf(server));
    ASSERT_EQ(client.Connect("127.0.0.1", server.BoundPort()), 0);
    ASSERT_TRUE(PumpUntil([&] {
      return server.state() == Winsock::kConnected && client.state() == Winsock::kConnected;
    })) << "server "
        << server.state() << " client " << client.state();
  }

  VirtualTimeSource clock_;
  EventLoop loop_{clock_};
  NativeNetwork net_;
};

TEST_F(WinsockTest, NewControlIsClosed) {
  Winsock sock(loop_, net_);
  EXPECT_EQ(sock.state(), Winsock::kClosed);
  EXPECT_EQ(sock.LocalPort(), 0);
  EXPECT_EQ(sock.BoundPort(), 0);
  EXPECT_EQ(sock.BytesReceived(), 0u);
  EXPECT_EQ(sock.GetData(), "");
}

TEST_F(WinsockTest, ListenOnPortZeroLetsTheSystemChoose) {
  Winsock listener(loop_, net_);
  listener.SetLocalPort(0);
  ASSERT_EQ(listener.Listen(), 0);
  EXPECT_EQ(listener.state(), Winsock::kListening);
  EXPECT_EQ(listener.LocalPort(), 0);
  const int port = listener.BoundPort();
  EXPECT_GT(port, 0);
  EXPECT_LE(port, 65535);

  // Something really listens there.
  Fd client(RawConnect(port));
  EXPECT_GE(client.get(), 0);

  listener.Close();
  EXPECT_EQ(listener.state(), Winsock::kClosed);
  EXPECT_EQ(listener.BoundPort(), 0);
}

TEST_F(WinsockTest, ListenTwiceIsRefused) {
  Winsock listener(loop_, net_);
  ASSERT_EQ(listener.Listen(), 0);
  const int port = listener.BoundPort();
  EXPECT_EQ(listener.Listen(), Winsock::kErrInvalidArgument);
  EXPECT_EQ(listener.state(), Winsock::kListening);
  EXPECT_EQ(listener.BoundPort(), port);
}

TEST_F(WinsockTest, ListenOnAPortInUseFailsWithAddressInUse) {
  Winsock first(loop_, net_);
  ASSERT_EQ(first.Listen(), 0);
  Winsock second(loop_, net_);
  second.SetLocalPort(first.BoundPort());
  EXPECT_EQ(second.Listen(), Winsock::kErrAddressInUse);
  EXPECT_EQ(second.LastError(), Winsock::kErrAddressInUse);
  EXPECT_EQ(second.state(), Winsock::kClosed);
  EXPECT_EQ(second.BoundPort(), 0);
  EXPECT_EQ(first.state(), Winsock::kListening);
}

TEST_F(WinsockTest, ListenOnAPortOutOfRangeIsRefused) {
  Winsock listener(loop_, net_);
  listener.SetLocalPort(65536);
  EXPECT_EQ(listener.Listen(), Winsock::kErrInvalidArgument);
  EXPECT_EQ(listener.state(), Winsock::kClosed);
  listener.SetLocalPort(-1);
  EXPECT_EQ(listener.Listen(), Winsock::kErrInvalidArgument);
  EXPECT_EQ(listener.state(), Winsock::kClosed);
  EXPECT_EQ(listener.BoundPort(), 0);
}

TEST_F(WinsockTest, ControlClientConnectsAndListenerAcceptsOnItself) {
  Winsock listener(loop_, net_);
  ASSERT_NO_FATAL_FAILURE(ListenAndAcceptOnSelf(listener));
  const int port = listener.BoundPort();
  int requests = 0;
  auto accept_on_self = std::move(listener.OnConnectionRequest);
  listener.OnConnectionRequest = [&](intptr_t id) {
    ++requests;
    EXPECT_GE(id, 0);
    EXPECT_EQ(listener.state(), Winsock::kListening);
    accept_on_self(id);
  };

  Winsock client(loop_, net_);
  int connects = 0;
  client.OnConnect = [&] {
    ++connects;
    EXPECT_EQ(client.state(), Winsock::kConnected);
  };
  ASSERT_EQ(client.Connect("127.0.0.1", port), 0);
  EXPECT_EQ(client.state(), Winsock::kConnecting);
  EXPECT_EQ(client.RemoteHostIP(), "127.0.0.1");
  EXPECT_EQ(client.RemotePort(), port);

  ASSERT_TRUE(PumpUntil([&] {
    return listener.state() == Winsock::kConnected && client.state() == Winsock::kConnected;
  })) << "listener "
      << listener.state() << " client " << client.state();
  EXPECT_EQ(requests, 1);
  EXPECT_EQ(connects, 1);
  EXPECT_EQ(listener.RemoteHostIP(), "127.0.0.1");
  EXPECT_GT(listener.RemotePort(), 0);
  EXPECT_NE(listener.RemotePort(), port);
}

TEST_F(WinsockTest, RawClientIsAcceptedOnTheListener) {
  Winsock listener(loop_, net_);
  ASSERT_NO_FATAL_FAILURE(ListenAndAcceptOnSelf(listener));
  Fd client(RawConnect(listener.BoundPort()));
  ASSERT_GE(client.get(), 0);
  ASSERT_TRUE(PumpUntil([&] { return listener.state() == Winsock::kConnected; }));
  EXPECT_EQ(listener.RemoteHostIP(), "127.0.0.1");
  EXPECT_EQ(listener.RemotePort(), LocalPortOf(client.get()));
}

TEST_F(WinsockTest, RequestAcceptedOnAnotherControlLeavesTheListenerListening) {
  Winsock listener(loop_, net_);
  Winsock first(loop_, net_);
  Winsock second(loop_, net_);
  std::vector<Winsock*> free_controls = {&first, &second};
  listener.OnConnectionRequest = [&](intptr_t id) {
    ASSERT_FALSE(free_controls.empty());
    EXPECT_EQ(free_controls.front()->Accept(id), 0);
    free_controls.erase(free_controls.begin());
  };
  ASSERT_EQ(listener.Listen(), 0);

  Fd client1(RawConnect(listener.BoundPort()));
  Fd client2(RawConnect(listener.BoundPort()));
  ASSERT_GE(client1.get(), 0);
  ASSERT_GE(client2.get(), 0);
  ASSERT_TRUE(PumpUntil([&] {
    return first.state() == Winsock::kConnected && second.state() == Winsock::kConnected;
  }));
  EXPECT_EQ(listener.state(), Winsock::kListening);

  // Each accepted control talks to its own client.
  ASSERT_TRUE(RawSend(client1.get(), "one"));
  ASSERT_TRUE(RawSend(client2.get(), "two"));
  ASSERT_TRUE(PumpUntil([&] { return first.BytesReceived() == 3 && second.BytesReceived() == 3; }));
  const int port1 = LocalPortOf(client1.get());
  EXPECT_EQ(first.RemotePort() == port1 ? first.GetData() : second.GetData(), "one");
  EXPECT_EQ(first.RemotePort() == port1 ? second.GetData() : first.GetData(), "two");
}

TEST_F(WinsockTest, DataFlowsBothWays) {
  Winsock server(loop_, net_);
  Winsock client(loop_, net_);
  ASSERT_NO_FATAL_FAILURE(ConnectPair(server, client));

  std::vector<size_t> server_totals;
  server.OnDataArrival = [&](size_t total) {
    server_totals.push_back(total);
    EXPECT_EQ(total, server.BytesReceived());
  };
  std::vector<size_t> client_totals;
  client.OnDataArrival = [&](size_t total) { client_totals.push_back(total); };

  ASSERT_EQ(client.SendData("hello"), 0);
  ASSERT_TRUE(PumpUntil([&] { return server.BytesReceived() == 5; }));
  ASSERT_FALSE(server_totals.empty());
  EXPECT_EQ(server_totals.back(), 5u);
  EXPECT_EQ(server.GetData(), "hello");
  EXPECT_EQ(server.BytesReceived(), 0u);
  EXPECT_EQ(server.GetData(), "");

  ASSERT_EQ(server.SendData("world!"), 0);
  ASSERT_EQ(server.SendData(std::string("\0\xff", 2)), 0);
  ASSERT_TRUE(PumpUntil([&] { return client.BytesReceived() == 8; }));
  EXPECT_EQ(client.GetData(), std::string("world!\0\xff", 8));
  ASSERT_FALSE(client_totals.empty());
  EXPECT_EQ(client_totals.back(), 8u);

  // Unread data piles up until taken.
  ASSERT_EQ(client.SendData("ab"), 0);
  ASSERT_TRUE(PumpUntil([&] { return server.BytesReceived() == 2; }));
  ASSERT_EQ(client.SendData("cd"), 0);
  ASSERT_TRUE(PumpUntil([&] { return server.BytesReceived() == 4; }));
  EXPECT_EQ(server.GetData(), "abcd");
}

TEST_F(WinsockTest, DataFlowsBothWaysWithARawClient) {
  Winsock listener(loop_, net_);
  ASSERT_NO_FATAL_FAILURE(ListenAndAcceptOnSelf(listener));
  Fd client(RawConnect(listener.BoundPort()));
  ASSERT_GE(client.get(), 0);
  ASSERT_TRUE(PumpUntil([&] { return listener.state() == Winsock::kConnected; }));

  ASSERT_TRUE(RawSend(client.get(), "request"));
  ASSERT_TRUE(PumpUntil([&] { return listener.BytesReceived() == 7; }));
  EXPECT_EQ(listener.GetData(), "request");

  ASSERT_EQ(listener.SendData("reply"), 0);
  std::string got;
  ASSERT_TRUE(PumpUntil([&] {
    RawRead(client.get(), got);
    return got.size() >= 5;
  }));
  EXPECT_EQ(got, "reply");
}

TEST_F(WinsockTest, PeerCloseGivesClosingStateAndACloseEvent) {
  Winsock server(loop_, net_);
  Winsock client(loop_, net_);
  ASSERT_NO_FATAL_FAILURE(ConnectPair(server, client));
  std::vector<std::string> events;
  server.OnDataArrival = [&](size_t total) { events.push_back("data " + std::to_string(total)); };
  server.OnClose = [&] {
    events.push_back("close");
    EXPECT_EQ(server.state(), Winsock::kClosing);
  };

  ASSERT_EQ(client.SendData("bye"), 0);
  client.Close();
  EXPECT_EQ(client.state(), Winsock::kClosed);
  ASSERT_TRUE(PumpUntil([&] { return server.state() == Winsock::kClosing; }));
  EXPECT_EQ(events, (std::vector<std::string>{"data 3", "close"}));
  // The last bytes stay readable until the owner closes.
  EXPECT_EQ(server.GetData(), "bye");
  EXPECT_EQ(server.SendData("late"), Winsock::kErrWrongState);

  // Nothing more happens until the owner calls Close.
  loop_.Wait(1000);
  EXPECT_EQ(server.state(), Winsock::kClosing);
  EXPECT_EQ(events.size(), 2u);
  server.Close();
  EXPECT_EQ(server.state(), Winsock::kClosed);
}

TEST_F(WinsockTest, RawPeerCloseGivesClosingState) {
  Winsock listener(loop_, net_);
  ASSERT_NO_FATAL_FAILURE(ListenAndAcceptOnSelf(listener));
  int closes = 0;
  listener.OnClose = [&] { ++closes; };
  Fd client(RawConnect(listener.BoundPort()));
  ASSERT_GE(client.get(), 0);
  ASSERT_TRUE(PumpUntil([&] { return listener.state() == Winsock::kConnected; }));
  client.Reset();
  ASSERT_TRUE(PumpUntil([&] { return listener.state() == Winsock::kClosing; }));
  EXPECT_EQ(closes, 1);
}

TEST_F(WinsockTest, ServerCloseIsSeenByTheClient) {
  Winsock server(loop_, net_);
  Winsock client(loop_, net_);
  ASSERT_NO_FATAL_FAILURE(ConnectPair(server, client));
  int closes = 0;
  client.OnClose = [&] { ++closes; };
  server.Close();
  ASSERT_TRUE(PumpUntil([&] { return client.state() == Winsock::kClosing; }));
  EXPECT_EQ(closes, 1);
}

TEST_F(WinsockTest, SendDataWhenNotConnectedFails) {
  Winsock sock(loop_, net_);
  EXPECT_EQ(sock.SendData("x"), Winsock::kErrWrongState);
  EXPECT_EQ(sock.LastError(), Winsock::kErrWrongState);
  EXPECT_EQ(sock.state(), Winsock::kClosed);

  ASSERT_EQ(sock.Listen(), 0);
  EXPECT_EQ(sock.SendData("x"), Winsock::kErrWrongState);
  EXPECT_EQ(sock.state(), Winsock::kListening);

  Winsock client(loop_, net_);
  ASSERT_EQ(client.Connect("127.0.0.1", sock.BoundPort()), 0);
  ASSERT_EQ(client.state(), Winsock::kConnecting);
  EXPECT_EQ(client.SendData("x"), Winsock::kErrWrongState);
}

TEST_F(WinsockTest, RequestNotAcceptedIsRefused) {
  Winsock listener(loop_, net_);
  int requests = 0;
  listener.OnConnectionRequest = [&](intptr_t) { ++requests; };
  ASSERT_EQ(listener.Listen(), 0);
  Fd client(RawConnect(listener.BoundPort()));
  ASSERT_GE(client.get(), 0);

  ASSERT_TRUE(PumpUntil([&] { return requests == 1; }));
  std::string got;
  bool open = true;
  ASSERT_TRUE(PumpUntil([&] {
    open = open && RawRead(client.get(), got);
    return !open;
  }));
  EXPECT_EQ(got, "");
  EXPECT_EQ(listener.state(), Winsock::kListening);
}

TEST_F(WinsockTest, AcceptOnAListeningControlIsRefusedAndSoIsTheRequest) {
  Winsock listener(loop_, net_);
  int result = 0;
  listener.OnConnectionRequest = [&](intptr_t id) { result = listener.Accept(id); };
  ASSERT_EQ(listener.Listen(), 0);
  Fd client(RawConnect(listener.BoundPort()));
  ASSERT_GE(client.get(), 0);

  ASSERT_TRUE(PumpUntil([&] { return result != 0; }));
  EXPECT_EQ(result, Winsock::kErrInvalidArgument);
  EXPECT_EQ(listener.state(), Winsock::kListening);
  std::string got;
  bool open = true;
  EXPECT_TRUE(PumpUntil([&] {
    open = open && RawRead(client.get(), got);
    return !open;
  }));
}

TEST_F(WinsockTest, RequestIdCannotBeAcceptedAfterItsHandler) {
  Winsock listener(loop_, net_);
  intptr_t kept = -1;
  listener.OnConnectionRequest = [&](intptr_t id) { kept = id; };
  ASSERT_EQ(listener.Listen(), 0);
  Fd client(RawConnect(listener.BoundPort()));
  ASSERT_GE(client.get(), 0);
  ASSERT_TRUE(PumpUntil([&] { return kept >= 0; }));

  // The request was refused when the handler returned.
  Winsock late(loop_, net_);
  EXPECT_EQ(late.Accept(kept), Winsock::kErrInvalidArgument);
  EXPECT_EQ(late.state(), Winsock::kClosed);
  EXPECT_EQ(late.Accept(-1), Winsock::kErrInvalidArgument);
  EXPECT_EQ(late.state(), Winsock::kClosed);
}

TEST_F(WinsockTest, NestedRequestOnAnotherListenerLeavesAnAcceptedOneAlone) {
  Winsock outer(loop_, net_);
  Winsock inner(loop_, net_);
  Winsock outer_conn(loop_, net_);
  Winsock inner_conn(loop_, net_);
  ASSERT_EQ(inner.Listen(), 0);
  inner.OnConnectionRequest = [&](intptr_t id) { EXPECT_EQ(inner_conn.Accept(id), 0); };

  Fd inner_client;
  outer.OnConnectionRequest = [&](intptr_t id) {
    EXPECT_EQ(outer_conn.Accept(id), 0);
    // While this handler still runs, a request reaches the other listener and
    // is accepted there.
    inner_client.Reset(RawConnect(inner.BoundPort()));
    ASSERT_GE(inner_client.get(), 0);
    EXPECT_TRUE(PumpUntil([&] { return inner_conn.state() == Winsock::kConnected; }));
  };
  ASSERT_EQ(outer.Listen(), 0);
  Fd outer_client(RawConnect(outer.BoundPort()));
  ASSERT_GE(outer_client.get(), 0);

  ASSERT_TRUE(PumpUntil([&] {
    return outer_conn.state() == Winsock::kConnected && inner_conn.state() == Winsock::kConnected;
  }));
  // Both accepted connections still carry data.
  ASSERT_TRUE(RawSend(outer_client.get(), "outer"));
  ASSERT_TRUE(RawSend(inner_client.get(), "inner"));
  EXPECT_TRUE(PumpUntil(
      [&] { return outer_conn.BytesReceived() == 5 && inner_conn.BytesReceived() == 5; }));
  EXPECT_EQ(outer_conn.GetData(), "outer");
  EXPECT_EQ(inner_conn.GetData(), "inner");
  EXPECT_EQ(outer_conn.state(), Winsock::kConnected);
}

TEST_F(WinsockTest, ConnectWithNoListenerGivesError10061) {
  // A bound port nobody listens on: connections to it are refused.
  Fd bound(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  ASSERT_GE(bound.get(), 0);
  const sockaddr_in addr = Loopback(0);
  ASSERT_EQ(::bind(bound.get(), reinterpret_cast<const sockaddr*>(&addr), sizeof addr), 0);
  const int port = LocalPortOf(bound.get());
  ASSERT_GT(port, 0);

  Winsock client(loop_, net_);
  std::vector<int> errors;
  client.OnError = [&](int number, const std::string& description) {
    errors.push_back(number);
    EXPECT_FALSE(description.empty());
  };
  int connects = 0;
  client.OnConnect = [&] { ++connects; };
  ASSERT_EQ(client.Connect("127.0.0.1", port), 0);
  ASSERT_TRUE(PumpUntil([&] { return client.state() == Winsock::kError; }));
  EXPECT_EQ(errors, std::vector<int>{Winsock::kErrConnectionRefused});
  EXPECT_EQ(client.LastError(), Winsock::kErrConnectionRefused);
  EXPECT_EQ(connects, 0);

  // Nothing more arrives, and Close brings the control back.
  loop_.Wait(1000);
  EXPECT_EQ(errors.size(), 1u);
  client.Close();
  EXPECT_EQ(client.state(), Winsock::kClosed);
}

TEST_F(WinsockTest, ConnectToAPortOutOfRangeIsRefused) {
  Winsock client(loop_, net_);
  EXPECT_EQ(client.Connect("127.0.0.1", 65536), Winsock::kErrInvalidArgument);
  EXPECT_EQ(client.state(), Winsock::kClosed);
  EXPECT_EQ(client.Connect("127.0.0.1", -1), Winsock::kErrInvalidArgument);
  EXPECT_EQ(client.state(), Winsock::kClosed);
}

TEST_F(WinsockTest, CloseThenListenOnTheSamePortRearmsTheListener) {
  Winsock listener(loop_, net_);
  Winsock client(loop_, net_);
  ASSERT_NO_FATAL_FAILURE(ConnectPair(listener, client));
  const int port = client.RemotePort();
  ASSERT_GT(port, 0);

  // The server side closes first, which leaves its end of the connection in
  // TIME_WAIT on the listening port.
  listener.Close();
  ASSERT_TRUE(PumpUntil([&] { return client.state() == Winsock::kClosing; }));
  client.Close();
  for (int i = 0; i < 10; ++i) loop_.Wait(10);

  listener.SetLocalPort(port);
  ASSERT_EQ(listener.Listen(), 0);
  EXPECT_EQ(listener.state(), Winsock::kListening);
  EXPECT_EQ(listener.BoundPort(), port);

  ASSERT_EQ(client.Connect("127.0.0.1", port), 0);
  ASSERT_TRUE(PumpUntil([&] {
    return listener.state() == Winsock::kConnected && client.state() == Winsock::kConnected;
  }));
  ASSERT_EQ(client.SendData("again"), 0);
  ASSERT_TRUE(PumpUntil([&] { return listener.BytesReceived() == 5; }));
  EXPECT_EQ(listener.GetData(), "again");
}

// The virtual clock at "max" speed: the loop's poll never blocks and time
// jumps ahead whenever no socket is ready. Loopback delivery happens within the
// sending call, so one write each way needs no real time to pass.
class WinsockMaxSpeedTest : public WinsockTest {
 protected:
  WinsockMaxSpeedTest() : WinsockTest(0) {}
};

TEST_F(WinsockMaxSpeedTest, ConnectExchangeAndCloseAtMaxSpeed) {
  Winsock server(loop_, net_);
  Winsock client(loop_, net_);
  ASSERT_NO_FATAL_FAILURE(ConnectPair(server, client));
  ASSERT_EQ(client.SendData("status?"), 0);
  ASSERT_TRUE(PumpUntil([&] { return server.BytesReceived() == 7; }));
  EXPECT_EQ(server.GetData(), "status?");
  ASSERT_EQ(server.SendData("running"), 0);
  ASSERT_TRUE(PumpUntil([&] { return client.BytesReceived() == 7; }));
  EXPECT_EQ(client.GetData(), "running");
  server.Close();
  ASSERT_TRUE(PumpUntil([&] { return client.state() == Winsock::kClosing; }));
}

std::string Pattern(size_t size, unsigned seed) {
  std::string out(size, '\0');
  unsigned x = seed;
  for (char& c : out) {
    x = x * 1103515245u + 12345u;
    c = static_cast<char>(x >> 16);
  }
  return out;
}

TEST_F(WinsockTest, LargeSendsArriveWholeInBothDirections) {
  Winsock server(loop_, net_);
  Winsock client(loop_, net_);
  ASSERT_NO_FATAL_FAILURE(ConnectPair(server, client));
  const std::string down = Pattern(1 << 20, 1);
  const std::string up = Pattern(1 << 20, 2);

  ASSERT_EQ(server.SendData(down), 0);
  ASSERT_EQ(client.SendData(up), 0);
  ASSERT_TRUE(PumpUntil(
      [&] { return client.BytesReceived() >= down.size() && server.BytesReceived() >= up.size(); },
      5000))
      << client.BytesReceived() << " " << server.BytesReceived();
  EXPECT_TRUE(client.GetData() == down);
  EXPECT_TRUE(server.GetData() == up);
  EXPECT_EQ(server.state(), Winsock::kConnected);
  EXPECT_EQ(client.state(), Winsock::kConnected);
}

TEST_F(WinsockTest, LargeSendArrivesWholeAtARawClient) {
  Winsock listener(loop_, net_);
  ASSERT_NO_FATAL_FAILURE(ListenAndAcceptOnSelf(listener));
  Fd client(RawConnect(listener.BoundPort()));
  ASSERT_GE(client.get(), 0);
  ASSERT_TRUE(PumpUntil([&] { return listener.state() == Winsock::kConnected; }));

  const std::string big = Pattern(1 << 20, 3);
  ASSERT_EQ(listener.SendData(big), 0);
  std::string got;
  ASSERT_TRUE(PumpUntil(
      [&] {
        RawRead(client.get(), got);
        return got.size() >= big.size();
      },
      5000));
  EXPECT_TRUE(got == big);
}

}  // namespace
}  // namespace tarnex
