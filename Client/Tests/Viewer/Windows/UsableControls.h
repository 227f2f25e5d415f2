// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <set>

#include <gtest/gtest.h>
#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAccessible>
#include <QComboBox>
#include <QHeaderView>
#include <QLineEdit>

namespace quorl::viewer::test {

/// The controls of a window that a person can use now.
inline std::set<QWidget*> usableControls(const QWidget& window) {
  std::set<QWidget*> found;
  for (auto* widget : window.findChildren<QWidget*>()) {
    const bool isControl =
        qobject_cast<QAbstractButton*>(widget) != nullptr || qobject_cast<QLineEdit*>(widget) != nullptr ||
        qobject_cast<QComboBox*>(widget) != nullptr || qobject_cast<QAbstractItemView*>(widget) != nullptr;
    // Not the parts of a control, such as the button that clears a field.
    const bool isPart = qobject_cast<QLineEdit*>(widget->parentWidget()) != nullptr ||
                        qobject_cast<QHeaderView*>(widget) != nullptr;
    if (isControl && !isPart && widget->isVisible() && widget->isEnabled()) found.insert(widget);
  }
  return found;
}

/// Every control accepts Tab and has a name for accessibility.
inline void expectAccessible(const std::set<QWidget*>& controls) {
  for (auto* widget : controls) {
    const auto* accessible = QAccessible::queryAccessibleInterface(widget);
    ASSERT_NE(accessible, nullptr);
    const auto name = accessible->text(QAccessible::Name);
    EXPECT_FALSE(name.isEmpty()) << widget->metaObject()->className();
    EXPECT_TRUE((widget->focusPolicy() & Qt::TabFocus) != 0) << name.toStdString();
  }
}

}  // namespace quorl::viewer::test
