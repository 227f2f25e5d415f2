// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include <quorl-client/Commands/CommandContext.h>
#include <quorl-client/Video/VideoReceiver.h>

namespace quorl::client {

struct StreamOptions {
  StreamTarget target;
  StreamConfig config;
  VideoTransport transport = VideoTransport::tcp;
};

// What the commands that show a stream have in common.
std::vector<OptionSpec> streamOptionSpecs();
Outcome<StreamOptions> streamOptions(const Arguments& arguments);

// --display, --window and --app alone, for commands that only point into a target.
std::vector<OptionSpec> targetOptionSpecs();
Outcome<StreamTarget> streamTargetOption(const Arguments& arguments);

}  // namespace quorl::client
