// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include <QAbstractButton>
#include <QString>
#include <QWidget>

#include <QuorlHostCore/Menu/Model/MenuSnapshot.h>

namespace quorl::test {

/// Handles the toolkit's events until `condition` holds or the deadline passes. Returns whether it holds.
bool spinUntil(const std::function<bool()>& condition,
               std::chrono::milliseconds deadline = std::chrono::seconds(30));

/// Handles the events that are pending.
void settle();

/// Every text of the visible labels, PINs and titled buttons, from top to bottom, then from left to right.
std::vector<std::string> visibleTexts(const QWidget& window);
bool showsText(const QWidget& window, const std::string& text);

/// The button with this title, or with this accessible name. Null if there is none or it is hidden.
QAbstractButton* visibleButton(const QWidget& window, const std::string& name);

PopoverSnapshot somePopover();
SetupSnapshot someSetup();

}  // namespace quorl::test
