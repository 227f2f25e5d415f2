// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include <QuorlHostCore/Ports/EventPoster.h>
#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// Posts synthetic events to an X display through the XTEST extension, as its test devices. A display that is
/// absent is looked for again with every event.
///
/// *Queue*: see `EventPoster`. Characters that the keyboard lacks take a fifth of a second for each 130 or
/// so of them.
/// *Lifetime*: destruction lets go of everything that is held and leaves the keyboard map as it was.
class XTestPoster final : public EventPoster {
 public:
  explicit XTestPoster(X11DisplayName displayName = displayNameFromEnvironment());
  ~XTestPoster() override;

  void post(const SyntheticEvent& event) override;
  Duration finishText(std::u16string_view following) override;
  /// Lets go of all keys and buttons that are held.
  void releaseAll();

 private:
  class Session;

  bool connect();

  X11DisplayName displayName_;
  std::unique_ptr<Session> session_;
};

}  // namespace quorl
