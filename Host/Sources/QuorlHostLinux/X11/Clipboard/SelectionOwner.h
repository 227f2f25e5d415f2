// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include <QuorlHostCore/Ports/Pasteboard.h>
#include <QuorlHostLinux/X11/Clipboard/ClipboardAtoms.h>
#include <QuorlHostLinux/X11/Clipboard/ClipboardLimits.h>
#include <QuorlHostLinux/X11/Connection/X11Connection.h>

struct xcb_selection_request_event_t;

namespace quorl {

/// Content of ours. Shared with the transfers that still send it after it was replaced.
struct OwnContent {
  PasteboardType type = PasteboardType::text;
  SharedBytes bytes;
};

/// Gives our content to programs that ask for the CLIPBOARD selection: the list of targets, the time of
/// ownership, several forms at once (MULTIPLE), and large content in parts (INCR). Serves several requestors
/// at the same time; one that stops fetching is dropped.
///
/// *Queue*: one thread at a time. Waits for the server only to read the list of a MULTIPLE request.
/// *Lifetime*: ends before its connection.
class SelectionOwner {
 public:
  using Time = std::chrono::steady_clock::time_point;

  /// Larger content is sent in parts of this size.
  static constexpr std::size_t partSize = 256 * std::size_t{1'024};

  SelectionOwner(X11Connection& connection, const ClipboardAtoms& atoms, const ClipboardLimits& limits);

  /// We own the selection since `time` of the server.
  void own(OwnContent content, std::uint32_t time);
  /// Another program owns it. Running transfers go on.
  void disown();

  /// Takes an event of the server.
  void take(const void* event);
  /// Drops requestors that have taken too long. Returns when to call again.
  std::optional<Time> turn();

 private:
  struct Owned {
    OwnContent content;
    std::uint32_t time;
  };
  struct Transfer {
    std::uint32_t window = 0;
    std::uint32_t property = 0;
    std::uint32_t type = 0;
    SharedBytes bytes;
    std::size_t sent = 0;
    bool isEndSent = false;
    Time stepEnd;
    Time end;
  };

  void answer(const xcb_selection_request_event_t& request);
  bool convert(std::uint32_t requestor, std::uint32_t target, std::uint32_t property);
  bool convertSeveral(std::uint32_t requestor, std::uint32_t property);
  void put(std::uint32_t window, std::uint32_t property, std::uint32_t type,
           std::span<const std::uint32_t> values);
  void putBytes(std::uint32_t window, std::uint32_t property, std::uint32_t type, ByteView bytes);
  bool startTransfer(std::uint32_t window, std::uint32_t property, std::uint32_t type, SharedBytes bytes);
  void sendPart(std::uint32_t window, std::uint32_t property);
  void dropTransfersTo(std::uint32_t window);
  void watch(std::uint32_t window);
  void unwatchIfUnused(std::uint32_t window);

  X11Connection& connection_;
  const ClipboardAtoms& atoms_;
  const ClipboardLimits limits_;
  std::optional<Owned> owned_;
  std::vector<Transfer> transfers_;
};

}  // namespace quorl
