// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include <QColor>

#include <QuorlHostCore/Menu/Model/MenuSnapshot.h>

class QApplication;

namespace quorl {

enum class Shade : std::uint8_t { light, dark };

/// The colors of all windows. Text has a contrast of at least 4.5 to 1 on `window` and on `card`.
struct Theme {
  QColor window;
  QColor card;
  QColor border;
  QColor text;
  QColor secondary;
  QColor accent;
  QColor onAccent;
  QColor green;
  QColor orange;
  QColor red;
  QColor grey;

  QColor of(MenuColor color) const;

  static const Theme& of(Shade shade);
  /// The one in use. GUI thread.
  static const Theme& current();
  /// Makes it the one in use, and sets the application's palette and style sheet.
  static void use(Shade shade, QApplication& application);
};

}  // namespace quorl
