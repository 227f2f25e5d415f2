// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/AgentExchange.h>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Session/LinkWatch.h>
#include <quorl-client/Session/ReconnectBackoff.h>

namespace quorl::client {
namespace {

Outcome<void> followSession(Session& session, const std::function<void(const ControlMessage&)>& take) {
  LinkWatch link(Clock::now());
  for (;;) {
    while (const auto frame = session.takeFrame()) {
      if (const auto message = session.decodeControl(*frame)) take(*message);
      link.heard(Clock::now());
    }
    switch (link.act(Clock::now())) {
      case LinkWatch::Action::none:
        break;
      case LinkWatch::Action::ask:
        if (auto sent = session.send(OutgoingFrame::raw(FrameType::ping, shareBytes({}))); !sent) return sent;
        break;
      case LinkWatch::Action::giveUp:
        return failed(ExitCode::failure, "the host is silent");
    }
    if (const auto ready = session.wait(link.due()); !ready) return std::unexpected(ready.error());
  }
}

bool mayPass(const ClientError& error) {
  return error.code == ExitCode::failure || error.code == ExitCode::unreachable ||
         error.code == ExitCode::timedOut;
}

}  // namespace

Outcome<std::vector<AgentDescriptor>> fetchAgents(Session& session, Deadline deadline) {
  return ask<message::AgentList>(session, deadline, ControlMessage(message::RequestAgentList{}),
                                 "the host did not send its agents in time");
}

Outcome<std::vector<AgentCatalogEntry>> fetchCatalog(Session& session, Deadline deadline,
                                                     const ControlMessage& request) {
  return ask<message::AgentCatalog>(session, deadline, request, "the host did not send its catalog in time");
}

Outcome<std::vector<ExternalAgent>> fetchExternalAgents(Session& session, Deadline deadline) {
  return ask<message::ExternalAgentList>(session, deadline, ControlMessage(message::RequestExternalAgents{}),
                                         "the host did not send the agents it found in time");
}

Outcome<ChosenAgent> openAgent(const Arguments& arguments, CommandContext& context,
                               const std::function<bool(const AgentDescriptor&)>& isFit) {
  auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  const auto rows = fetchAgents(**session, *deadline);
  if (!rows) return std::unexpected(rows.error());
  auto row = chooseAgent(*rows, arguments.positional()[0], isFit);
  if (!row) return std::unexpected(row.error());
  return ChosenAgent{std::move(*session), std::move(*row), *deadline};
}

Outcome<void> followMessages(const Arguments& arguments, CommandContext& context,
                             const std::function<void(const ControlMessage&)>& take,
                             const std::string& positionalHost) {
  auto session = openSession(arguments, context, positionalHost);
  if (!session) return std::unexpected(session.error());
  context.waiter.onSlow = nullptr;
  ReconnectBackoff backoff;
  for (;;) {
    backoff.connected(Clock::now());
    const auto ended = followSession(**session, take);
    if (ended.error().code == ExitCode::interrupted) {
      closeSession(**session);
      return {};
    }
    backoff.lost(Clock::now());
    context.output.note(fmt::format("quorl_client: {}; trying again", ended.error().what));
    do {
      if (const auto waited = context.waiter.wait({}, within(backoff.next())); !waited) return {};
      const auto deadline = answerDeadline(arguments);
      if (!deadline) return std::unexpected(deadline.error());
      session = openSession(arguments, context, positionalHost, *deadline, Questions::refused);
    } while (!session && mayPass(session.error()));
    if (!session) return std::unexpected(session.error());
    context.output.note("quorl_client: connected again");
  }
}

}  // namespace quorl::client
