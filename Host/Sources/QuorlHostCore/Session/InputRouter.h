// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <QuorlHostCore/Input/HeldInput.h>
#include <QuorlHostCore/Session/StreamTable.h>
#include <QuorlKit/Protocol/ControlMessage.h>
#include <QuorlKit/Protocol/InputEvents.h>

namespace quorl {

struct HostServices;

/// Brings one client's input to the injector: refuses it where the platform does not trust the host with
/// input, maps positions in a stream's picture to points of the desktop, and raises what is worked with.
///
/// *Queue*: its connection's; waits for no other queue (see `ClientStream` for the content rectangle).
/// *Ownership*: its connection's; the services and the table are borrowed and outlive it.
class InputRouter {
 public:
  using Reply = std::function<void(ControlMessage)>;

  InputRouter(const HostServices& services, const StreamTable& streams, Reply reply)
      : services_(services), streams_(streams), reply_(std::move(reply)) {}

  void route(const InputEvent& event);
  void insertText(const std::string& text);

  /// The client is gone: ends the typing of its text and lets go of every key and button it still holds.
  void leave();
  /// Call before a stream leaves the table or is replaced there: what is held in it can no longer be let go
  /// of by events that name it. Keys belong to the stream that was pointed at last.
  void streamEnds(std::uint32_t streamID);

  std::optional<std::uint32_t> lastInputStreamID() const { return lastInputStreamID_; }

 private:
  struct Located {
    ClientStream* stream;
    PointXY point;
  };

  bool isPermitted();
  std::optional<Located> locate(std::uint32_t streamID, float x, float y);
  void inject(const inputEvent::Pointer& event);
  void inject(const inputEvent::Scroll& event);
  void inject(const inputEvent::Magnify& event);
  void inject(const inputEvent::Key& event);
  void post(const HeldInput::Release& release);

  const HostServices& services_;
  const StreamTable& streams_;
  const Reply reply_;
  HeldInput held_;
  std::optional<std::uint32_t> lastInputStreamID_;
  bool sentAccessibilityError_ = false;
};

}  // namespace quorl
