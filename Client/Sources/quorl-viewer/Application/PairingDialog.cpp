// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Application/PairingDialog.h>

#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QMetaObject>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QToolButton>
#include <QVBoxLayout>

#include <quorl-viewer/Application/PlainLabel.h>
#include <quorl-viewer/Windows/PlainText.h>

namespace quorl::viewer {
namespace {

// High enough for every state: a change of size while the window appears would misplace it.
constexpr QSize leastSize(420, 240);
constexpr int margin = 24;
constexpr int spacing = 12;
constexpr double headingScale = 1.3;
constexpr double pinScale = 2.0;
constexpr int pinSpacing = 6;

QFont scaled(QFont font, double factor) {
  font.setPointSizeF(font.pointSizeF() * factor);
  return font;
}

QString cause(const client::ClientError& error) {
  auto text = plain(error.what);
  if (!text.isEmpty()) text[0] = text[0].toUpper();
  return text + QLatin1Char('.');
}

QString kindText(client::ExitCode code) {
  switch (code) {
    case client::ExitCode::unreachable:
      return QStringLiteral("The host cannot be reached");
    case client::ExitCode::refused:
      return QStringLiteral("The host refused");
    case client::ExitCode::timedOut:
      return QStringLiteral("No answer in time");
    default:
      return QStringLiteral("Pairing has failed");
  }
}

}  // namespace

PairingDialog::PairingDialog(client::HostAddress address, client::HostBook book, Wish wish, QWidget* parent)
    : QDialog(parent), address_(std::move(address)), book_(std::move(book)) {
  setWindowTitle(QStringLiteral("Pair with a host"));
  makeWidgets();
  if (wish == Wish::link)
    askForConsent();
  else
    begin();
}

PairingDialog::~PairingDialog() {
  attempt_.reset();
}

void PairingDialog::makeWidgets() {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(margin, margin, margin, margin);
  layout->setSpacing(spacing);
  heading_ = plainLabel({}, this);
  heading_->setFont(scaled(font(), headingScale));
  text_ = plainLabel({}, this);
  pin_ = new QLineEdit(this);
  auto pinFont = scaled(font(), pinScale);
  pinFont.setLetterSpacing(QFont::AbsoluteSpacing, pinSpacing);
  pin_->setFont(pinFont);
  pin_->setAlignment(Qt::AlignCenter);
  pin_->setAccessibleName(QStringLiteral("PIN"));
  // A pasted PIN may have blanks.
  pin_->setValidator(
      new QRegularExpressionValidator(QRegularExpression(QStringLiteral("( *[0-9]){0,6} *")), pin_));
  advice_ = plainLabel({}, this);
  detailsSwitch_ = new QToolButton(this);
  detailsSwitch_->setText(QStringLiteral("Details"));
  detailsSwitch_->setCheckable(true);
  detailsSwitch_->setAutoRaise(true);
  detailsSwitch_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  detailsSwitch_->setArrowType(Qt::RightArrow);
  details_ = plainLabel({}, this);
  details_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
  action_ = buttons->addButton(QStringLiteral("Pair"), QDialogButtonBox::ActionRole);
  action_->setDefault(true);
  // Return pairs or does nothing; an impatient one must not cancel.
  cancel_ = buttons->button(QDialogButtonBox::Cancel);
  cancel_->setAutoDefault(false);
  for (QWidget* widget :
       std::initializer_list<QWidget*>{heading_, text_, pin_, advice_, detailsSwitch_, details_})
    layout->addWidget(widget);
  layout->addStretch();
  layout->addWidget(buttons);
  setMinimumSize(leastSize);
  QObject::connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  QObject::connect(action_, &QPushButton::clicked, this, [this] { waitsToBegin_ ? begin() : enterPIN(); });
  QObject::connect(pin_, &QLineEdit::textChanged, this, [this](const QString& text) {
    action_->setEnabled(text.count(QRegularExpression(QStringLiteral("[0-9]"))) == 6);
  });
  QObject::connect(detailsSwitch_, &QToolButton::toggled, this, [this](bool isOpen) {
    detailsSwitch_->setArrowType(isOpen ? Qt::DownArrow : Qt::RightArrow);
    details_->setVisible(isOpen);
    adjustSize();
  });
}

template <class Action>
void PairingDialog::onGUI(int generation, Action action) {
  QMetaObject::invokeMethod(
      this,
      [this, generation, action = std::move(action)] {
        if (generation == generation_) action();
      },
      Qt::QueuedConnection);
}

void PairingDialog::askForConsent() {
  waitsToBegin_ = true;
  showWaiting(QStringLiteral("Connect to %1?").arg(plain(address_.text())));
  text_->setText(
      QStringLiteral("A link asks for it. This computer is not paired with that one. Connect only to a "
                     "computer that you know."));
  action_->setText(QStringLiteral("&Connect"));
  action_->setEnabled(true);
  // A Return that was meant for something else must not connect.
  action_->setAutoDefault(false);
  action_->setDefault(false);
  cancel_->setDefault(true);
  cancel_->setFocus();
}

void PairingDialog::begin() {
  attempt_.reset();
  const int generation = ++generation_;
  waitsToBegin_ = false;
  cancel_->setDefault(false);
  action_->setAutoDefault(true);
  action_->setDefault(true);
  showWaiting(QStringLiteral("Connecting to %1").arg(plain(address_.text())));
  attempt_ = std::make_unique<PairingAttempt>(
      address_, book_,
      PairingAttempt::Handlers{.asksForPIN =
                                   [this, generation](const std::string& name, bool wasWrong) {
                                     onGUI(generation, [this, name, wasWrong] { askForPIN(name, wasWrong); });
                                   },
                               .paired =
                                   [this, generation](const client::PairedHost& host) {
                                     onGUI(generation, [this, host] {
                                       paired_ = host;
                                       accept();
                                     });
                                   },
                               .failed =
                                   [this, generation](const client::ClientError& error) {
                                     onGUI(generation, [this, error] { showError(error); });
                                   }});
}

void PairingDialog::showWaiting(const QString& text) {
  heading_->setText(text);
  text_->setText(QStringLiteral("Waiting for the host…"));
  text_->show();
  for (QWidget* widget : std::initializer_list<QWidget*>{pin_, advice_, detailsSwitch_, details_})
    widget->hide();
  detailsSwitch_->setChecked(false);
  action_->setText(QStringLiteral("Pair"));
  action_->setEnabled(false);
}

void PairingDialog::askForPIN(const std::string& hostName, bool wasWrong) {
  heading_->setText(QStringLiteral("Pair with %1").arg(plain(hostName)));
  // A host chooses its name, so the address is there as well.
  text_->setText((wasWrong
                      ? QStringLiteral("That PIN was wrong. Enter the PIN that the host at %1 shows now.")
                      : QStringLiteral("Enter the six digits that the host at %1 shows in its window."))
                     .arg(plain(address_.text())));
  pin_->clear();
  pin_->setEnabled(true);
  pin_->show();
  pin_->setFocus();
  action_->setEnabled(false);
}

void PairingDialog::enterPIN() {
  auto digits = pin_->text();
  digits.remove(QLatin1Char(' '));
  pin_->setEnabled(false);
  action_->setEnabled(false);
  text_->setText(QStringLiteral("The host checks the PIN…"));
  attempt_->enter(digits.toStdString());
}

void PairingDialog::showError(const client::ClientError& error) {
  waitsToBegin_ = true;
  heading_->setText(kindText(error.code));
  text_->setText(cause(error));
  pin_->hide();
  advice_->setText(plain(error.advice));
  advice_->setVisible(!error.advice.empty());
  details_->setText(QStringLiteral("Address: %1\nExit status in a terminal: %2")
                        .arg(plain(address_.text()), QString::number(static_cast<int>(error.code))));
  detailsSwitch_->show();
  action_->setText(QStringLiteral("Try again"));
  action_->setEnabled(true);
  action_->setFocus();
}

}  // namespace quorl::viewer
