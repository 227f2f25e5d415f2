// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <QuorlKit/Models/Models.h>
#include <quorl-client/Session/Session.h>

#include "../Support/ProbeBoard.h"
#include "PictureDecoder.h"
#include "Samples.h"

namespace quorl::bench {

/// A client of the session protocol that watches the screen and, over the same connection, requests echoes
/// and types into a terminal. The connection and the decoder each have a thread, so that decoding delays
/// nothing else. The public functions are called from one other thread.
class LinkClient final : public Viewer {
 public:
  /// Connects and pairs on the caller's thread, and therefore in its network namespace; retries for
  /// 10 seconds. Throws if the host refuses.
  LinkClient(const std::string& address, std::uint16_t port, const std::string& pin);
  LinkClient(const LinkClient&) = delete;
  LinkClient& operator=(const LinkClient&) = delete;
  ~LinkClient() override;

  /// Starts a program on the host that returns each byte, and waits until it runs. Throws if it does not.
  void openTerminal();
  /// The main display, 1920 pixels at most, H.264, 60 pictures a second, quality 1.
  void startStream();
  Clock::time_point stopStream();

  /// From now on requests an echo every 100 ms and, if a terminal is open, types a key every 250 ms.
  void startProbing();
  /// Stops that. Unanswered requests are counted with their age.
  void stopProbing(Samples& echoes, Samples& keys);
  /// Requests one echo and waits for it: then everything that the host sent before has arrived.
  bool settle(std::chrono::milliseconds limit);

  std::optional<Clock::time_point> lastVideoArrival() const;
  /// Ages of the pictures decoded since the last call: from the capture on the host to the decoded picture.
  Samples takeAges() { return decoder_.takeAges(); }
  /// Why the connection ended; empty while it lasts.
  std::string failure() const;

  const std::string& name() const override { return name_; }
  void arm(std::span<const Probe> probes) override { board_.arm(probes); }
  std::optional<Clock::time_point> wait(std::chrono::milliseconds deadline) override {
    return board_.wait(deadline);
  }
  std::optional<double> error() override { return board_.error(); }
  std::uint64_t pictures() const override { return decoder_.pictures(); }
  std::uint64_t bytes() const override { return videoBytes_; }

 private:
  // Requests that are answered in order.
  struct Exchange {
    std::deque<Clock::time_point> pending;
    Samples samples;
    Clock::time_point next;

    void answered(Clock::time_point now);
    Samples finish(Clock::time_point now);
  };

  client::Outcome<void> connect(const std::string& address, std::uint16_t port, const std::string& pin);
  void post(ControlMessage message);
  void run();
  client::Outcome<void> sendPosted();
  client::Outcome<void> sendProbes(Clock::time_point now);
  client::Outcome<void> sendEcho();
  void handle(const Frame& frame);
  void handleTerminal(const Frame& frame);
  template <class Condition>
  bool await(std::chrono::milliseconds limit, Condition condition);

  const std::string name_ = "quorl_host";
  ProbeBoard board_;
  PictureDecoder decoder_{board_};
  client::Waiter waiter_;
  std::unique_ptr<client::Session> session_;
  int wake_ = -1;
  std::atomic<bool> isStopping_ = false;
  std::atomic<std::uint64_t> videoBytes_ = 0;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<ControlMessage> posted_;
  bool isProbing_ = false;
  Exchange echoes_;
  Exchange keys_;
  std::uint32_t echoNumber_ = 0;
  std::uint32_t settledNumber_ = 0;
  std::uint32_t lastEchoed_ = 0;
  std::optional<UUID> terminal_;
  std::optional<UUID> startedTerminal_;
  std::string terminalText_;
  std::optional<Clock::time_point> lastVideoArrival_;
  std::string failure_;

  std::thread thread_;
};

}  // namespace quorl::bench
