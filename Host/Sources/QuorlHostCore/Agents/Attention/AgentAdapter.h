// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string_view>

#include <QuorlKit/Foundation/Record.h>
#include <QuorlKit/Models/AgentModels.h>

namespace quorl {

/// Which program a session supervises, since each prompts in its own words.
enum class AgentAdapter : std::uint8_t { claudeCode, codex, aider, generic };
BOOST_DESCRIBE_ENUM(AgentAdapter, claudeCode, codex, aider, generic)

/// A resumed session is `claudeCode` whatever its command; else the command decides, by substring, whatever
/// the case.
AgentAdapter inferAgentAdapter(std::string_view command, AgentKind kind);

}  // namespace quorl
