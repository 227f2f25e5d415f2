// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

#include <QDBusMessage>
#include <QObject>

#include "Theme.h"

namespace quorl {

/// The shade of the desktop: as its settings portal reports it
/// (org.freedesktop.portal.Settings, key "org.freedesktop.appearance color-scheme"), else as the toolkit's
/// palette was at construction. So it is made before the application gets a palette of its own.
///
/// *Queue*: GUI thread. *Blocking*: construction, 0.3 seconds at most.
class DesktopShade : public QObject {
  Q_OBJECT
 public:
  /// `changed` is called when the portal reports another shade.
  explicit DesktopShade(std::function<void(Shade)> changed);

  Shade current() const { return current_; }

 private Q_SLOTS:
  void settingChanged(const QDBusMessage& signal);

 private:
  const std::function<void(Shade)> changed_;
  const Shade unstated_;
  Shade current_;
};

}  // namespace quorl
