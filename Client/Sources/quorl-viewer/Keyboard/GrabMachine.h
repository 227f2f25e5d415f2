// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <quorl-viewer/Keyboard/KeyInput.h>

namespace quorl::viewer {

/// When the viewer takes the keyboard from the desktop, so that Super and Alt+Tab reach the host.
enum class GrabPolicy : std::uint8_t { never, inFullScreen, whenFocused };

enum class GrabRefusal : std::uint8_t {
  busy,     // another program has the keyboard, perhaps for a moment
  refused,  // not allowed or not possible here
};

namespace grabAction {

struct Take {
  bool operator==(const Take&) const = default;
};
struct LetGo {
  bool operator==(const LetGo&) const = default;
};
/// Everything that is held at the host is released (`KeyboardMachine::releaseAll`, `PointerMachine`).
struct ReleaseInput {
  bool operator==(const ReleaseInput&) const = default;
};
struct ShowChord {
  bool operator==(const ShowChord&) const = default;
};
struct HideChord {
  bool operator==(const HideChord&) const = default;
};
struct ShowRefusal {
  std::string reason;
  bool operator==(const ShowRefusal&) const = default;
};

}  // namespace grabAction

using GrabAction = std::variant<grabAction::Take, grabAction::LetGo, grabAction::ReleaseInput,
                                grabAction::ShowChord, grabAction::HideChord, grabAction::ShowRefusal>;
using GrabActions = std::vector<GrabAction>;

/// Control+Alt+Shift+Space takes and releases the keyboard, always. No desktop uses it, every laptop has
/// these keys, and Space is in the same place in every layout. Control+Alt+Backspace, the function keys and
/// the right Control key were rejected: the first may end the X server, the others are missing on small
/// keyboards.
inline constexpr std::string_view releaseChordText = "Ctrl+Alt+Shift+Space";
/// `held`: the modifiers that the keyboard machine holds. The press is then not for the host.
bool isReleaseChord(const KeyInput& key, WireModifiers held);

/// Decides when the keyboard is grabbed. `Take` is answered by `taken` or `refused`.
///
/// *Queue*: pure; one thread at a time. The owner calls `tick` at `nextTick`.
class GrabMachine {
 public:
  using Time = std::chrono::steady_clock::time_point;
  static constexpr std::chrono::seconds chordTime{3};
  /// A window manager that has just given the window the focus may hold the keyboard until Alt is released.
  static constexpr std::chrono::milliseconds retryPause{100};
  static constexpr std::chrono::seconds longestRetry{2};

  GrabActions focusGained(Time now);
  GrabActions focusLost(Time now);
  GrabActions setFullScreen(bool isFullScreen, Time now);
  GrabActions setPolicy(GrabPolicy policy, Time now);
  /// The chord, or the entry of the menu. Counts until the focus, the policy or the screen mode changes.
  GrabActions toggle(Time now);

  GrabActions taken(Time now);
  GrabActions refused(GrabRefusal refusal, std::string reason, Time now);
  /// The window system has ended the grab.
  GrabActions lost(Time now);

  GrabActions tick(Time now);
  std::optional<Time> nextTick() const;
  bool isHeld() const { return state_ == State::held; }
  GrabPolicy policy() const { return policy_; }

 private:
  enum class State : std::uint8_t { free, asked, waiting, refused, held };

  bool isWanted() const;
  void update(GrabActions& actions, Time now);
  void end(GrabActions& actions);

  GrabPolicy policy_ = GrabPolicy::never;
  bool hasFocus_ = false;
  bool isFullScreen_ = false;
  std::optional<bool> choice_;  // by the chord
  State state_ = State::free;
  Time giveUp_;
  std::optional<Time> retry_;
  std::optional<Time> chordEnds_;
};

}  // namespace quorl::viewer
