// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <functional>
#include <string>

#include <QWidget>

#include <QuorlHostCore/Menu/Model/MenuMessages.h>

class QPushButton;
class QVBoxLayout;

namespace quorl {

class Card;
class Dot;
class LineLabel;
class PINLabel;
class QrView;
class TextLabel;

/// The window "Setup & Connectivity": a column of cards that scrolls.
///
/// *Queue*: GUI thread. *Lifetime*: made at the first opening and kept.
class SetupWindow : public QWidget {
 public:
  struct Handlers {
    std::function<void(const MenuAction&)> act;
    std::function<void(const std::string& url)> open;
    std::function<void(const QString& text)> copy;
    std::function<void()> closed;
  };

  explicit SetupWindow(Handlers handlers);

  void fill(const SetupSnapshot& snapshot);
  const QrView& qrView() const { return *qr_; }

 protected:
  void paintEvent(QPaintEvent* event) override;
  void closeEvent(QCloseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;

 private:
  struct PermissionView {
    TextLabel* status = nullptr;
    TextLabel* obstacle = nullptr;
    QPushButton* request = nullptr;
  };

  void addOverlayCard(QVBoxLayout* column);
  void addAddressCard(QVBoxLayout* column);
  void addJoinCard(QVBoxLayout* column);
  void addPINCard(QVBoxLayout* column);
  void addPermissionCard(QVBoxLayout* column);
  void addClientCard(QVBoxLayout* column);
  void showPermission(const PermissionState& state);

  const Handlers handlers_;
  std::string actionURL_;

  Dot* dot_ = nullptr;
  TextLabel* overlayStatus_ = nullptr;
  TextLabel* guidance_ = nullptr;
  QPushButton* action_ = nullptr;
  LineLabel* address_ = nullptr;
  TextLabel* overlayAddresses_ = nullptr;
  TextLabel* lanAddresses_ = nullptr;
  TextLabel* ports_ = nullptr;
  QrView* qr_ = nullptr;
  PINLabel* pin_ = nullptr;
  std::array<PermissionView, 2> permissions_;
  TextLabel* limitation_ = nullptr;
  TextLabel* clients_ = nullptr;
};

}  // namespace quorl
