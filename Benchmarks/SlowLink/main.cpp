// SPDX-License-Identifier: GPL-3.0-or-later
// The real host over a real slow link: full-screen motion on a virtual screen, and what a user at the other
// end notices meanwhile. x0vncserver shows the same screen over the same link in the same run.
//   usage: slow_link_bench PATH_OF_quorl_host [--rates 2,5,20] [--delays 0,40] [--seconds 60] [--cc cubic]
//                          [--only steady,upload,download,recovery,stop] [--no-peer]
//   --rates: Mbit/s; --delays: added round trips in ms; --seconds: length of the steady part, per contender
//   --cc: congestion control of both ends; --only: selected parts
//   upload and download: quorl_client, from the folder of the host, moves a file over the same link meanwhile
// A quick check of one row: --rates 5 --delays 40 --seconds 15 --only steady --no-peer
// Needs root, /dev/net/tun, iproute2 and Xvfb; the peer needs tigervnc-scraping-server. Exit status: 0 if all
// goals are met, 1 if one is missed, 2 if it cannot run.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>

#include "../Support/Program.h"
#include "../Support/RfbViewer.h"
#include "Enclosure.h"
#include "FileMove.h"
#include "LimitedLink.h"
#include "LinkClient.h"
#include "Measurement.h"
#include "Motion.h"
#include "Report.h"

namespace {

using namespace quorl::bench;
using namespace std::chrono_literals;

constexpr const char* pin = "123456";
constexpr std::uint16_t port = 47'900;  // each link has its own namespaces
constexpr const char* peerProgram = "/usr/bin/X0tigervnc";
constexpr auto warmUp = 5s;

struct Options {
  std::string host;
  std::vector<double> rates{2, 5, 20};
  std::vector<double> delays{0, 40};
  std::chrono::seconds seconds{60};
  std::string congestionControl = "cubic";
  std::string parts = "steady,upload,download,recovery,stop";
  bool hasPeer = true;

  std::string client() const { return std::filesystem::path(host).replace_filename("quorl_client"); }
  bool isWanted(std::string_view part) const { return parts.find(part) != std::string::npos; }
};

std::vector<double> numbersOf(const std::string& text) {
  std::vector<double> numbers;
  std::istringstream stream(text);
  for (std::string word; std::getline(stream, word, ',');) numbers.push_back(std::stod(word));
  return numbers;
}

std::optional<Options> optionsOf(int count, char** words) {
  if (count < 2) return std::nullopt;
  Options options;
  options.host = std::filesystem::absolute(words[1]);
  for (int index = 2; index < count; ++index) {
    const std::string name = words[index];
    if (name == "--no-peer") {
      options.hasPeer = false;
      continue;
    }
    if (++index == count) return std::nullopt;
    const std::string value = words[index];
    if (name == "--rates")
      options.rates = numbersOf(value);
    else if (name == "--delays")
      options.delays = numbersOf(value);
    else if (name == "--seconds")
      options.seconds = std::chrono::seconds(std::stoi(value));
    else if (name == "--cc")
      options.congestionControl = value;
    else if (name == "--only")
      options.parts = value;
    else
      return std::nullopt;
  }
  return options;
}

std::unique_ptr<Program> startIn(const NetworkSpace& space, const std::vector<std::string>& words,
                                 const std::vector<std::string>& environment, const std::string& log) {
  std::unique_ptr<Program> program;
  space.run([&] { program = std::make_unique<Program>(words, environment, log); });
  return program;
}

void showEndOf(const std::string& log) {
  std::ifstream file(log);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  const auto first = lines.size() > 20 ? lines.size() - 20 : 0;
  for (auto index = first; index < lines.size(); ++index) fmt::print(stderr, "  {}\n", lines[index]);
}

class Run {
 public:
  Run(const Options& options, const std::string& display)
      : options_(options), display_(display), motion_(display), block_(display) {}

  int over(const LinkShape& shape) {
    LimitedLink link(shape);
    LinkResults results;
    measureHost(link, results);
    if (options_.hasPeer && options_.isWanted("steady")) measurePeer(link, results);
    return report(shape, results);
  }

 private:
  void note(const LimitedLink& link, std::string_view what) {
    fmt::print(stderr, "{:g} Mbit/s: {}\n", link.bitsPerSecond() / 1e6, what);
  }

  void measureHost(LimitedLink& link, LinkResults& results) {
    const std::string folder = fmt::format("/tmp/host-{}", ++hosts_);
    std::filesystem::create_directories(folder);
    const std::string log = folder + "/log";
    const auto host = startIn(link.hostSide(), {options_.host, "--pin", pin},
                              {"DISPLAY=" + display_, "HOME=" + folder, "XDG_DATA_HOME=" + folder + "/data",
                               "QUORL_HOST_PORT=" + std::to_string(port)},
                              log);
    try {
      std::unique_ptr<LinkClient> client;
      link.clientSide().run(
          [&] { client = std::make_unique<LinkClient>(LimitedLink::hostAddress, port, pin); });
      measureWith(*client, link, results, folder);
      if (const auto why = client->failure(); !why.empty())
        throw std::runtime_error("the session ended: " + why);
    } catch (...) {
      showEndOf(log);
      throw;
    }
  }

  void measureWith(LinkClient& client, LimitedLink& link, LinkResults& results, const std::string& folder) {
    Measurement measurement(link, block_, motion_);
    client.openTerminal();
    results.quiet = measurement.quietEchoes(client);
    client.startStream();
    std::this_thread::sleep_for(warmUp);
    if (options_.isWanted("steady")) {
      note(link, "host, steady stream");
      results.host = measurement.steady(client, &client, options_.seconds);
    }
    for (const auto direction : {FileMove::Direction::upload, FileMove::Direction::download}) {
      const bool isUpload = direction == FileMove::Direction::upload;
      if (!options_.isWanted(isUpload ? "upload" : "download")) continue;
      note(link, isUpload ? "host, stream beside an upload" : "host, stream beside a download");
      const FileMove move(link, direction, options_.client(), folder, port, pin);
      std::this_thread::sleep_for(warmUp);
      auto& result = isUpload ? results.upload : results.download;
      result.emplace();
      const auto before = move.movedBytes();
      result->stream = measurement.steady(client, &client, options_.seconds);
      result->fileMegabits = static_cast<double>(move.movedBytes() - before) * 8 / 1e6 /
                             static_cast<double>(options_.seconds.count());
      if (!(result->fileMegabits > 0)) {
        showEndOf(folder + "/move.log");
        throw std::runtime_error("the file did not move");
      }
    }
    if (options_.isWanted("recovery")) {
      note(link, "host, recovery from a tenth of the rate and from a stall");
      results.thin = measurement.afterThinLink(client, 10s);
      results.stall = measurement.afterStall(client, 2s);
    }
    client.stopStream();
    if (options_.isWanted("stop")) {
      note(link, "host, stopping streams");
      client.settle(60s);
      results.stops = measurement.stops(client, 10);
    }
  }

  void measurePeer(LimitedLink& link, LinkResults& results) {
    note(link, "x0vncserver");
    const auto server = startIn(
        link.hostSide(),
        {peerProgram, "-rfbport", std::to_string(port + 1), "-SecurityTypes", "None", "-display", display_},
        {"DISPLAY=" + display_, "HOME=/tmp"}, "/tmp/peer.log");
    std::unique_ptr<Viewer> viewer;
    link.clientSide().run([&] {
      viewer = connectRfbViewer("x0vncserver", port + 1, "tight zrle raw", LimitedLink::hostAddress);
    });
    if (!viewer) {
      showEndOf("/tmp/peer.log");
      throw std::runtime_error("x0vncserver does not answer");
    }
    std::this_thread::sleep_for(warmUp);
    Measurement measurement(link, block_, motion_);
    results.peer = measurement.steady(*viewer, nullptr, options_.seconds);
  }

  const Options& options_;
  const std::string display_;
  const Motion motion_;
  ProbeBlock block_;  // created after the motion, so on top of it
  int hosts_ = 0;
};

int run(const Options& options) {
  const VirtualScreen screen(1920, 1080);
  Run run(options, screen.display());
  int missed = 0;
  for (const double rate : options.rates)
    for (const double delay : options.delays)
      missed +=
          run.over({rate, std::chrono::milliseconds(static_cast<int>(delay)), options.congestionControl});
  return missed == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const auto options = optionsOf(argc, argv);
    if (!options) {
      fmt::print(stderr,
                 "usage: {} PATH_OF_quorl_host [--rates 2,5,20] [--delays 0,40] [--seconds 60] [--cc cubic]\n"
                 "       [--only steady,upload,download,recovery,stop] [--no-peer]\n",
                 argv[0]);
      return 2;
    }
    if (::access(options->host.c_str(), X_OK) != 0)
      throw std::runtime_error("cannot execute " + options->host);
    if (options->hasPeer && ::access(peerProgram, X_OK) != 0)
      throw std::runtime_error(std::string("cannot execute ") + peerProgram +
                               "; use --no-peer to run without it");
    enterEnclosure();
    return run(*options);
  } catch (const std::exception& error) {
    fmt::print(stderr, "slow_link_bench cannot run: {}\n", error.what());
    return 2;
  }
}
