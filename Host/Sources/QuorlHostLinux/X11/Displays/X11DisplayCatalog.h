// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include <QuorlHostCore/Ports/DisplayCatalog.h>
#include <QuorlHostLinux/X11/Connection/ConnectionCut.h>
#include <QuorlHostLinux/X11/Connection/X11Loop.h>
#include <QuorlHostLinux/X11/Displays/DisplayFactsReader.h>

namespace quorl {

/// The displays of an X server, read again when it reports a change. Without a server there are none; a
/// question then starts an attempt to connect, at most once a second, for the questions after it.
///
/// *Queue*: any thread. *Blocking*: none. *Ownership*: owns a thread with an idle connection.
/// *Lifetime*: as `DisplayCatalog`. Destruction ends the connection even if the server does not answer.
class X11DisplayCatalog final : public DisplayCatalog, public X11Loop::Client {
 public:
  explicit X11DisplayCatalog(X11DisplayName displayName = displayNameFromEnvironment());
  ~X11DisplayCatalog() override;

  std::vector<std::uint32_t> activeDisplays(std::size_t limit) override;
  std::vector<std::uint32_t> onlineDisplays(std::size_t limit) override;
  std::optional<DisplayFacts> facts(std::uint32_t displayID) override;

 private:
  void connected(X11Connection& connection) override;
  void handle(const void* event) override;
  std::optional<SteadyTime> turn() override;
  void lost() override;

  std::vector<KnownDisplay> current();

  ConnectionCut cut_;

  std::mutex mutex_;  // guards the next three
  bool isConnected_ = false;
  std::vector<KnownDisplay> displays_;
  SteadyTime nextAttempt_{};

  // The loop's thread.
  X11Connection* connection_ = nullptr;
  bool isStale_ = false;

  std::unique_ptr<X11Loop> loop_;
};

}  // namespace quorl
