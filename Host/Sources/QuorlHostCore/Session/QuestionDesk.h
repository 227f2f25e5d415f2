// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>

namespace quorl {

/// Questions that a service answers later, with its newest state.
enum class Question : std::uint8_t {
  hostState,
  networkStatus,
  clipboard,
  agentList,
  externalAgents,
  userList,
};

/// Keeps one client's questions of one kind from piling up: questions that arrive while one is being answered
/// share one further answer, because the state may have changed meanwhile.
///
/// *Queue*: the owner's; a value.
class QuestionDesk {
 public:
  /// Whether to make the answer now.
  bool ask(Question question) {
    const auto [entry, isNew] = open_.try_emplace(question, false);
    if (!isNew) entry->second = true;
    return isNew;
  }
  /// Whether to make another answer.
  bool answered(Question question) {
    const bool again = open_[question];
    if (again)
      open_[question] = false;
    else
      open_.erase(question);
    return again;
  }

 private:
  std::map<Question, bool> open_;  // whether it was asked again
};

}  // namespace quorl
