// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <functional>
#include <thread>

#include <QuorlHostLinux/System/Bus.h>
#include <QuorlHostPosix/PostedWork.h>

namespace quorl {

/// A connection to a bus, by default the system's, and the thread that listens to it. Without a bus it tries
/// to connect at intervals.
///
/// *Queue*: the handlers and all posted work run on the loop's thread; `post` may be called from any.
/// *Lifetime*: destruction drops posted work, ends the connection and joins the thread; never on that thread.
class BusLoop {
 public:
  struct Handlers {
    std::function<void(sd_bus*)> connected;  // matches are added here
    std::function<void()> disconnected;      // the bus went away
  };

  using Opener = BusPointer (*)();
  explicit BusLoop(Handlers handlers, Opener open = openSystemBus);
  ~BusLoop();

  /// `work` gets the connection, or nullptr while there is none.
  void post(std::move_only_function<void(sd_bus*)> work);

 private:
  void run();
  void connect();
  void disconnect();
  bool process();
  void waitForInput();

  const Handlers handlers_;
  const Opener open_;
  PostedWork posted_;
  BusPointer bus_;  // the loop's thread
  std::chrono::steady_clock::time_point nextAttempt_;

  std::thread thread_;
};

}  // namespace quorl
