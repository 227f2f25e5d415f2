// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/ListeningSockets.h>
#include <QuorlHostCore/Ports/Network.h>
#include <QuorlHostCore/Scanner/Listeners.h>
#include <QuorlHostCore/Scanner/ServiceProbe.h>
#include <QuorlHostCore/Scanner/SettledSockets.h>
#include <QuorlKit/Models/AgentModels.h>

namespace quorl {

/// Keeps a list of the machine's web services: the listening TCP ports that answer an HTTP request on
/// 127.0.0.1, whatever the status.
///
/// *Queue*: owns "quorl.services" (rank `service`); every operation may be called from any thread.
/// *Blocking*: `services` waits for the queue, which itself never waits; everything else only posts. The
/// sockets are listed apart from the queue.
/// *Ownership*: shared by the runtime, the relay and the connections.
/// *Lifetime*: the runtime's. Timers, probes and pending work hold it weakly.
class ServiceScanner : public std::enable_shared_from_this<ServiceScanner> {
 public:
  static constexpr std::chrono::seconds firstScan{2};  // after `start`
  static constexpr std::chrono::seconds interval{20};
  static constexpr std::size_t maxProbes = 4;  // at the same time

  using Services = std::vector<ServiceDescriptor>;
  using OnChange = std::function<void(const Services&)>;

  /// Which ports are probed and listed.
  struct Ports {
    std::set<std::uint16_t> own;                  // of this host: never
    std::optional<std::set<std::uint16_t>> only;  // if present, no others
  };

  ServiceScanner(Scheduler& scheduler, std::shared_ptr<ListeningSockets> sockets,
                 std::shared_ptr<Network> network, Ports ports);

  /// Takes the list, on the queue, after each scan that has changed it. Set before `start`.
  void setOnChange(OnChange onChange);

  void start();
  /// Ends a scan that is under way. The list stays as it is.
  void stop();

  /// The services found by the latest scan, by ascending port.
  Services services() const;

 private:
  using Sockets = std::expected<std::vector<ListeningSocket>, PortError>;

  void scan() QUORL_REQUIRES(queue_);
  void probeAll(Sockets sockets) QUORL_REQUIRES(queue_);
  void probeNext() QUORL_REQUIRES(queue_);
  void probe(const Listener& listener) QUORL_REQUIRES(queue_);
  void probed(const Listener& listener, const ProbeResult& result) QUORL_REQUIRES(queue_);
  void finishScan() QUORL_REQUIRES(queue_);
  std::vector<Listener> foreignListeners(const Sockets& sockets) const;

  const SerialQueue queue_;
  const std::shared_ptr<ListeningSockets> sockets_;
  const std::shared_ptr<Network> network_;
  const Ports ports_;
  Timer timer_ QUORL_GUARDED_BY(queue_);
  Services current_ QUORL_GUARDED_BY(queue_);
  OnChange onChange_ QUORL_GUARDED_BY(queue_);
  SettledSockets settled_ QUORL_GUARDED_BY(queue_);
  // The scan that is under way.
  bool scanning_ QUORL_GUARDED_BY(queue_) = false;
  std::vector<Listener> waiting_ QUORL_GUARDED_BY(queue_);  // by descending port
  std::map<std::uint16_t, std::shared_ptr<ServiceProbe>> probes_ QUORL_GUARDED_BY(queue_);
  Services found_ QUORL_GUARDED_BY(queue_);
};

}  // namespace quorl
