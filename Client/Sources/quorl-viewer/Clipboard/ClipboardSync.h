// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <variant>
#include <vector>

#include <quorl-viewer/Clipboard/ClipboardItem.h>

namespace quorl::viewer {

/// The two selections of a Linux desktop.
enum class Selection : std::uint8_t {
  clipboard,  // copy and paste
  primary,    // what is marked; the middle button pastes it
};

struct LocalChange {
  Selection selection = Selection::clipboard;
  std::uint64_t serial = 0;           // larger with each change, of both selections
  std::optional<ClipboardKind> kind;  // absent: empty, or a form that is not shared
  std::optional<std::size_t> size;    // if it is known before the read
  bool isOurs = false;                // has the marker that `SetLocal` puts beside its content
};

namespace clipboardAction {

/// To be answered by `localRead`.
struct ReadLocal {
  Selection selection = Selection::clipboard;
  std::uint64_t serial = 0;
};
/// Offer this as CLIPBOARD, with the marker.
struct SetLocal {
  ClipboardItem item;
};
enum class Route : std::uint8_t {
  session,        // among the input
  ownConnection,  // another connection to the host, so that keys do not wait for a large picture
};
/// To be answered by `sent`, when an `echoRequest` after it was answered.
struct Send {
  ClipboardItem item;
  Route route = Route::session;
};
/// `requestClipboard`. The answer comes as `hostSent`, or none does.
struct AskHost {};
struct ShowTooLarge {
  ClipboardKind kind = ClipboardKind::text;
  std::size_t size = 0;
};

}  // namespace clipboardAction

using ClipboardAction =
    std::variant<clipboardAction::ReadLocal, clipboardAction::SetLocal, clipboardAction::Send,
                 clipboardAction::AskHost, clipboardAction::ShowTooLarge>;
using ClipboardActions = std::vector<ClipboardAction>;

struct ClipboardRules {
  bool toHost = true;
  bool fromHost = true;
  bool primary = false;  // what is marked here is sent too. Content of the host never becomes PRIMARY.
};

/// Keeps this computer's clipboard and the host's in step. Events go in, actions come out.
///
/// A copy here is read and sent while the window has the focus, or when it gets it. Content that the other
/// side has already is neither sent nor set, so that a clipboard manager that takes content over, on either
/// side, causes no message. One send is under way at a time; of the copies made meanwhile only the last
/// follows.
///
/// When both sides copy at the same moment, their messages cross and each would end with the other's content.
/// Content of the host that arrives before a send is confirmed may be older than it, so the host is asked
/// afterwards what it has, and that counts.
///
/// *Queue*: pure; one thread at a time.
class ClipboardSync {
 public:
  using Time = std::chrono::steady_clock::time_point;
  static constexpr std::size_t maxTextSize = std::size_t{8} << 20;
  static constexpr std::size_t maxImageSize = std::size_t{16} << 20;
  static constexpr std::size_t largeSize = std::size_t{64} << 10;
  /// The host hands content to its clipboard apart from its answers.
  static constexpr std::chrono::seconds doubtAfterSending{1};

  explicit ClipboardSync(ClipboardRules rules = {}) : rules_(rules) {}

  ClipboardActions setRules(ClipboardRules rules);
  /// After the content that is there at the start was reported as a change.
  ClipboardActions connected();
  void disconnected();
  ClipboardActions focusGained();
  void focusLost() { hasFocus_ = false; }

  ClipboardActions localChanged(const LocalChange& change);
  /// Nothing: it could not be read, or is not there any more.
  ClipboardActions localRead(Selection selection, std::uint64_t serial, std::optional<ClipboardItem> item);
  ClipboardActions hostSent(ClipboardItem item, Time now);
  ClipboardActions sent(Time now);

 private:
  struct Change {
    Selection selection;
    std::uint64_t serial;

    bool operator==(const Change&) const = default;
  };
  struct Sending {
    Change change;
    SHA256Digest digest;
  };

  void readIfDue(ClipboardActions& actions);
  void askHost(ClipboardActions& actions);

  ClipboardRules rules_;
  bool isConnected_ = false;
  bool hasFocus_ = false;
  std::optional<Change> pending_;  // the newest copy here that was not read yet
  std::optional<Change> reading_;
  std::optional<Sending> sending_;
  std::optional<SHA256Digest> shared_;         // what the host has, as far as is known
  std::map<Selection, SHA256Digest> handled_;  // what each selection had when it was read or set last
  bool isClipboardKnown_ = false;              // nothing was copied here since
  bool asksWhenSent_ = false;
  std::optional<Time> sentAt_;  // the last send, until the host was asked about it
};

}  // namespace quorl::viewer
