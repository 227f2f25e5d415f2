// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include <QuorlHostCore/Ports/EventPoster.h>
#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// Posts synthetic events to an X display through the test devices of the XTEST extension. While there is no
/// display, every event tries to connect.
///
/// *Queue*: see `EventPoster`. Characters that the keyboard lacks take about a fifth of a second per 130.
/// *Lifetime*: destruction releases everything that is held and restores the keyboard map.
class XTestPoster final : public EventPoster {
 public:
  explicit XTestPoster(X11DisplayName displayName = displayNameFromEnvironment());
  ~XTestPoster() override;

  void post(const SyntheticEvent& event) override;
  Duration finishText(std::u16string_view following) override;
  /// Releases all held keys and buttons.
  void releaseAll();

 private:
  class Session;

  bool connect();

  X11DisplayName displayName_;
  std::unique_ptr<Session> session_;
};

}  // namespace quorl
