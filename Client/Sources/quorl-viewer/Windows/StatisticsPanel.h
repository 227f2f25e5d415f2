// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

#include <QTimer>

#include <quorl-viewer/Windows/Banner.h>

namespace quorl::viewer {

/// The measured times and rates, over the picture, renewed twice a second while they are shown.
///
/// *Queue*: the GUI thread. *Ownership*: its parent's.
class StatisticsPanel : public Banner {
 public:
  StatisticsPanel(std::function<QString()> text, QWidget* parent);

  void setShown(bool isShown);

 private:
  const std::function<QString()> text_;
  QTimer timer_;
};

}  // namespace quorl::viewer
