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

/// A picture with its own memory; `tag` identifies it.
struct FakePicture : PictureBuffer {
  explicit FakePicture(PixelSize pictureSize, int tagged = 0, std::uint8_t level = 128);

  int tag = 0;
  std::vector<std::uint8_t> lumaBytes;
  std::vector<std::uint8_t> chromaBytes;
};

/// A screen set by a test. Like a platform it answers later, through the scheduler; a test may hold its
/// answers.
///
/// *Queue*: the simulation's one thread.
/// *Lifetime*: streams may outlive it.
class FakeScreenCapture : public ScreenCapture {
 public:
  /// The record of one capture.
  struct Stream {
    CaptureFilter filter;
    std::vector<CaptureSettings> settings;  // those of the creation, then of each update
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
  void geometry(const CaptureFilter& filter, GeometryAnswer answer) override;
  std::expected<std::unique_ptr<CaptureStream>, PortError> makeStream(
      const CaptureFilter& filter, const CaptureSettings& settings, SerialQueue queue,
      CaptureStream::Handlers handlers) override;

  // The content of the screen, and injected failures.
  std::expected<ShareableContent, PortError> content;
  std::optional<FilterGeometry> geometryOverride;
  std::optional<PortError> geometryError;
  std::optional<PortError> makeError;
  std::optional<PortError> startError;
  std::optional<PortError> updateError;
  /// Brings `content` up to date before it is read.
  std::function<void(ShareableContent&)> refresh;
  bool holdsContentAnswers = false;
  bool holdsGeometryAnswers = false;

  /// Delivers the held answers with the current content.
  void releaseContentAnswers();
  std::size_t heldContentAnswers() const { return held_.size(); }
  /// Gives the sizes that were held back.
  void releaseGeometryAnswers();
  std::size_t heldGeometryAnswers() const { return heldGeometry_.size(); }
  std::size_t contentQueries() const { return contentQueries_; }

  const std::vector<std::shared_ptr<Stream>>& streams() const { return streams_; }
  Stream& lastStream() const { return *streams_.back(); }
  std::size_t runningStreams() const;

  /// Delivers a picture on the last stream's queue if it runs.
  void deliver(CapturedPicture picture);
  /// A complete picture of the stream's size.
  void deliverPicture(int tag, std::chrono::microseconds presentationTime,
                      std::vector<PixelRect> changed = {});
  /// Reports a new place of the last stream's display. The test changes `content`.
  void placeDisplay(const PointRect& rect);
  /// Ends the last stream's source.
  void endCapture(const PortError& error);

 private:
  std::expected<FilterGeometry, PortError> geometryOf(const CaptureFilter& filter) const;
  void refreshContent();

  Scheduler& scheduler_;
  std::vector<std::shared_ptr<Stream>> streams_;
  std::vector<ContentAnswer> held_;
  std::vector<std::move_only_function<void()>> heldGeometry_;
  std::size_t contentQueries_ = 0;
};

/// The main display, of `pixels` and as many points.
ShareableContent oneDisplay(PixelSize pixels, std::uint32_t displayID = 1);

}  // namespace quorl::test
