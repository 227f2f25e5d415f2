// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QuorlHostCore/Concurrency/Scheduler.h>
#include <QuorlHostCore/Ports/ScreenCapture.h>

namespace quorl::test {

/// A picture with memory of its own; `tag` tells pictures apart.
struct FakePicture : PictureBuffer {
  explicit FakePicture(PixelSize pictureSize, int tagged = 0, std::uint8_t level = 128);

  int tag = 0;
  std::vector<std::uint8_t> lumaBytes;
  std::vector<std::uint8_t> chromaBytes;
};

/// A screen that a test draws. It answers later, through the scheduler, as a platform does; a test may hold
/// its answers back.
///
/// *Queue*: the simulation's one thread. *Lifetime*: outlives no stream; streams may outlive it.
class FakeScreenCapture : public ScreenCapture {
 public:
  /// What happened to one capture.
  struct Stream {
    CaptureFilter filter;
    std::vector<CaptureSettings> settings;  // the first of the creation, then the updates
    CaptureStream::Handlers handlers;
    std::optional<SerialQueue> queue;
    int requests = 0;  // for pictures, after the start
    bool started = false;
    bool stopped = false;
    bool released = false;

    bool isRunning() const { return started && !stopped && !released; }
  };

  explicit FakeScreenCapture(Scheduler& scheduler);

  void shareableContent(ContentAnswer answer) override;
  std::expected<FilterGeometry, PortError> geometry(const CaptureFilter& filter) override;
  std::expected<std::unique_ptr<CaptureStream>, PortError> makeStream(
      const CaptureFilter& filter, const CaptureSettings& settings, SerialQueue queue,
      CaptureStream::Handlers handlers) override;

  // What the screen shows and what fails.
  std::expected<ShareableContent, PortError> content;
  std::optional<FilterGeometry> geometryOverride;
  std::optional<PortError> geometryError;
  std::optional<PortError> makeError;
  std::optional<PortError> startError;
  std::optional<PortError> updateError;
  bool holdsContentAnswers = false;

  /// Gives the answers that were held back, with the content of now.
  void releaseContentAnswers();
  std::size_t heldContentAnswers() const { return held_.size(); }
  std::size_t contentQueries() const { return contentQueries_; }

  const std::vector<std::shared_ptr<Stream>>& streams() const { return streams_; }
  Stream& lastStream() const { return *streams_.back(); }
  std::size_t runningStreams() const;

  /// Gives a picture to the last stream's queue if it runs.
  void deliver(CapturedPicture picture);
  /// A complete picture of the stream's size.
  void deliverPicture(int tag, std::chrono::microseconds presentationTime,
                      std::vector<PixelRect> changed = {});
  /// The last stream's display is reported at this place; `content` is the test's to change.
  void placeDisplay(const PointRect& rect);
  /// The last stream's source goes away.
  void endCapture(const PortError& error);

 private:
  Scheduler& scheduler_;
  std::vector<std::shared_ptr<Stream>> streams_;
  std::vector<ContentAnswer> held_;
  std::size_t contentQueries_ = 0;
};

/// One display of `pixels`, with as many points, the main one.
ShareableContent oneDisplay(PixelSize pixels, std::uint32_t displayID = 1);

}  // namespace quorl::test
