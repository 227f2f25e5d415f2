// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QLabel>

namespace quorl::viewer {

/// A text that wraps and is never taken for markup. *Ownership*: the parent's, or the layout's.
inline QLabel* plainLabel(const QString& text, QWidget* parent = nullptr) {
  auto* label = new QLabel(text, parent);
  label->setTextFormat(Qt::PlainText);
  label->setWordWrap(true);
  return label;
}

}  // namespace quorl::viewer
