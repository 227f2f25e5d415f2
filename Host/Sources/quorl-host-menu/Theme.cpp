// SPDX-License-Identifier: GPL-3.0-or-later
#include "Theme.h"

#include <QApplication>
#include <QPalette>
#include <QString>

namespace quorl {

namespace {

Shade inUse = Shade::light;

Theme makeLight() {
  return {.window = "#fbfbfc",
          .card = "#f2f3f5",
          .border = "#dcdfe4",
          .text = "#1b1d22",
          .secondary = "#5b616d",
          .accent = "#2f62d9",
          .onAccent = "#ffffff",
          .green = "#1a7d43",
          .orange = "#d98300",
          .red = "#c8321f",
          .grey = "#9298a4"};
}

Theme makeDark() {
  return {.window = "#22242a",
          .card = "#2c2f36",
          .border = "#40444d",
          .text = "#f2f3f5",
          .secondary = "#aab0bc",
          .accent = "#7aa2ff",
          .onAccent = "#10131a",
          .green = "#55c886",
          .orange = "#ffb43d",
          .red = "#ff8076",
          .grey = "#8b92a0"};
}

QString styleSheet(const Theme& theme) {
  return QStringLiteral(
             "QPushButton { background: %1; color: %2; border: 1px solid %3; border-radius: 6px;"
             " padding: 5px 12px; }"
             "QPushButton:hover { border-color: %4; }"
             "QPushButton:focus { border-color: %4; }"
             "QPushButton:pressed { background: %3; }"
             "QPushButton[plain=\"true\"] { background: transparent; border-color: transparent; color: %4;"
             " padding: 5px 8px; }"
             "QPushButton[plain=\"true\"]:hover { background: %1; }"
             "QPushButton[plain=\"true\"]:focus { border-color: %4; }"
             "QScrollArea { border: none; background: transparent; }"
             "QScrollBar:vertical { background: transparent; width: 8px; margin: 0; }"
             "QScrollBar::handle:vertical { background: %3; border-radius: 3px; min-height: 24px; margin: "
             "1px; }"
             "QScrollBar::add-line, QScrollBar::sub-line, QScrollBar::add-page, QScrollBar::sub-page"
             " { background: none; height: 0; }"
             "QToolTip { background: %1; color: %2; border: 1px solid %3; padding: 4px; }")
      .arg(theme.card.name(), theme.text.name(), theme.border.name(), theme.accent.name());
}

QPalette paletteOf(const Theme& theme) {
  QPalette palette;
  palette.setColor(QPalette::Window, theme.window);
  palette.setColor(QPalette::Base, theme.window);
  palette.setColor(QPalette::Button, theme.card);
  palette.setColor(QPalette::Mid, theme.border);
  palette.setColor(QPalette::WindowText, theme.text);
  palette.setColor(QPalette::Text, theme.text);
  palette.setColor(QPalette::ButtonText, theme.text);
  palette.setColor(QPalette::ToolTipText, theme.text);
  palette.setColor(QPalette::ToolTipBase, theme.card);
  palette.setColor(QPalette::PlaceholderText, theme.secondary);
  palette.setColor(QPalette::Highlight, theme.accent);
  palette.setColor(QPalette::HighlightedText, theme.onAccent);
  palette.setColor(QPalette::Link, theme.accent);
  return palette;
}

}  // namespace

QColor Theme::of(MenuColor color) const {
  switch (color) {
    case MenuColor::green:
      return green;
    case MenuColor::orange:
      return orange;
    case MenuColor::red:
      return red;
    case MenuColor::grey:
      return grey;
  }
  return grey;
}

const Theme& Theme::of(Shade shade) {
  static const Theme light = makeLight();
  static const Theme dark = makeDark();
  return shade == Shade::dark ? dark : light;
}

const Theme& Theme::current() {
  return of(inUse);
}

void Theme::use(Shade shade, QApplication& application) {
  inUse = shade;
  application.setPalette(paletteOf(current()));
  application.setStyleSheet(styleSheet(current()));
}

}  // namespace quorl
