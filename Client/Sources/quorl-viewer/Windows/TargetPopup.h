// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <variant>
#include <vector>

#include <QFrame>
#include <QIcon>
#include <QLineEdit>
#include <QListWidget>
#include <QTimer>

#include <quorl-viewer/Targets/AgentBoard.h>
#include <quorl-viewer/Targets/TargetRows.h>

namespace quorl::viewer {

/// The list of what can be watched, and of agents. Typing filters, the arrow keys choose, Return takes.
///
/// *Queue*: the GUI thread. *Ownership*: its parent's. *Lifetime*: handlers must outlive it.
class TargetPopup : public QFrame {
 public:
  struct Contents {
    std::vector<TargetRow> targets;
    std::vector<AgentRow> agents;
    StreamTarget current;  // chosen at first
  };
  struct Handlers {
    std::function<void(const StreamTarget&)> target;
    std::function<void(const UUID&)> agent;
    std::function<QIcon(const TargetRow&)> icon;
    /// The windows in view, from the top; none when the list is closed.
    std::function<void(const std::vector<StreamTarget>&)> inView;
    std::function<void()> closed;
  };

  TargetPopup(Handlers handlers, QWidget* parent);

  /// Below a place of the screen, in points.
  void open(Contents contents, QPoint topLeft);
  void setThumbnail(const StreamTarget& target, const QImage& picture);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  void fill();
  void addHeading(const QString& text);
  QListWidgetItem* addItem(const QIcon& icon, const std::string& title, const std::string& detail,
                           bool isWaiting, std::size_t index);
  void reportView();
  void filter(const QString& text);
  void step(int by);
  void take(const QListWidgetItem* item);

  const Handlers handlers_;
  Contents contents_;
  QLineEdit* field_;
  QListWidget* list_;
  QTimer viewTimer_;
};

}  // namespace quorl::viewer
