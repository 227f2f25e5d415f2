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
/// one and the client's link has room. So between a change and the link there is one picture at most, and it
/// is the newest. The last picture is kept, and encoded again when a key frame is wanted of a still screen,
/// and when it came out coarse and the screen has gone quiet.
///
/// *Queue*: the stream's, given at creation; every operation is called there.
/// *Ownership*: the stream session, with std::make_shared. *Lifetime*: timers and posted work hold it weakly;
/// nothing is encoded after its release.
class PictureFeed : public std::enable_shared_from_this<PictureFeed> {
 public:
  /// Pictures that an encoder with threads of its own may have at a time.
  static constexpr int mostInEncoder = 2;

  struct Surroundings {
    /// Whether the link has room for the next picture, and how much; without room, `whenOpen` runs once there
    /// is some, on any thread.
    std::function<std::optional<PictureBudget>(std::function<void()> whenOpen)> admit;
    /// Asks the capture for a picture.
    std::function<void()> request;
  };

  PictureFeed(SerialQueue queue, std::shared_ptr<VideoEncoder> encoder, Surroundings surroundings,
              Duration frameInterval);

  /// A complete picture with an image.
  void pictureArrived(CapturedPicture picture);
  /// The next picture is a key frame; without one within a frame interval, the last one is encoded again.
  void requestKeyframe();
  void setFrameInterval(Duration frameInterval);
  /// The encoder has put out a picture.
  void pictureEncoded(const Coarseness& coarseness);
  /// The encoder has taken a picture and will not put it out.
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
  bool isRequested_ QUORL_GUARDED_BY(queue_) = true;  // the capture's start is the first request
  bool waitsForRoom_ QUORL_GUARDED_BY(queue_) = false;
  bool wantsRepeat_ QUORL_GUARDED_BY(queue_) = false;
  RefinementPolicy refinement_ QUORL_GUARDED_BY(queue_);
  Timer refinementTimer_ QUORL_GUARDED_BY(queue_);
  Timer keyframeTimer_ QUORL_GUARDED_BY(queue_);
};

/// What differs after both changes; empty stands for everything, as in the parts.
std::vector<PixelRect> mergedChange(std::vector<PixelRect> earlier, const std::vector<PixelRect>& later);

}  // namespace quorl
