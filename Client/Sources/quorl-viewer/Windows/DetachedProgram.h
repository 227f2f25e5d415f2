// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QStringList>

namespace quorl::viewer {

/// Starts a program that outlives this one, with the signals of a new process: what this process blocks or
/// ignores must not keep a shell in a terminal from ending. False if it cannot be started.
///
/// *Queue*: the GUI thread.
bool startDetached(const QString& program, const QStringList& arguments);

}  // namespace quorl::viewer
