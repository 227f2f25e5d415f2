// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "../Support/Program.h"

namespace quorl::bench {

/// A server of one display, and a viewer that shows it on the whole of another one.
struct Contender {
  std::string name;
  std::function<std::unique_ptr<Program>(std::uint16_t port)> serve;
  /// Called once after the start of each server; false if the viewer could not be let in.
  std::function<bool(std::uint16_t port)> prepare;
  std::function<std::unique_ptr<Program>(std::uint16_t port)> view;
};

struct Places {
  std::string host;    // the program's path; client and viewer are beside it
  std::string folder;  // a temporary one
  std::string served;  // the display that is served
  std::string shown;   // the display of the viewer
};

/// The host and its viewer, then x0vncserver and x11vnc with xtigervncviewer, each with its default settings
/// and tuned for latency.
std::vector<Contender> contenders(const Places& places);

/// The payload bytes that a server has sent over the TCP connections of its port that are open now, as the
/// kernel counts them.
std::uint64_t sentBytes(std::uint16_t port);

}  // namespace quorl::bench
