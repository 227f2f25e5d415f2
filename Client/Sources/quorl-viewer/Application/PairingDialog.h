// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include <QDialog>

#include <quorl-client/Hosts/HostBook.h>
#include <quorl-viewer/Start/PairingAttempt.h>

class QLabel;
class QLineEdit;
class QPushButton;
class QToolButton;

namespace quorl::viewer {

/// Asks for the PIN of a host and pairs with it. Accepted once `paired` has a value.
///
/// *Queue*: the GUI thread, which never waits for the host. *Lifetime*: destruction cancels at once.
class PairingDialog : public QDialog {
 public:
  /// Who wants it. A link, which any page may have, gets no connection before the person agrees.
  enum class Wish : std::uint8_t { person, link };

  PairingDialog(client::HostAddress address, client::HostBook book, Wish wish, QWidget* parent = nullptr);
  ~PairingDialog() override;

  const std::optional<client::PairedHost>& paired() const { return paired_; }

 private:
  void makeWidgets();
  void askForConsent();
  void begin();
  void enterPIN();
  void askForPIN(const std::string& hostName, bool wasWrong);
  void showError(const client::ClientError& error);
  void showWaiting(const QString& text);
  template <class Action>
  void onGUI(int generation, Action action);

  const client::HostAddress address_;
  const client::HostBook book_;
  std::optional<client::PairedHost> paired_;

  QLabel* heading_ = nullptr;
  QLabel* text_ = nullptr;
  QLineEdit* pin_ = nullptr;
  QLabel* advice_ = nullptr;
  QToolButton* detailsSwitch_ = nullptr;
  QLabel* details_ = nullptr;
  QPushButton* action_ = nullptr;
  QPushButton* cancel_ = nullptr;
  bool waitsToBegin_ = false;
  // Counts attempts, so that a message of an earlier one is ignored.
  int generation_ = 0;
  std::unique_ptr<PairingAttempt> attempt_;
};

}  // namespace quorl::viewer
