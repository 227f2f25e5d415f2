// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace quorl {

/// Lets screen readers read the PIN, the state's dot and the QR code, which the windows draw themselves, as
/// texts and a picture: the toolkit takes such widgets for empty space. Once, before the first window.
void describeDrawnWidgets();

}  // namespace quorl
