// The cost of one sampling cycle with five monitors connected to the link,
// beside the same cycle with none: building the frame is done either way,
// sending it five times is the difference.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <vector>

#include "bench_app.h"

namespace {

constexpr const char* kScenario = R"({
  "start": "2012-11-14 10:00:00",
  "env": {"WinDIR": "C:\\Windows", "COMPUTERNAME": "SRV1", "NUMBER_OF_PROCESSORS": "2"},
  "counters": {"\\Processor(0)\\% Idle Time": 50}
})";

int Dial(int port) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  a.sin_port = htons(static_cast<uint16_t>(port));
  if (connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

void Drain(int fd) {
  char buffer[65536];
  while (recv(fd, buffer, sizeof buffer, MSG_DONTWAIT) > 0) {
  }
}

void BM_CycleWithMonitors(benchmark::State& state) {
  const int monitors = static_cast<int>(state.range(0));
  // The slots of port "0" listen, after start-up's cycle, on ports the
  // system picked.
  BenchApp bench(kScenario);
  auto& app = bench.app();
  std::vector<int> fds;
  for (int i = 0; i < monitors; ++i) {
    const int fd = Dial(app.Listener(i).BoundPort());
    if (fd >= 0) fds.push_back(fd);
  }
  for (int turn = 0; turn < 100; ++turn) {
    bool all = true;
    for (int i = 0; i < monitors; ++i) {
      all = all && app.Listener(i).state() == tarnex::Winsock::kConnected;
    }
    if (all) break;
    app.loop().DoEvents();
  }
  int connected = 0;
  for (int i = 0; i < 5; ++i) {
    connected += app.Listener(i).state() == tarnex::Winsock::kConnected ? 1 : 0;
  }
  for (auto _ : state) {
    app.Timer1();
    state.PauseTiming();
    for (int fd : fds) Drain(fd);
    state.ResumeTiming();
  }
  state.counters["connected"] = connected;
  state.counters["frame_bytes"] = static_cast<double>(app.model().StatusFrame.size());
  for (int fd : fds) close(fd);
}
BENCHMARK(BM_CycleWithMonitors)->Arg(0)->Arg(5)->MeasureProcessCPUTime()->UseRealTime();

}  // namespace
