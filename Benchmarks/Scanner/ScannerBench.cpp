// SPDX-License-Identifier: GPL-3.0-or-later
// The cost of looking for web services: listing the sockets of this machine, and a whole scan of 100 ports
// that answer a page of 8 KB. The servers are a process of their own, so that the processor time is the
// scanner's alone.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <QuorlHostCore/Concurrency/PoolScheduler.h>
#include <QuorlHostCore/Scanner/ServiceScanner.h>
#include <QuorlHostLinux/Sockets/KernelListeningSockets.h>
#include <QuorlHostPosix/SocketNetwork.h>

namespace {

using namespace quorl;

constexpr int serviceCount = 100;
constexpr std::size_t pageBytes = 8'000;

// Answers one page to every connection and closes it.
void serve(const std::vector<int>& listeners) {
  std::string answer =
      "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(pageBytes) + "\r\n\r\n<title>Page</title>";
  answer.resize(answer.find("<title>") + pageBytes, ' ');
  const int poll = epoll_create1(0);
  for (const int listener : listeners) {
    epoll_event event{.events = EPOLLIN, .data = {.fd = listener}};
    epoll_ctl(poll, EPOLL_CTL_ADD, listener, &event);
  }
  std::array<char, 4096> request;
  for (;;) {
    epoll_event event{};
    if (epoll_wait(poll, &event, 1, -1) != 1) continue;
    const int connection = accept(event.data.fd, nullptr, nullptr);
    if (recv(connection, request.data(), request.size(), 0) > 0)
      (void)!send(connection, answer.data(), answer.size(), MSG_NOSIGNAL);
    shutdown(connection, SHUT_WR);
    while (recv(connection, request.data(), request.size(), 0) > 0) {
    }
    close(connection);
  }
}

/// 100 web services in a child process, which ends with this one.
class WebServices {
 public:
  WebServices() {
    std::vector<int> listeners;
    for (int number = 0; number < serviceCount; ++number) {
      listeners.push_back(socket(AF_INET, SOCK_STREAM, 0));
      sockaddr_in address{
          .sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
      socklen_t size = sizeof address;
      auto* const generic = reinterpret_cast<sockaddr*>(&address);
      if (bind(listeners.back(), generic, size) != 0 || listen(listeners.back(), 16) != 0 ||
          getsockname(listeners.back(), generic, &size) != 0)
        std::abort();
      ports.insert(ntohs(address.sin_port));
    }
    pid_ = fork();
    if (pid_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      serve(listeners);
    }
    for (const int listener : listeners) close(listener);
  }
  WebServices(const WebServices&) = delete;
  WebServices& operator=(const WebServices&) = delete;
  ~WebServices() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }

  std::set<std::uint16_t> ports;

 private:
  pid_t pid_ = -1;
};

WebServices& webServices() {
  static WebServices services;
  return services;
}

double processorSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void listAgain(benchmark::State& state) {
  webServices();
  KernelListeningSockets sockets;
  for (auto _ : state) benchmark::DoNotOptimize(sockets.list());
}
BENCHMARK(listAgain)->Unit(benchmark::kMillisecond);

void listWithASearchOfAllProcesses(benchmark::State& state) {
  webServices();
  for (auto _ : state) benchmark::DoNotOptimize(KernelListeningSockets().list());
}
BENCHMARK(listWithASearchOfAllProcesses)->Unit(benchmark::kMillisecond);

// Each scan is the first one of a new scanner, so that it searches the processes. The two seconds before it
// are not part of the time; an idle scanner uses no processor.
void scanOf100Ports(benchmark::State& state) {
  PoolScheduler scheduler;
  const auto network = std::make_shared<SocketNetwork>();
  double processor = 0;
  for (auto _ : state) {
    const auto scanner =
        std::make_shared<ServiceScanner>(scheduler, std::make_shared<KernelListeningSockets>(), network,
                                         ServiceScanner::Ports{.own = {}, .only = webServices().ports});
    std::promise<std::size_t> found;
    scanner->setOnChange([&](const ServiceScanner::Services& list) { found.set_value(list.size()); });
    const double before = processorSeconds();
    const auto start = scheduler.now() + ServiceScanner::firstScan;
    scanner->start();
    if (found.get_future().get() != serviceCount) state.SkipWithError("not all services were found");
    state.SetIterationTime(std::chrono::duration<double>(scheduler.now() - start).count());
    processor += processorSeconds() - before;
    scanner->stop();
  }
  state.counters["processor_ms"] = benchmark::Counter(processor * 1e3, benchmark::Counter::kAvgIterations);
}
BENCHMARK(scanOf100Ports)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(5);

}  // namespace

// The servers are forked before there are threads.
int main(int count, char** arguments) {
  webServices();
  benchmark::Initialize(&count, arguments);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
