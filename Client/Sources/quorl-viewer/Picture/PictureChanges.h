// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <quorl-client/Video/PicturePlanes.h>

namespace quorl::viewer {

/// A rectangle outside of which two pictures are equal, as small as their chroma samples allow; empty if they
/// are equal. Everything, if they differ in size, format or colours. Pure; reads each sample at most once.
PixelRect changedPart(const client::PicturePlanes& before, const client::PicturePlanes& after);

/// The pixels of `destination`, on which a picture of this size is painted whole, that `part` of it has a
/// share in, and a few more where the picture is scaled. Pure.
PixelRect shownPart(const PixelRect& part, PixelSize picture, const PixelRect& destination);

}  // namespace quorl::viewer
