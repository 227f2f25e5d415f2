// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <string_view>
#include <variant>

#include <QuorlKit/Protocol/ControlMessage.h>

#include <quorl-client/Session/Session.h>

/// Messages that a command sends and waits for.
namespace quorl::client {

/// Waits until `take` returns true for a message. Fails on an `error` from the host whose code begins with
/// `errorFamily`, and at the deadline with `tooLate`.
Outcome<void> awaitMessage(Session& session, Deadline deadline, std::string_view errorFamily,
                           std::string_view tooLate, const std::function<bool(const ControlMessage&)>& take);

/// Waits for a message of one case and returns what it carries.
template <class Case>
Outcome<decltype(Case::_0)> awaitCase(Session& session, Deadline deadline, std::string_view tooLate) {
  decltype(Case::_0) answer;
  const auto awaited = awaitMessage(session, deadline, "proto.", tooLate, [&](const ControlMessage& message) {
    const auto* found = std::get_if<Case>(&message);
    if (found != nullptr) answer = found->_0;
    return found != nullptr;
  });
  if (!awaited) return std::unexpected(awaited.error());
  return answer;
}

/// Sends a request and waits for its answer.
template <class Case>
Outcome<decltype(Case::_0)> ask(Session& session, Deadline deadline, const ControlMessage& request,
                                std::string_view tooLate) {
  if (auto sent = session.send(request); !sent) return std::unexpected(sent.error());
  return awaitCase<Case>(session, deadline, tooLate);
}

}  // namespace quorl::client
