// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <Support/FakeNetwork.h>

namespace quorl::test {

/// Web servers on the loopback of a simulated machine. Each answers a request with a text and closes the
/// connection; without a text for a path it stays silent.
///
/// *Queue*: the simulation's one thread.
class FakeWeb {
 public:
  explicit FakeWeb(SimulatedScheduler& simulation)
      : network(std::make_shared<FakeNetwork>(simulation)), simulation_(simulation) {}

  void serve(std::uint16_t port, std::string answer, const std::string& path = "/") {
    answers_[{port, path}] = std::move(answer);
    network->setAnswer({"127.0.0.1", port}, FakeAnswer::accepts);
  }
  void hang(std::uint16_t port) { network->setAnswer({"127.0.0.1", port}, FakeAnswer::hangs); }

  static std::string page(const std::string& title) {
    return "HTTP/1.1 200 OK\r\n\r\n<html><title>" + title + "</title>";
  }
  static std::string redirect(const std::string& location) {
    return "HTTP/1.1 302 Found\r\nLocation: " + location + "\r\n\r\n<title>302 Found</title>";
  }

  /// Runs what is ready and answers requests until nothing more happens. The time does not advance.
  void settle() {
    for (simulation_.runReady(); answered_ < network->opened.size(); simulation_.runReady()) {
      const auto connection = network->opened[answered_++];
      const std::string request = textOf(connection.peer->takeBytes());
      if (!request.empty()) requests.push_back(request);
      const auto answer = answers_.find({connection.address.port, pathOf(request)});
      if (answer == answers_.end()) continue;
      connection.peer->write(viewOf(answer->second));
      connection.peer->finish();
    }
  }

  const std::shared_ptr<FakeNetwork> network;
  std::vector<std::string> requests;

 private:
  static std::string pathOf(const std::string& request) {
    const std::size_t start = request.find(' ') + 1;
    return request.substr(start, request.find(' ', start) - start);
  }

  SimulatedScheduler& simulation_;
  std::map<std::pair<std::uint16_t, std::string>, std::string> answers_;
  std::size_t answered_ = 0;
};

}  // namespace quorl::test
