// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Concurrency/Timer.h>
#include <QuorlHostCore/Display/RefinementPolicy.h>
#include <QuorlHostCore/Display/VideoEncoder.h>
#include <QuorlHostCore/Ports/ScreenCapture.h>

namespace quorl {

/// Pulls pictures through capture and encoder: the next one is captured when the encoder has put out the last
/// one and the client's link has room. So at most one picture, the newest, is between a change and the link.
/// The last picture is kept. It is encoded again if a key frame of a still screen is wanted, or if it is
/// coarse and the screen is quiet.
///
/// *Queue*: the stream's, given at creation, for every operation.
/// *Blocking*: `encode` may run the encoder on the queue.
/// *Ownership*: the stream session's, made with std::make_shared.
/// *Lifetime*: timers and posted work hold it weakly. Nothing is encoded after destruction.
class PictureFeed : public std::enable_shared_from_this<PictureFeed> {
 public:
  /// The limit of pictures in an encoder with its own threads.
  static constexpr int mostInEncoder = 2;

  struct Surroundings {
    /// The link's budget for the next picture. Without room there is none, and `whenOpen` runs once when
    /// there is, on any thread.
    std::function<std::optional<PictureBudget>(std::function<void()> whenOpen)> admit;
    /// Requests a picture from the capture.
    std::function<void()> request;
  };

  PictureFeed(SerialQueue queue, std::shared_ptr<VideoEncoder> encoder, Surroundings surroundings,
              Duration frameInterval);

  /// A complete picture with an image.
  void pictureArrived(CapturedPicture picture);
  /// Makes the next picture a key frame. If none comes within a frame interval, the last one is encoded
  /// again.
  void requestKeyframe();
  void setFrameInterval(Duration frameInterval);
  /// The encoder put out a picture.
  void pictureEncoded(const Coarseness& coarseness);
  /// The encoder dropped a picture.
  void pictureDropped();

 private:
  struct LastPicture {
    std::shared_ptr<const PictureBuffer> image;
    std::chrono::microseconds presentationTime{};
    MonotonicTime encodedAt;
  };

  bool hasRoom();
  void roomCame();
  void goOn();
  void encodePending();
  void repeatForKeyframe();
  void repeatLast();
  void armRefinement();
  void refinementTimerFired();
  std::chrono::microseconds later(std::chrono::microseconds presentationTime);

  const SerialQueue queue_;
  const std::shared_ptr<VideoEncoder> encoder_;
  const Surroundings surroundings_;

  Duration frameInterval_ QUORL_GUARDED_BY(queue_);
  std::optional<CapturedPicture> pending_ QUORL_GUARDED_BY(queue_);
  std::optional<LastPicture> last_ QUORL_GUARDED_BY(queue_);
  std::optional<std::chrono::microseconds> lastPresentationTime_ QUORL_GUARDED_BY(queue_);
  int inEncoder_ QUORL_GUARDED_BY(queue_) = 0;
  bool isRequested_ QUORL_GUARDED_BY(queue_) = true;  // starting the capture is the first request
  bool waitsForRoom_ QUORL_GUARDED_BY(queue_) = false;
  bool wantsRepeat_ QUORL_GUARDED_BY(queue_) = false;
  RefinementPolicy refinement_ QUORL_GUARDED_BY(queue_);
  Timer refinementTimer_ QUORL_GUARDED_BY(queue_);
  Timer keyframeTimer_ QUORL_GUARDED_BY(queue_);
};

/// The union of two lists of changed parts. An empty list means the whole picture.
std::vector<PixelRect> mergedChange(std::vector<PixelRect> earlier, const std::vector<PixelRect>& later);

}  // namespace quorl
