// SPDX-License-Identifier: GPL-3.0-or-later
// The relay beside other proxies, in turns: direct, this host's relay, nginx, HAProxy, a bare pipe.
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>

#include "../Support/Program.h"
#include "Backend.h"
#include "Load.h"
#include "Sockets.h"

namespace {

using namespace quorl::bench;
using std::chrono::milliseconds;

constexpr std::string_view token = "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=";

void writeFile(const std::string& path, const std::string& text) {
  std::ofstream(path) << text;
}

struct Peer {
  std::string name;
  std::unique_ptr<Program> program;
  Target target;
};

Peer startHost(const std::string& program, const std::string& folder, std::uint16_t backend) {
  const std::string support = folder + "/data/QuorlHost";
  std::filesystem::create_directories(support);
  writeFile(support + "/trust.json",
            fmt::format(R"([{{"addedAt":0,"deviceID":"00000000-0000-0000-0000-000000000001","name":"bench",)"
                        R"("tokenBase64":"{}"}}])",
                        token));
  writeFile(
      support + "/custom-services.json",
      fmt::format(R"([{{"id":"00000000-0000-0000-0000-000000000002","name":"bench","port":{}}}])", backend));
  const std::uint16_t relay = freePort();
  return {"relay",
          std::make_unique<Program>(
              std::vector<std::string>{program},
              std::vector<std::string>{"HOME=" + folder, "XDG_DATA_HOME=" + folder + "/data",
                                       "DISPLAY=", "QUORL_HOST_PORT=" + std::to_string(freePort()),
                                       "QUORL_RELAY_PORT=" + std::to_string(relay)},
              folder + "/host.log"),
          {relay, "/p/" + std::to_string(backend), fmt::format("x-quorl-token: {}\r\n", token)}};
}

enum class Reuse { no, yes };  // of the connections to the web service

Peer startNginx(const std::string& folder, std::uint16_t backend, Reuse reuse) {
  const std::uint16_t port = freePort();
  const std::string name = reuse == Reuse::yes ? "nginx reusing" : "nginx";
  const std::string files = folder + (reuse == Reuse::yes ? "/nginx-reusing" : "/nginx");
  writeFile(
      files + ".conf",
      fmt::format("worker_processes auto; pid {0}.pid; error_log {0}.err; daemon off;\n"
                  "events {{ worker_connections 8192; }}\n"
                  "http {{ access_log off; keepalive_requests 100000000;\n"
                  " upstream backend {{ server 127.0.0.1:{1}; {3} }}\n"
                  " server {{ listen 127.0.0.1:{2};\n"
                  "  location / {{ proxy_pass http://backend; proxy_http_version 1.1;\n"
                  "   proxy_set_header Upgrade $http_upgrade; proxy_set_header Connection $http_connection;\n"
                  "   proxy_set_header Host $host; }} }} }}\n",
                  files, backend, port,
                  reuse == Reuse::yes ? "keepalive 128; keepalive_requests 100000000;" : ""));
  return {name,
          std::make_unique<Program>(
              std::vector<std::string>{"nginx", "-c", files + ".conf", "-e", files + ".err", "-p", folder},
              std::vector<std::string>{}, files + ".log"),
          {port, "", ""}};
}

Peer startHAProxy(const std::string& folder, std::uint16_t backend) {
  const std::uint16_t port = freePort();
  writeFile(folder + "/haproxy.cfg",
            fmt::format("global\n maxconn 8192\n"
                        "defaults\n mode http\n timeout client 1h\n timeout server 1h\n timeout connect 5s\n"
                        " timeout tunnel 1h\n option http-keep-alive\n http-reuse always\n"
                        "listen bench\n bind 127.0.0.1:{}\n server backend 127.0.0.1:{}\n",
                        port, backend));
  return {"haproxy",
          std::make_unique<Program>(std::vector<std::string>{"haproxy", "-db", "-f", folder + "/haproxy.cfg"},
                                    std::vector<std::string>{}, folder + "/haproxy.log"),
          {port, "", ""}};
}

void waitForListener(std::uint16_t port) {
  for (int attempt = 0; attempt < 100; ++attempt) {
    try {
      ::close(connectTo(port, Mode::blocking));
      return;
    } catch (const std::exception&) {
      std::this_thread::sleep_for(milliseconds(100));
    }
  }
  throw std::runtime_error("no listener on port " + std::to_string(port));
}

// Resident memory of a process, without pages of files.
double memoryOf(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  std::string word;
  double kibibytes = 0;
  while (status >> word)
    if (word == "RssAnon:") status >> kibibytes;
  return kibibytes;
}

using Samples = std::map<std::string, std::map<std::string, std::vector<double>>>;

double median(std::vector<double> values) {
  std::ranges::sort(values);
  return values.empty() ? 0 : values[values.size() / 2];
}

void measure(const std::string& name, const Target& target, milliseconds duration, Samples& samples) {
  samples["connections/s, 1 at a time"][name].push_back(connectionRate(target, 1, duration));
  samples["connections/s, 16 at a time"][name].push_back(connectionRate(target, 16, duration));
  samples["kept-alive requests/s, 1 connection"][name].push_back(keptAliveRate(target, 1, duration));
  samples["kept-alive requests/s, 64 connections"][name].push_back(keptAliveRate(target, 64, duration));
  samples["1 GiB body, MB/s"][name].push_back(bodyRate(target) / 1e6);
}

void measureIdlePipes(const Peer& host, int count) {
  for (const int socket : openIdlePipes(host.target, 50)) ::close(socket);  // warms the allocator
  const double before = memoryOf(host.program->pid());
  const auto sockets = openIdlePipes(host.target, count);
  const double after = memoryOf(host.program->pid());
  fmt::print("{} idle pipes: {:.1f} KiB of the host's memory each\n", count, (after - before) / count);
  for (const int socket : sockets) ::close(socket);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    fmt::print(stderr, "usage: {} PATH_OF_quorl_host [rounds] [milliseconds per measurement]\n", argv[0]);
    return 2;
  }
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
  const milliseconds duration(argc > 3 ? std::atoi(argv[3]) : 2000);
  char folderTemplate[] = "/tmp/quorl-bench-XXXXXX";
  const std::string folder = mkdtemp(folderTemplate);
  const std::uint16_t backendPort = freePort();
  const Backend backend(backendPort);
  const std::uint16_t copyPort = freePort();
  const BarePipe copying(copyPort, backendPort, BarePipe::Way::readAndWrite);
  const std::uint16_t splicePort = freePort();
  const BarePipe splicing(splicePort, backendPort, BarePipe::Way::splice);

  std::vector<Peer> peers;
  peers.push_back({"direct", nullptr, {backendPort, "", ""}});
  peers.push_back(startHost(argv[1], folder, backendPort));
  peers.push_back(startNginx(folder, backendPort, Reuse::no));
  peers.push_back(startNginx(folder, backendPort, Reuse::yes));
  peers.push_back(startHAProxy(folder, backendPort));
  Samples samples;
  try {
    for (const Peer& peer : peers) waitForListener(peer.target.port);
    for (int round = 0; round < rounds; ++round) {
      for (const Peer& peer : peers) measure(peer.name, peer.target, duration, samples);
      samples["1 GiB body, MB/s"]["bare copy"].push_back(bodyRate({copyPort, "", ""}) / 1e6);
      samples["1 GiB body, MB/s"]["bare splice"].push_back(bodyRate({splicePort, "", ""}) / 1e6);
    }
    for (const auto& [row, values] : samples) {
      fmt::print("{}\n", row);
      for (const auto& [name, all] : values) fmt::print("  {:14} {:10.0f}\n", name, median(all));
    }
    measureIdlePipes(peers[1], 1000);
  } catch (const std::exception& error) {
    fmt::print(stderr, "{}; see {}\n", error.what(), folder);
    return 1;
  }
  std::filesystem::remove_all(folder);
  return 0;
}
