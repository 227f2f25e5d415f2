// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/DisplayCatalog.h>
#include <QuorlHostLinux/X11/Displays/DisplayList.h>
#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// An output of the graphics card (RandR) that has something connected.
struct ConnectedOutput {
  std::string name;         // "eDP-1"
  std::string monitorName;  // as the monitor itself says in its EDID; empty when unknown
  PixelSize preferred;      // 0 x 0 when unknown

  bool operator==(const ConnectedOutput&) const = default;
};

struct KnownDisplay {
  std::uint32_t id = 0;
  bool isActive = false;
  DisplayFacts facts;
};

/// Waits for the server. Does not probe the outputs, which could take seconds.
std::vector<ConnectedOutput> readOutputs(X11Connection& connection);

/// The displays that show pictures, in the order of the monitors, then the outputs that are connected and
/// show none.
std::vector<KnownDisplay> knownDisplays(const std::vector<Monitor>& monitors,
                                        const std::vector<ConnectedOutput>& outputs);

/// Whether an output of this name is a panel of the machine itself, by the names of the kernel's connectors
/// (drm_connector.c) and of older drivers.
bool isBuiltInOutput(std::string_view name);

/// The monitor's name in its EDID 1.3 or 1.4 (VESA E-EDID, display descriptor FCh); empty when there is none.
std::string monitorNameOf(ByteView edid);

}  // namespace quorl
