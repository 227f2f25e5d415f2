// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Session/StateKey.h>

#include <type_traits>
#include <variant>

namespace quorl {

namespace {

template <class Case, class... Cases>
constexpr bool isOneOf = (std::is_same_v<Case, Cases> || ...);

template <class Case>
constexpr bool isWholeState =
    isOneOf<Case, message::HostState, message::Metrics, message::NetworkStatus, message::AgentList,
            message::ServiceList, message::AgentCatalog, message::ExternalAgentList, message::GUIAgentBundles,
            message::UserList, message::Clipboard>;

const std::size_t agentEventCase = ControlMessage(message::AgentEvent{}).index();

}  // namespace

std::optional<StateKey> stateKeyOf(const ControlMessage& message) {
  return std::visit(
      [&]<class Case>(const Case& value) -> std::optional<StateKey> {
        if constexpr (isWholeState<Case>) return StateKey{.messageCase = message.index()};
        if constexpr (std::is_same_v<Case, message::AgentEvent>) {
          const AgentEvent& event = value._0;
          // Each is news of its own.
          if (std::holds_alternative<agentEvent::Attention>(event)) return std::nullopt;
          const UUID agent = std::visit(
              [](const auto& happened) {
                if constexpr (requires { happened.id; })
                  return happened.id;
                else
                  return happened._0.id;
              },
              event);
          return StateKey{message.index(), event.index(), agent};
        }
        return std::nullopt;
      },
      message);
}

bool isAgentEvent(const StateKey& key) {
  return key.messageCase == agentEventCase;
}

}  // namespace quorl
