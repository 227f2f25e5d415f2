// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

#include <QMenu>

namespace quorl::viewer {

/// The monitors of this computer, to put the picture on one of them. Hidden where there is only one.
///
/// *Queue*: the GUI thread. *Ownership*: its parent's. *Lifetime*: the handler must outlive it.
class MonitorMenu : public QMenu {
 public:
  using Choose = std::function<void(QScreen& monitor)>;

  /// An entry of `parent`, brought up to date whenever that is opened.
  MonitorMenu(Choose choose, QMenu& parent);

 private:
  void update();

  const Choose choose_;
};

}  // namespace quorl::viewer
