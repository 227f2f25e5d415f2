// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include <quorl-client/Commands/CommandContext.h>
#include <quorl-client/Video/VideoReceiver.h>

namespace quorl::client {

struct StreamOptions {
  StreamTarget target;
  StreamConfig config;
  VideoTransport transport = VideoTransport::tcp;
  std::optional<PointSize> view;  // --view
};

/// "WIDTHxHEIGHT" in points, such as "1024x768". Absent for anything else or a side that is not positive.
std::optional<PointSize> parseView(std::string_view text);

/// Options of the commands that show a stream.
std::vector<OptionSpec> streamOptionSpecs();
Outcome<StreamOptions> streamOptions(const Arguments& arguments);

/// --display, --window and --app only, for commands that need positions in a target.
std::vector<OptionSpec> targetOptionSpecs();
Outcome<StreamTarget> streamTargetOption(const Arguments& arguments);

}  // namespace quorl::client
