// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QuorlKit/Models/Models.h>
#include <QuorlKit/Models/NetworkModels.h>

namespace quorl::client::test {

/// One display, one window and its application; the window's title tries to control a terminal.
inline HostState sampleState() {
  HostState state;
  state.displays = {{1, "Built-in", 2560, 1600, 2, true}};
  state.windows = {{77, "note\x1b[2J", "org.example.editor", "Editor", {{10, 20}, {300, 200}}, true}};
  state.apps = {{"org.example.editor", "Editor", 321, 1, std::nullopt}};
  state.metrics = {0.25, 1U << 30U, 1ULL << 32U, 3600, 0};
  return state;
}

inline NetworkStatus sampleNetwork() {
  NetworkStatus status;
  status.overlay = OverlayKind::tailscale;
  status.health = OverlayHealth::online;
  status.overlayAddresses = {"100.64.0.1"};
  status.sessionPort = 47900;
  status.relayPort = 47901;
  return status;
}

/// The shortest bytes that begin as a PNG file.
inline Bytes samplePNG(std::uint8_t tag = 0) {
  return {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', tag};
}

}  // namespace quorl::client::test
