// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include <QColor>
#include <QIcon>
#include <QRectF>

class QPainter;

namespace quorl {

/// The symbols of the windows, drawn as lines on a grid of 24 by 24.
enum class Symbol : std::uint8_t {
  tabletAndComputer,
  tablet,
  closeCircle,
  screens,
  hand,
  refresh,
  copy,
  network,
  radioWaves,
  qrCode,
  key,
  shield,
  persons,
};

void drawSymbol(QPainter& painter, Symbol symbol, const QRectF& place, const QColor& color);

/// The icon of the tray and of the windows: a window and a pointer on a tile, readable on any background.
QIcon applicationIcon();

}  // namespace quorl
