// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>

namespace quorl {

/// Questions of a client that a service answers later, each with the newest state.
enum class Question : std::uint8_t { hostState, agentList, externalAgents, userList };

/// Keeps one client's questions of one kind from piling up: while one is being answered, all further ones
/// are answered together afterwards, because what they ask about may have changed meanwhile.
///
/// *Queue*: none of its own; a value of its owner's.
class QuestionDesk {
 public:
  /// Whether the answer is to be made now.
  bool ask(Question question) {
    const auto [entry, isNew] = open_.try_emplace(question, false);
    if (!isNew) entry->second = true;
    return isNew;
  }
  /// Whether to make another one.
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
