// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include <quorl-client/Commands/AgentRows.h>
#include <quorl-client/Commands/CommandContext.h>
#include <quorl-client/Commands/MessageExchange.h>

/// Requests about agents that several commands share.
namespace quorl::client {

Outcome<std::vector<AgentDescriptor>> fetchAgents(Session& session, Deadline deadline);
Outcome<std::vector<AgentCatalogEntry>> fetchCatalog(Session& session, Deadline deadline,
                                                     const ControlMessage& request);
Outcome<std::vector<ExternalAgent>> fetchExternalAgents(Session& session, Deadline deadline);

/// An open session and the row that the command's first argument names.
struct ChosenAgent {
  std::unique_ptr<Session> session;
  AgentDescriptor row;
  Deadline deadline;
};
Outcome<ChosenAgent> openAgent(const Arguments& arguments, CommandContext& context,
                               const std::function<bool(const AgentDescriptor&)>& isFit);

/// For commands that listen until interrupted, which is their ordinary end. Passes every message to `take`,
/// reconnects when the connection breaks, and reports that on the output.
Outcome<void> followMessages(const Arguments& arguments, CommandContext& context,
                             const std::function<void(const ControlMessage&)>& take,
                             const std::string& positionalHost = {});

}  // namespace quorl::client
