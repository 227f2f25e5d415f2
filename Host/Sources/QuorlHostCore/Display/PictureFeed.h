// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Concurrency/Timer.h>
#include <QuorlHostCore/Display/RefinementPolicy.h>
#include <QuorlHostCore/Display/VideoEncoder.h>
#include <QuorlHostCore/Ports/ScreenCapture.h>

namespace quorl {

/// Brings captured pictures to the encoder. The newest wins: what was captured while the encoder was busy is
/// merged into one picture. It keeps the last picture, and encodes it again when a key frame is wanted of a
/// screen that stands still, and when it came out coarse and the screen has gone quiet.
///
/// *Queue*: the stream's, given at creation; every operation is called there.
/// *Ownership*: the stream session, with std::make_shared. *Lifetime*: timers and posted work hold it weakly;
/// nothing is encoded after its release.
class PictureFeed : public std::enable_shared_from_this<PictureFeed> {
 public:
  PictureFeed(SerialQueue queue, std::shared_ptr<VideoEncoder> encoder, Duration frameInterval);

  /// A complete picture with an image.
  void pictureArrived(CapturedPicture picture);
  /// The next picture is a key frame; without one within a frame interval, the last one is encoded again.
  void requestKeyframe();
  void setFrameInterval(Duration frameInterval);
  /// The encoder has put out a picture.
  void pictureEncoded(const Coarseness& coarseness);

 private:
  struct LastPicture {
    std::shared_ptr<const PictureBuffer> image;
    std::chrono::microseconds presentationTime{};
    MonotonicTime encodedAt;
  };

  void encodePending();
  void repeatForKeyframe();
  void repeatLast();
  void armRefinement();
  void refinementTimerFired();
  std::chrono::microseconds later(std::chrono::microseconds presentationTime);

  const SerialQueue queue_;
  const std::shared_ptr<VideoEncoder> encoder_;

  Duration frameInterval_ QUORL_GUARDED_BY(queue_);
  std::optional<CapturedPicture> pending_ QUORL_GUARDED_BY(queue_);
  std::optional<LastPicture> last_ QUORL_GUARDED_BY(queue_);
  std::optional<std::chrono::microseconds> lastPresentationTime_ QUORL_GUARDED_BY(queue_);
  RefinementPolicy refinement_ QUORL_GUARDED_BY(queue_);
  Timer refinementTimer_ QUORL_GUARDED_BY(queue_);
  Timer keyframeTimer_ QUORL_GUARDED_BY(queue_);
};

/// What differs after both changes; empty stands for everything, as in the parts.
std::vector<PixelRect> mergedChange(std::vector<PixelRect> earlier, const std::vector<PixelRect>& later);

}  // namespace quorl
