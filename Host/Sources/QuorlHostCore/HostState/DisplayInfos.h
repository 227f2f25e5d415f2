// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <vector>

#include <QuorlHostCore/Ports/DisplayCatalog.h>
#include <QuorlHostCore/Ports/ScreenCapture.h>
#include <QuorlKit/Models/Models.h>

namespace quorl {

/// How many displays are taken from the catalogue's lists.
inline constexpr std::size_t maxListedDisplays = 16;

/// The displays for a client: those that can be captured; if there are none, the active ones of the
/// catalogue; if there are none either, the connected ones. A display that has gone meanwhile is left out.
///
/// `catalog` may be null. Then, and for a display that the catalogue does not know, the values of `shareable`
/// are used.
///
/// *Queue*: any thread. *Blocking*: as the catalogue.
std::vector<DisplayInfo> displayInfos(const std::vector<ShareableDisplay>& shareable,
                                      DisplayCatalog* catalog);

}  // namespace quorl
