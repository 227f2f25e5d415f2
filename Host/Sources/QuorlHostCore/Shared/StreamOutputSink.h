// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include <QuorlHostCore/Link/DeliveredRate.h>
#include <QuorlHostCore/Link/PictureBudget.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Protocol/ControlMessage.h>
#include <QuorlKit/Protocol/MediaPackets.h>
#include <QuorlKit/Protocol/OutgoingFrame.h>

namespace quorl {

/// What may become of a frame while the client's backlog is over the back-pressure threshold.
enum class Droppable : std::uint8_t {
  no,   // it is sent and lengthens the backlog
  yes,  // it is dropped silently, before it reaches the transport
};

/// The sending side of one client's session, as streams, sound, agents and file transfers see it.
///
/// *Queue*: every operation may be called from any thread; each caller's order is kept. Sends return at once.
/// *Ownership*: holders keep it weakly; one that is gone counts as unsubscribed.
/// *Lifetime*: sends to a closed session are dropped silently.
class StreamOutputSink {
 public:
  virtual ~StreamOutputSink() = default;

  /// An answer to this client. Never dropped for back-pressure, but while the client does not keep up, state
  /// that is newer replaces state of the same kind that still waits. A message that cannot be encoded is
  /// dropped silently.
  virtual void sendControl(ControlMessage message) = 0;

  /// One packet of a stream: by datagrams when the client has opened that channel and the flags do not hold
  /// `codecConfig`, otherwise as a `video` frame. Datagrams are sent whatever `droppable` says.
  virtual void sendVideo(std::uint32_t streamID, VideoPacketFlags flags, std::uint64_t ptsMicros,
                         SharedBytes data, Droppable droppable) = 0;

  /// A frame that is already encoded; the same frame may go to many clients.
  virtual void sendFrame(OutgoingFrame frame, Droppable droppable) = 0;

  /// Asks to capture and encode the next picture of a stream. With the budget in the answer it is to be made
  /// now. Without, the link still has enough to carry: `request.whenOpen` runs once when it has not, on any
  /// thread, and must only post; never after the session's end. Does not wait for the session's queue.
  virtual std::optional<PictureBudget> admitPicture(PictureRequest request) = 0;

  virtual DeliveredRate deliveredRate() const = 0;

  /// Whether more than the threshold is handed to the transport and not yet taken by it; false for a closed
  /// session. Waits for the session's queue, so it must not be read from there nor from a queue that the
  /// session may wait on.
  virtual bool isBackpressured() const = 0;
};

}  // namespace quorl
