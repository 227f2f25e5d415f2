// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <QuorlHostCore/Input/HeldInput.h>
#include <QuorlHostCore/Session/StreamTable.h>
#include <QuorlKit/Protocol/ControlMessage.h>
#include <QuorlKit/Protocol/InputEvents.h>

namespace quorl {

struct HostServices;

/// Passes one client's input to the injector: refuses it without the platform's permission, maps positions in
/// a stream's picture to points of the desktop, and raises the window that is used.
///
/// *Queue*: its connection's.
/// *Blocking*: waits for no other queue; see `ClientStream` for the content rectangle.
/// *Ownership*: its connection's. The services and the table are borrowed and outlive it.
class InputRouter {
 public:
  using Reply = std::function<void(ControlMessage)>;

  InputRouter(const HostServices& services, const StreamTable& streams, Reply reply)
      : services_(services), streams_(streams), reply_(std::move(reply)) {}

  void route(const InputEvent& event);
  void insertText(const std::string& text);

  /// What happens to text that is not typed yet.
  enum class WaitingText : std::uint8_t { drop, finish };

  /// The client has disconnected: releases the keys and buttons that it holds.
  void leave(WaitingText text);
  /// Call before a stream is removed or replaced: events that name it can no longer release what is held in
  /// it. Keys belong to the stream of the last pointer input.
  void streamEnds(std::uint32_t streamID);

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
  void raise(ClientStream& stream);
  void post(const HeldInput::Release& release);

  const HostServices& services_;
  const StreamTable& streams_;
  const Reply reply_;
  const std::shared_ptr<const void> source_ = std::make_shared<char>();  // of the injector's input
  HeldInput held_;
  std::optional<std::uint32_t> lastInputStreamID_;
  bool sentAccessibilityError_ = false;
};

}  // namespace quorl
