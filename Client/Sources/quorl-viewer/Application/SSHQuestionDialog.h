// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include <QDialog>
#include <QLineEdit>

#include <quorl-viewer/Start/SSHQuestions.h>

namespace quorl::viewer {

/// Asks a question of ssh in a window. *Queue*: the GUI thread.
class SSHQuestionDialog : public QDialog {
 public:
  explicit SSHQuestionDialog(const SSHQuestion& question);

  /// What was typed, in UTF-8.
  std::string secret() const { return secret_->text().toStdString(); }

 private:
  QLineEdit* secret_;
};

/// Asks, writes the answer to standard output, and returns the exit status for ssh. The window closes when
/// ssh ends.
int askForSSH(const SSHQuestion& question);

}  // namespace quorl::viewer
