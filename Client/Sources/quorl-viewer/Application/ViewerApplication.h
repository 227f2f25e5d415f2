// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <memory>

#include <QDialog>
#include <QPointer>

#include <quorl-client/Hosts/HostBook.h>
#include <quorl-viewer/Application/PairingDialog.h>
#include <quorl-viewer/Application/SingleInstance.h>
#include <quorl-viewer/Start/ViewerOptions.h>
#include <quorl-viewer/Windows/ViewerWindow.h>

namespace quorl::viewer {

/// From a command line to a window: which host, its PIN if it is not paired, whether a window of it is open
/// already, then the window.
///
/// *Queue*: the GUI thread. *Lifetime*: its end says goodbye to the host.
class ViewerApplication {
 public:
  ViewerApplication(ViewerOptions options, std::filesystem::path folder);
  ~ViewerApplication();
  ViewerApplication(const ViewerApplication&) = delete;
  ViewerApplication& operator=(const ViewerApplication&) = delete;

  /// Runs until the last window is closed.
  client::Outcome<void> run();
  /// Ends `run`.
  void end();
  bool isEnding() const { return isEnding_; }

 private:
  client::Outcome<void> choose();
  std::optional<client::PairedHost> pairWith(const client::HostAddress& address, PairingDialog::Wish wish);
  bool runDialog(QDialog& dialog);
  client::Outcome<void> open(const client::PairedHost& host);
  bool apply(const std::vector<std::string>& words);

  const ViewerOptions options_;
  const std::filesystem::path folder_;
  client::HostBook book_;
  std::unique_ptr<SingleInstance> instance_;
  bool isEnding_ = false;
  QPointer<ViewerWindow> window_;
};

}  // namespace quorl::viewer
