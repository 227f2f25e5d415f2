// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include <QuorlHostCore/Session/QuestionDesk.h>
#include <QuorlHostCore/Shared/StreamOutputSink.h>
#include <QuorlKit/Protocol/ControlMessage.h>

namespace quorl {

struct HostServices;
class FileDesk;
class InputRouter;
class StreamTable;

/// What the routing of an authenticated client's messages needs of its connection.
///
/// *Queue*: the connection's, for all operations.
/// *Blocking*: none.
class RoutedSession {
 public:
  /// Takes the answer, once, on any thread. Without a message nothing is sent.
  using Answer = std::function<void(std::optional<ControlMessage>)>;
  /// Finds the answer, now or later.
  using Answerer = void (*)(const std::shared_ptr<HostServices>& services, Answer answer);

  virtual ~RoutedSession() = default;
  virtual const std::shared_ptr<HostServices>& services() = 0;
  virtual StreamTable& streams() = 0;
  virtual InputRouter& input() = 0;
  virtual FileDesk& files() = 0;
  /// This client, for services that answer later.
  virtual std::weak_ptr<StreamOutputSink> sink() = 0;
  /// Also true for messages in the same read as the one that ended the session.
  virtual bool isClosed() const = 0;
  virtual void reply(ControlMessage message) = 0;
  /// Has a service answer a question, with the state at that time. Questions of the same kind that arrive
  /// meanwhile share one further answer.
  virtual void answer(Question question, Answerer answerer) = 0;
  virtual void noteProbe() = 0;
  /// Opens the datagram channel to this port of the client's host, in place of an earlier one. 0 closes it.
  virtual void openVideoChannel(std::uint16_t udpPort) = 0;
  virtual void end() = 0;
};

/// Passes one message of an authenticated client to the service that handles it. Messages that only a host
/// sends are ignored.
void routeMessage(RoutedSession& session, const ControlMessage& message);

}  // namespace quorl
