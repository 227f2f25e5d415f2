// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include <QuorlHostCore/Link/DeliveredRate.h>
#include <QuorlHostCore/Link/FileTurn.h>
#include <QuorlHostCore/Link/PictureBudget.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Protocol/ControlMessage.h>
#include <QuorlKit/Protocol/MediaPackets.h>
#include <QuorlKit/Protocol/OutgoingFrame.h>

namespace quorl {

/// What happens to a frame while the client's backlog is above the back-pressure threshold.
enum class Droppable : std::uint8_t {
  no,   // it is sent and adds to the backlog
  yes,  // it is dropped silently, before it reaches the transport
};

/// The sending side of one client's session, for streams, sound, agents and file transfers.
///
/// *Queue*: every operation may be called from any thread; the order of each caller is kept.
/// *Blocking*: none, except `isBackpressured`.
/// *Ownership*: holders keep it weakly; an expired one counts as unsubscribed.
/// *Lifetime*: sends to a closed session are dropped silently.
class StreamOutputSink {
 public:
  virtual ~StreamOutputSink() = default;

  /// Sends to this client. A message is never dropped for back-pressure. While the client does not keep up,
  /// newer state replaces waiting state of the same kind. A message that cannot be encoded is dropped
  /// silently.
  virtual void sendControl(ControlMessage message) = 0;

  /// Sends one packet of a stream: by datagrams if the client has opened that channel and the flags do not
  /// contain `codecConfig`, else as a `video` frame. Datagrams are sent whatever `droppable` is.
  virtual void sendVideo(std::uint32_t streamID, VideoPacketFlags flags, std::uint64_t ptsMicros,
                         SharedBytes data, Droppable droppable) = 0;

  /// Sends a frame that is already encoded. The same frame may go to many clients.
  virtual void sendFrame(OutgoingFrame frame, Droppable droppable) = 0;

  /// Asks for permission to capture and encode a stream's next picture. With a budget in the answer the
  /// picture is made now. Without one the link is still full: `request.whenOpen` runs once when there is
  /// room, on any thread, and may only post. It does not run after the session's end.
  virtual std::optional<PictureBudget> admitPicture(PictureRequest request) = 0;

  /// Asks for permission to send the next piece of a file, or another large answer. If the turn is to wait,
  /// `whenOpen` runs once when there is room, on any thread, and may only post. It does not run after the
  /// session's end.
  virtual FileTurn admitFile(std::function<void()> whenOpen) = 0;

  virtual DeliveredRate deliveredRate() const = 0;

  /// Whether the transport has not yet taken more than the threshold of bytes; false for a closed session.
  /// Waits for the session's queue: do not call it there, nor on a queue that the session may wait for.
  virtual bool isBackpressured() const = 0;
};

}  // namespace quorl
