// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include <QPoint>
#include <QWidget>

#include <QuorlHostCore/Menu/Model/MenuMessages.h>

class QScrollArea;
class QVBoxLayout;

namespace quorl {

class Dot;
class LineLabel;
class PINLabel;
class Switch;
class SymbolButton;
class TextLabel;

/// The popover. It closes on a click outside and on Escape.
///
/// *Queue*: GUI thread. *Lifetime*: made at each opening, deleted after each closing.
class PopoverPanel : public QWidget {
 public:
  struct Handlers {
    std::function<void(const MenuAction&)> act;
    std::function<void()> openSetup;
    /// `outside`: where the click outside was, if there was one.
    std::function<void(std::optional<QPoint> outside)> closed;
  };
  static constexpr int panelWidth = 336;

  explicit PopoverPanel(Handlers handlers);

  void fill(const PopoverSnapshot& snapshot);
  /// The height that its content needs, up to `limit`; more is scrolled.
  void fit(int limit);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  QWidget* makeHeader();
  QWidget* makePermissions();
  QWidget* makePairing();
  QWidget* makeClients();
  QWidget* makeSettings();
  QWidget* makeFooter();
  void showPermissions(const PopoverSnapshot& snapshot);
  void showClients(const std::vector<MenuClientRow>& clients);
  std::function<void()> acting(MenuAction action) const;

  const Handlers handlers_;
  std::optional<QPoint> outside_;

  QScrollArea* scroll_ = nullptr;
  QWidget* content_ = nullptr;
  Dot* dot_ = nullptr;
  LineLabel* title_ = nullptr;
  TextLabel* status_ = nullptr;
  TextLabel* reachability_ = nullptr;
  SymbolButton* disconnect_ = nullptr;
  QWidget* permissions_ = nullptr;
  QVBoxLayout* permissionRows_ = nullptr;
  TextLabel* permissionNote_ = nullptr;
  std::vector<PermissionRow> shownPermissions_;
  PINLabel* pin_ = nullptr;
  QScrollArea* clientScroll_ = nullptr;
  QVBoxLayout* clientRows_ = nullptr;
  std::vector<std::pair<LineLabel*, LineLabel*>> clientViews_;
  LineLabel* paired_ = nullptr;
  QWidget* revoke_ = nullptr;
  LineLabel* console_ = nullptr;
  Switch* magnify_ = nullptr;
  Switch* startAtLogin_ = nullptr;
};

}  // namespace quorl
