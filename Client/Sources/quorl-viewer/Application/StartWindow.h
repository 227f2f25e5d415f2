// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QDialog>

#include <quorl-viewer/Start/HostRows.h>
#include <quorl-viewer/Start/HostSearch.h>

class QLabel;
class QLineEdit;
class QPushButton;
class QTreeWidget;

namespace quorl::viewer {

/// Lists hosts and lets a person choose one. Accepted once `chosen` has a value.
///
/// *Queue*: the GUI thread, which never waits for the network. *Lifetime*: closing leaves a running search
/// behind.
class StartWindow : public QDialog {
 public:
  StartWindow(client::HostBook book, std::filesystem::path folder,
              HostSearch::Search search = client::discoverHosts);
  ~StartWindow() override;

  /// Paired or not.
  const std::optional<client::HostAddress>& chosen() const { return chosen_; }

 private:
  void makeWidgets();
  void searchAgain();
  void showRows();
  void rowChanged();
  void openRow();
  void openAddress();
  void forgetRow();
  void choose(const client::HostAddress& address);
  const HostRow* currentRow() const;

  client::HostBook book_;
  const std::filesystem::path folder_;
  const HostSearch::Search searchFunction_;
  std::vector<HostRow> rows_;
  std::optional<std::vector<client::DiscoveredHost>> discovered_;
  std::optional<client::HostAddress> chosen_;

  QTreeWidget* list_ = nullptr;
  QLabel* status_ = nullptr;
  QLineEdit* address_ = nullptr;
  QPushButton* open_ = nullptr;
  QPushButton* forget_ = nullptr;
  std::unique_ptr<HostSearch> search_;
};

}  // namespace quorl::viewer
