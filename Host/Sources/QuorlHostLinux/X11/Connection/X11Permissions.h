// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <mutex>

#include <QuorlHostCore/Ports/Permissions.h>
#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// On X every client of a display may see and drive it: what is asked is whether there is one, with the
/// extensions that it takes. There is nobody to ask for more.
///
/// *Queue*: any thread.
class X11Permissions final : public Permissions {
 public:
  explicit X11Permissions(X11DisplayName displayName = displayNameFromEnvironment());
  ~X11Permissions() override;

  bool mayPostInput() override;
  bool mayCaptureScreen() override;
  void requestInput() override {}
  void requestScreenCapture() override {}

 private:
  const X11Extensions* extensions();

  X11DisplayName displayName_;
  std::mutex mutex_;
  std::unique_ptr<X11Connection> connection_;  // guarded by mutex_; idle: its end tells that of the server
};

}  // namespace quorl
