// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include <QuorlHostCore/Ports/ScreenCapture.h>
#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// The screen of an X display. One that is absent at the start is looked for again with every question; one
/// that goes away ends its streams with `stopped`, and the next question looks for it again.
///
/// *Queue*: see `ScreenCapture`. Two threads of its own with a connection each: pictures do not wait for
/// questions.
/// *Lifetime*: streams may outlive it.
class X11ScreenCapture final : public ScreenCapture {
 public:
  explicit X11ScreenCapture(X11DisplayName displayName = displayNameFromEnvironment());
  ~X11ScreenCapture() override;

  void shareableContent(ContentAnswer answer) override;
  void geometry(const CaptureFilter& filter, GeometryAnswer answer) override;
  std::expected<std::unique_ptr<CaptureStream>, PortError> makeStream(
      const CaptureFilter& filter, const CaptureSettings& settings, SerialQueue queue,
      CaptureStream::Handlers handlers) override;

  /// How often the capturing thread has woken up since the start.
  std::uint64_t captureWakeups() const;

 private:
  class Contents;

  std::unique_ptr<Contents> contents_;
  std::shared_ptr<class CaptureEngine> engine_;
};

}  // namespace quorl
