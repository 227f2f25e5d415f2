// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include <QuorlHostCore/Ports/Permissions.h>
#include <QuorlHostLinux/X11/Connection/X11Loop.h>

namespace quorl {

/// On X every client of a display may see and drive it. The permission is therefore a display with the
/// necessary extensions, which are fixed for a connection. X has no prompt, so the requests do nothing.
///
/// *Queue*: any thread.
/// *Blocking*: a query reads a cached answer while there is a connection. Without one, it waits for an
/// attempt to connect, at most once a second.
/// *Ownership*: owns a thread with an idle connection, which
/// notices the end of the server.
/// *Lifetime*: no query may run during the destruction.
class X11Permissions final : public Permissions, public X11Loop::Client {
 public:
  explicit X11Permissions(X11DisplayName displayName = displayNameFromEnvironment());
  ~X11Permissions() override;

  bool mayPostInput() override;
  bool mayCaptureScreen() override;
  void requestInput() override {}
  void requestScreenCapture() override {}
  bool hasPrompt() override { return false; }
  std::string inputObstacle() override;
  std::string screenCaptureObstacle() override;
  std::string limitation() override;

 private:
  /// Bits of the cached answer.
  using Answers = std::uint8_t;
  static constexpr Answers connectedBit = 1;
  static constexpr Answers inputBit = 2;
  static constexpr Answers captureBit = 4;
  static constexpr Answers xtestBit = 8;
  static constexpr Answers xkbBit = 16;
  static constexpr Answers damageBit = 32;
  static constexpr Answers xfixesBit = 64;

  void connected(X11Connection& connection) override;
  void handle(const void* /*event*/) override {}
  std::optional<SteadyTime> turn() override { return std::nullopt; }
  void lost() override;

  Answers current();
  void connect();
  std::string obstacle(Answers permission, Answers first, const char* firstName, Answers second,
                       const char* secondName);

  std::atomic<Answers> answers_{0};  // written on the loop's thread

  std::mutex mutex_;
  SteadyTime nextAttempt_{};  // guarded by mutex_

  std::unique_ptr<X11Loop> loop_;
};

}  // namespace quorl
