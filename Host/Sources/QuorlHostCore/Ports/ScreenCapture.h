// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/PortError.h>
#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// What can be captured now.
struct ShareableDisplay {
  std::uint32_t displayID = 0;
  std::string name;
  PointRect bounds;         // global, in points
  double pixelScale = 1.0;  // pixels per point
  bool isMain = false;
};

struct ShareableWindow {
  std::uint32_t windowID = 0;
  std::int32_t pid = 0;  // 0 when unknown
  std::string title;
  std::string bundleID;
  std::string appName;
  PointRect frame;  // global, in points: the window as the person sees it, without shadows
  bool isOnScreen = false;
  int layer = 0;  // as `ListedWindow::layer`
};

struct ShareableApplication {
  std::string bundleID;
  std::string name;
  std::int32_t pid = 0;
};

struct ShareableContent {
  std::vector<ShareableDisplay> displays;
  std::vector<ShareableWindow> windows;  // front to back; without the desktop
  std::vector<ShareableApplication> applications;
};

/// What a capture shows.
struct DisplayFilter {
  std::uint32_t displayID = 0;
};
/// The window's frame, and the menus, tooltips and dialogs over it.
struct WindowFilter {
  std::uint32_t windowID = 0;
};
/// The union of the frames of the process's on-screen windows of layer 0, and the menus and tooltips inside
/// it; not clipped to the display. Before there is such a window, the display; after the last one has gone,
/// the place where they were.
struct ApplicationFilter {
  std::uint32_t displayID = 0;
  std::int32_t pid = 0;
};
using CaptureFilter = std::variant<DisplayFilter, WindowFilter, ApplicationFilter>;

struct FilterGeometry {
  PointSize contentSize;
  double pointPixelScale = 1.0;
};

/// A picture in the format 420v: 8-bit 4:2:0, ITU-R BT.601 matrix, limited range, a plane of luma and a plane
/// of interleaved Cb and Cr (NV12). Both sides are even.
///
/// *Ownership*: shared, and immutable while anyone but the capture holds it. The capture reuses the memory
/// once it holds the last reference.
struct PictureBuffer {
  PixelSize size;
  const std::uint8_t* luma = nullptr;
  std::size_t lumaStride = 0;
  const std::uint8_t* chroma = nullptr;
  std::size_t chromaStride = 0;

  virtual ~PictureBuffer() = default;
};

enum class FrameStatus : std::uint8_t { complete = 0, idle = 1, blank = 2, suspended = 3 };

struct CapturedPicture {
  std::shared_ptr<const PictureBuffer> image;  // absent unless `complete`
  FrameStatus status = FrameStatus::complete;
  std::chrono::microseconds presentationTime{};  // of the change, monotonic
  /// What may differ from the previous picture, in pixels of this one; at first the whole picture.
  std::vector<PixelRect> changed;
};

struct CaptureSettings {
  PixelSize size;  // of the pictures, to which the source is scaled
  std::chrono::microseconds minimumFrameInterval{16'667};
  bool showsCursor = true;
  int queueDepth = 5;  // pictures in use at a time; with none free, changes wait and are merged

  bool operator==(const CaptureSettings&) const = default;
};

/// One capture, which delivers one picture per request: at once if something has changed since the last one,
/// else when something does, and never sooner than the minimum interval after the last one (the first change
/// after a quiet interval is not delayed). Without a request changes are merged, and nothing is fetched or
/// converted. `start` is the request for the first picture.
///
/// *Queue*: operations on any thread; callbacks and completions run on the queue given at creation.
/// *Blocking*: none.
/// *Ownership*: the caller's; pictures are shared.
/// *Lifetime*: destruction stops the capture. No callback runs after it or after `stop`.
class CaptureStream {
 public:
  struct Handlers {
    std::function<void(CapturedPicture)> picture;
    /// The place of a captured display in global points: once after the start, and again when it is moved or
    /// resized. Pictures of a resized source are scaled to the size in the settings. Captures of windows and
    /// applications do not report it: the stream reads their place from `WindowControl`.
    std::function<void(const PointRect&)> placed;
    /// The capture ended because its source is gone.
    std::function<void(const PortError&)> stopped;
  };
  using Completion = std::move_only_function<void(std::expected<void, PortError>)>;

  virtual ~CaptureStream() = default;
  /// The start of a capture of a window that is not mapped waits for it, at most two seconds, and fails after
  /// that.
  virtual void start(Completion completion) = 0;
  /// Two requests before a picture count as one.
  virtual void requestPicture() = 0;
  virtual void updateSettings(const CaptureSettings& settings, Completion completion) = 0;
  virtual void stop() = 0;
};

/// The screen of this session.
///
/// *Queue*: operations from any thread. An answer is given once, after the call has returned, on a thread of
/// the adapter, which it must not block. *Blocking*: no operation waits for the display. *Ownership*: the
/// caller owns the streams; they may outlive the ScreenCapture. *Lifetime*: destruction drops the answers not
/// yet given.
class ScreenCapture {
 public:
  using ContentAnswer = std::move_only_function<void(std::expected<ShareableContent, PortError>)>;
  using GeometryAnswer = std::move_only_function<void(std::expected<FilterGeometry, PortError>)>;

  virtual ~ScreenCapture() = default;

  /// The lists are empty where there is no display.
  virtual void shareableContent(ContentAnswer answer) = 0;

  /// The size of what a filter shows. Fails when it is gone.
  virtual void geometry(const CaptureFilter& filter, GeometryAnswer answer) = 0;

  /// Fails when the adapter supports no capture of this kind of filter or of these settings. A source that is
  /// gone is reported by the stream's `start`.
  virtual std::expected<std::unique_ptr<CaptureStream>, PortError> makeStream(
      const CaptureFilter& filter, const CaptureSettings& settings, SerialQueue queue,
      CaptureStream::Handlers handlers) = 0;
};

}  // namespace quorl
