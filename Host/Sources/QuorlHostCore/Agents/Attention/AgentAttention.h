// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlHostCore/Agents/Attention/AgentAdapter.h>
#include <QuorlHostCore/Concurrency/MonotonicTime.h>
#include <QuorlHostCore/Text/RegularExpression.h>
#include <QuorlKit/Foundation/ByteView.h>

/// Whether the text on a quiet screen asks for a human. The patterns are deliberately broad, because they are
/// tried only after silence and on the end of the output. All functions may be called from any thread.
namespace quorl::AgentAttention {

/// A session that has been silent for less time is working.
inline constexpr Duration silenceBeforeWaiting = std::chrono::seconds(2);
/// The minimum interval between two attentions of one session.
inline constexpr Duration attentionInterval = std::chrono::seconds(30);
/// The part of the output that the patterns see, in bytes from its end.
inline constexpr std::size_t tailLength = 512;
/// The body of an attention if the screen has no line to show.
inline constexpr std::string_view fallbackBody = "waiting for input";

/// The patterns of one program, in order: the common ones, then its own.
std::vector<std::string_view> patterns(AgentAdapter adapter);

/// One expression that matches any of the patterns in either case; absent if it does not compile. Compiled at
/// first use and kept.
std::shared_ptr<const RegularExpression> regex(AgentAdapter adapter);

struct Finding {
  bool asks = false;  // a pattern was found
  std::string body;   // the last line that is not empty, else `fallbackBody`
};

/// Examines the last `tailLength` bytes of `output`, which is raw terminal output.
Finding examine(ByteView output, AgentAdapter adapter);

}  // namespace quorl::AgentAttention
