// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include <QuorlHostCore/Ports/ScreenCapture.h>
#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// The screen of an X display. While there is no display, every query tries to connect. A display that goes
/// away ends its streams with `stopped`.
///
/// *Queue*: see `ScreenCapture`. Owns two threads with a connection each, so that pictures do not wait for
/// queries.
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
  /// How often changed pixels were fetched since the start. One fetch serves all streams of a source.
  std::uint64_t captureGrabs() const;

 private:
  class Contents;

  std::unique_ptr<Contents> contents_;
  std::shared_ptr<class CaptureEngine> engine_;
};

}  // namespace quorl
