// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include <QAbstractButton>
#include <QFrame>
#include <QLabel>
#include <QPushButton>

#include <QuorlHostCore/Menu/Model/MenuSnapshot.h>

#include "Icons.h"

class QStaticText;

// Small building blocks of the windows. GUI thread; owned by their parents.
namespace quorl {

/// Sizes of text relative to the desktop's font.
enum class TextSize : std::uint8_t { small, normal, title };
enum class TextTone : std::uint8_t { primary, secondary, green, red };

/// A text that wraps, in a color of the theme.
class TextLabel : public QLabel {
 public:
  explicit TextLabel(TextSize size = TextSize::normal, TextTone tone = TextTone::primary);
  void setTone(TextTone tone);
  void show(const std::string& text);

 protected:
  void changeEvent(QEvent* event) override;

 private:
  TextTone tone_;
};

/// One line that is shortened to the width it gets; the whole text is its tool tip.
class LineLabel : public TextLabel {
 public:
  LineLabel(TextSize size, TextTone tone, Qt::TextElideMode mode = Qt::ElideRight);
  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  Qt::TextElideMode mode_;
};

/// A text that wraps between words, and within a word that is longer than a line.
class WrappingLabel : public TextLabel {
 public:
  explicit WrappingLabel(TextSize size = TextSize::normal, TextTone tone = TextTone::primary);
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override { return sizeHint(); }
  bool hasHeightForWidth() const override { return true; }
  int heightForWidth(int width) const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QStaticText layoutFor(int width) const;
};

/// The PIN in large characters of equal width.
class PINLabel : public QWidget {
 public:
  PINLabel();
  void show(const std::string& pin);
  QString text() const { return pin_; }
  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  int cellWidth() const;
  QString pin_;
};

class SymbolLabel : public QWidget {
 public:
  SymbolLabel(Symbol symbol, int side, TextTone tone = TextTone::primary);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  Symbol symbol_;
  TextTone tone_;
};

/// A dot that shows a state.
class Dot : public QWidget {
 public:
  Dot();
  void show(MenuColor color);
  MenuColor color() const { return color_; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  MenuColor color_ = MenuColor::grey;
};

/// A button that is only a symbol. `help` is its tool tip and its accessible name.
class SymbolButton : public QAbstractButton {
 public:
  SymbolButton(Symbol symbol, const QString& help, std::function<void()> pressed);
  QSize sizeHint() const override { return {28, 28}; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  Symbol symbol_;
};

/// A row with a text and a switch at its right end.
class Switch : public QAbstractButton {
 public:
  Switch(const QString& text, std::function<void()> toggled);
  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void nextCheckState() override {}  // the host decides, and the next snapshot shows it
};

/// A rounded box. `border`: with a line around it; `tint`: on a warning color.
class Card : public QFrame {
 public:
  enum class Look : std::uint8_t { border, tint };
  explicit Card(Look look);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  Look look_;
};

class Divider : public QWidget {
 public:
  Divider() { setFixedHeight(1); }

 protected:
  void paintEvent(QPaintEvent* event) override;
};

enum class ButtonLook : std::uint8_t { framed, plain };
QPushButton* makeButton(const QString& title, ButtonLook look, std::function<void()> pressed);

QString textFrom(const std::string& text);

}  // namespace quorl
