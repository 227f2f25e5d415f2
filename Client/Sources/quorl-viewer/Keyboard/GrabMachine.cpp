// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Keyboard/GrabMachine.h>

#include <algorithm>
#include <utility>

#include <quorl-viewer/Keyboard/KeyPlaces.h>

namespace quorl::viewer {

bool isReleaseChord(const KeyInput& key, WireModifiers held) {
  constexpr auto wanted = WireModifiers::control | WireModifiers::option | WireModifiers::shift;
  const auto all = key.modifiers | held;
  return key.scanCode == scanCode::space && !key.isRepeat && all.contains(wanted) &&
         !all.contains(WireModifiers::command);
}

GrabActions GrabMachine::focusGained(Time now) {
  GrabActions actions;
  hasFocus_ = true;
  if (state_ == State::refused) state_ = State::free;
  update(actions, now);
  return actions;
}

GrabActions GrabMachine::focusLost(Time now) {
  GrabActions actions;
  hasFocus_ = false;
  choice_.reset();
  update(actions, now);
  return actions;
}

GrabActions GrabMachine::setFullScreen(bool isFullScreen, Time now) {
  GrabActions actions;
  if (isFullScreen == isFullScreen_) return actions;
  isFullScreen_ = isFullScreen;
  choice_.reset();
  if (state_ == State::refused) state_ = State::free;
  update(actions, now);
  const bool isReleased = std::ranges::find(actions, GrabAction(grabAction::ReleaseInput{})) != actions.end();
  if (!isReleased) actions.emplace_back(grabAction::ReleaseInput{});
  return actions;
}

GrabActions GrabMachine::setPolicy(GrabPolicy policy, Time now) {
  GrabActions actions;
  policy_ = policy;
  choice_.reset();
  if (state_ == State::refused) state_ = State::free;
  update(actions, now);
  return actions;
}

GrabActions GrabMachine::toggle(Time now) {
  GrabActions actions;
  if (!hasFocus_) return actions;
  const bool isOn = state_ == State::held || state_ == State::asked || state_ == State::waiting;
  choice_ = !isOn;
  if (state_ == State::refused) state_ = State::free;
  update(actions, now);
  return actions;
}

GrabActions GrabMachine::taken(Time now) {
  GrabActions actions;
  if (state_ != State::asked) return actions;
  state_ = State::held;
  chordEnds_ = now + chordTime;
  actions.emplace_back(grabAction::ShowChord{});
  update(actions, now);
  return actions;
}

GrabActions GrabMachine::refused(GrabRefusal refusal, std::string reason, Time now) {
  GrabActions actions;
  if (state_ != State::asked) return actions;
  if (refusal == GrabRefusal::busy && now + retryPause <= giveUp_) {
    state_ = State::waiting;
    retry_ = now + retryPause;
  } else {
    state_ = State::refused;
    actions.emplace_back(grabAction::ShowRefusal{std::move(reason)});
  }
  return actions;
}

GrabActions GrabMachine::lost(Time /*now*/) {
  GrabActions actions;
  if (state_ != State::held) return actions;
  end(actions);
  state_ = State::refused;
  return actions;
}

GrabActions GrabMachine::tick(Time now) {
  GrabActions actions;
  if (chordEnds_ && now >= *chordEnds_) {
    chordEnds_.reset();
    actions.emplace_back(grabAction::HideChord{});
  }
  if (state_ == State::waiting && retry_ && now >= *retry_) {
    retry_.reset();
    state_ = State::asked;
    actions.emplace_back(grabAction::Take{});
  }
  return actions;
}

std::optional<GrabMachine::Time> GrabMachine::nextTick() const {
  if (!retry_) return chordEnds_;
  return chordEnds_ ? std::min(*retry_, *chordEnds_) : *retry_;
}

bool GrabMachine::isWanted() const {
  if (!hasFocus_) return false;
  if (choice_) return *choice_;
  switch (policy_) {
    case GrabPolicy::never:
      return false;
    case GrabPolicy::inFullScreen:
      return isFullScreen_;
    case GrabPolicy::whenFocused:
      return true;
  }
  return false;
}

void GrabMachine::update(GrabActions& actions, Time now) {
  if (isWanted()) {
    if (state_ != State::free) return;
    state_ = State::asked;
    giveUp_ = now + longestRetry;
    actions.emplace_back(grabAction::Take{});
    return;
  }
  if (state_ != State::free && state_ != State::refused) {
    actions.emplace_back(grabAction::LetGo{});
    end(actions);
  }
  state_ = State::free;
}

void GrabMachine::end(GrabActions& actions) {
  state_ = State::free;
  retry_.reset();
  actions.emplace_back(grabAction::ReleaseInput{});
  if (std::exchange(chordEnds_, std::nullopt)) actions.emplace_back(grabAction::HideChord{});
}

}  // namespace quorl::viewer
