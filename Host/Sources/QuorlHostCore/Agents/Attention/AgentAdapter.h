// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string_view>

#include <QuorlKit/Foundation/Record.h>
#include <QuorlKit/Models/AgentModels.h>

namespace quorl {

/// The program that a session supervises. Each program words its prompts differently.
enum class AgentAdapter : std::uint8_t { claudeCode, codex, aider, generic };
BOOST_DESCRIBE_ENUM(AgentAdapter, claudeCode, codex, aider, generic)

/// A resumed session is `claudeCode` for any command. Otherwise a substring of the command decides, in either
/// case.
AgentAdapter inferAgentAdapter(std::string_view command, AgentKind kind);

}  // namespace quorl
