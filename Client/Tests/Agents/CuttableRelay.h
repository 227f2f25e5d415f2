// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl::client::test {

/// A network between client and host that a test can cut: every connection to its port is forwarded to the
/// host.
///
/// *Queue*: its own thread; call the operations from any.
class CuttableRelay {
 public:
  /// Sees what is forwarded, on the relay's thread. `connection` counts from 1.
  using Tap = std::function<void(int connection, bool isFromHost, ByteView bytes)>;

  explicit CuttableRelay(std::uint16_t hostPort, Tap tap = {});
  CuttableRelay(const CuttableRelay&) = delete;
  CuttableRelay& operator=(const CuttableRelay&) = delete;
  ~CuttableRelay();

  std::uint16_t port() const { return port_; }
  /// Resets all connections; new ones are refused until `mend`.
  void cut();
  void mend();
  /// Stays open but forwards nothing to the host: a network that drops everything.
  void swallowInput(bool isSwallowed) { swallows_ = isSwallowed; }
  int accepted() const { return accepted_; }

 private:
  enum class Order : std::uint64_t { stop = 1, cut = 2, mend = 3 };
  void give(Order order);
  void run();
  void listen();
  bool forward(int from, int to, int connection, bool isFromHost) const;

  const std::uint16_t hostPort_;
  const Tap tap_;
  std::uint16_t port_ = 0;
  Descriptor listener_;
  Descriptor orderRead_;
  Descriptor orderWrite_;
  Descriptor doneRead_;
  Descriptor doneWrite_;
  std::atomic<bool> swallows_ = false;
  std::atomic<int> accepted_ = 0;
  std::thread thread_;
};

}  // namespace quorl::client::test
