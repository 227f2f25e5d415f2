// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Application/SSHQuestionDialog.h>

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>

#include <QDialogButtonBox>
#include <QPushButton>
#include <QVBoxLayout>

#include <quorl-viewer/Application/PlainLabel.h>

namespace quorl::viewer {
namespace {

constexpr int leastWidth = 520;
constexpr int margin = 24;
constexpr int spacing = 12;

// Lines stay apart: the question about a key has its fingerprint on a line of its own.
QString shown(const std::string& text) {
  QString result;
  for (const QChar character : QString::fromStdString(text).trimmed())
    if (character == QLatin1Char('\n') || character.isPrint()) result += character;
  return result;
}

}  // namespace

SSHQuestionDialog::SSHQuestionDialog(const SSHQuestion& question) : secret_(new QLineEdit) {
  using Kind = SSHQuestion::Kind;
  setWindowTitle(QStringLiteral("Question of ssh"));
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(margin, margin, margin, margin);
  layout->setSpacing(spacing);
  auto* text = plainLabel(shown(question.text), this);
  text->setTextInteractionFlags(Qt::TextSelectableByMouse);
  layout->addWidget(text);
  layout->addWidget(secret_);
  secret_->setEchoMode(QLineEdit::Password);
  secret_->setAccessibleName(QStringLiteral("Answer"));
  secret_->setVisible(question.kind == Kind::secret);
  auto* buttons = new QDialogButtonBox(this);
  if (question.kind == Kind::yesOrNo || question.kind == Kind::consent) {
    buttons->addButton(QDialogButtonBox::Yes);
    // A key that nobody has compared is not accepted by a careless Return.
    auto* no = buttons->addButton(QDialogButtonBox::No);
    no->setDefault(true);
    no->setFocus();
  } else {
    buttons->addButton(QDialogButtonBox::Ok)->setDefault(true);
    if (question.kind == Kind::secret) buttons->addButton(QDialogButtonBox::Cancel);
  }
  layout->addWidget(buttons);
  setMinimumWidth(leastWidth);
  QObject::connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  QObject::connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

int askForSSH(const SSHQuestion& question) {
  // Nobody reads the answer any more. The parent may have ended before this call.
  ::prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (::getppid() == 1) return EXIT_FAILURE;
  SSHQuestionDialog dialog(question);
  const bool isAccepted = dialog.exec() == QDialog::Accepted;
  const auto answer = answerTo(question, isAccepted, dialog.secret());
  if (!answer) return EXIT_FAILURE;
  const auto written = ::write(STDOUT_FILENO, answer->data(), answer->size());
  return written == static_cast<ssize_t>(answer->size()) ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace quorl::viewer
