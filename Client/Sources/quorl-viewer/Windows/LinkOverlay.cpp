// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/LinkOverlay.h>

#include <algorithm>
#include <array>

#include <QEvent>
#include <QHBoxLayout>
#include <QPainter>
#include <QVBoxLayout>

#include <fmt/format.h>

#include <quorl-viewer/Windows/PlainText.h>

namespace quorl::viewer {

namespace {

using State = LinkStatus::State;

long secondsSince(Clock::time_point from, Clock::time_point now) {
  return std::max(0L,
                  static_cast<long>(std::chrono::duration_cast<std::chrono::seconds>(now - from).count()));
}

QLabel* label(const QString& name, double size) {
  auto* result = new QLabel;
  result->setTextFormat(Qt::PlainText);  // the host's texts are never markup
  result->setWordWrap(true);
  result->setAlignment(Qt::AlignHCenter);
  result->setObjectName(name);
  auto font = result->font();
  font.setPointSizeF(font.pointSizeF() * size);
  result->setFont(font);
  return result;
}

}  // namespace

LinkOverlay::LinkOverlay(const QString& host, const QString& address, Handlers handlers, QWidget* parent)
    : QWidget(parent),
      host_(host),
      address_(address),
      title_(label(QStringLiteral("overlayTitle"), 1.4)),
      counter_(label(QStringLiteral("overlayCounter"), 1.0)),
      fold_(new QToolButton),
      details_(label(QStringLiteral("overlayDetails"), 1.0)),
      now_(new QPushButton(QStringLiteral("Now"))),
      cancel_(new QPushButton(QStringLiteral("Cancel"))) {
  setStyleSheet(
      QStringLiteral("QLabel { color: white; } QToolButton { color: #cccccc; border: 1px solid transparent; }"
                     "QToolButton:focus { border-color: #cccccc; }"));
  setAccessibleName(QStringLiteral("State of the connection"));
  cancel_->setAccessibleName(QStringLiteral("Stop connecting"));
  fold_->setText(QStringLiteral("Details"));
  fold_->setCheckable(true);
  fold_->setArrowType(Qt::RightArrow);
  fold_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  QObject::connect(fold_, &QToolButton::toggled, this, [this](bool isOpen) {
    fold_->setArrowType(isOpen ? Qt::DownArrow : Qt::RightArrow);
    details_->setVisible(isOpen);
  });
  details_->hide();
  QObject::connect(now_, &QPushButton::clicked, this, [this, handlers] {
    status_.state == State::connected ? handlers.retryNow() : handlers.reconnectNow();
  });
  QObject::connect(cancel_, &QPushButton::clicked, this, handlers.cancel);

  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(now_);
  buttons->addWidget(cancel_);
  buttons->addStretch();
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(40, 20, 40, 20);
  column->addStretch();
  column->addWidget(title_);
  column->addWidget(counter_);
  column->addLayout(buttons);
  column->addWidget(fold_, 0, Qt::AlignHCenter);
  column->addWidget(details_);
  column->addStretch();

  everySecond_.setInterval(1'000);
  QObject::connect(&everySecond_, &QTimer::timeout, this, [this] { refresh(); });
  parent->installEventFilter(this);
  setGeometry(parent->rect());
  hide();
}

void LinkOverlay::show(const LinkStatus& status) {
  status_ = status;
  refresh();
}

void LinkOverlay::showStreamError(const client::ClientError& error,
                                  std::optional<Clock::time_point> retryAt) {
  streamError_ = error;
  streamRetryAt_ = retryAt;
  refresh();
}

void LinkOverlay::showStreamAttempt() {
  streamRetryAt_.reset();
  refresh();
}

void LinkOverlay::clearStreamError() {
  streamRetryAt_.reset();
  if (std::exchange(streamError_, std::nullopt)) refresh();
}

void LinkOverlay::showWaiting(const std::optional<std::string>& title) {
  waitsFor_ = title;
  refresh();
}

QString LinkOverlay::headline(Clock::time_point now) const {
  switch (status_.state) {
    case State::connecting:
      return QStringLiteral("Connecting to %1").arg(host_);
    case State::stalled:
      return QStringLiteral("%1 has not answered for %2 s")
          .arg(host_, QString::number(secondsSince(status_.since, now)));
    case State::waiting:
      return QStringLiteral("The connection to %1 is lost").arg(host_);
    case State::stopped:
      return status_.reason ? QStringLiteral("%1 cannot be reached").arg(host_)
                            : QStringLiteral("Not connected to %1").arg(host_);
    case State::connected:
      break;
  }
  if (streamError_) return QStringLiteral("This target cannot be shown");
  return waitsFor_ ? QStringLiteral("The host has no window \u201C%1\u201D now").arg(plain(*waitsFor_))
                   : QString();
}

// It goes on by itself at a time that is shown.
bool LinkOverlay::isHeldUp() const {
  if (status_.state == State::connected) return streamRetryAt_.has_value();
  return status_.state == State::waiting || status_.state == State::stalled;
}

void LinkOverlay::refresh() {
  const auto now = Clock::now();
  const bool isShown = status_.state != State::connected || streamError_ || waitsFor_;
  if (isHeldUp() && isShown)
    everySecond_.start();
  else
    everySecond_.stop();
  if (!isShown) {
    // Before they are hidden, because then nobody has the focus.
    if (QWidget* focused = focusWidget(); focused != nullptr && focused->hasFocus())
      parentWidget()->setFocus();
    return hide();
  }
  setVisible(true);
  title_->setText(headline(now));
  const auto& reason = status_.state == State::connected ? streamError_ : status_.reason;
  QString second;
  const auto retryAt = status_.state == State::waiting     ? std::optional(status_.retryAt)
                       : status_.state == State::connected ? streamRetryAt_
                                                           : std::nullopt;
  if (retryAt)
    second = QStringLiteral("Next attempt in %1 s").arg(std::max(0L, secondsSince(now, *retryAt) + 1));
  const auto add = [&second](const std::string& text) {
    if (text.empty()) return;
    QString line = plain(text);
    line[0] = line[0].toUpper();
    if (!line.endsWith(QLatin1Char('.'))) line += QLatin1Char('.');
    second += (second.isEmpty() ? QString() : QStringLiteral("\n")) + line;
  };
  if (status_.state == State::connected && waitsFor_ && !streamError_)
    add("It is shown as soon as it opens. The control at the top lists what is there.");
  if (reason) add(reason->what);
  if (reason) add(reason->advice);
  counter_->setText(second);
  counter_->setVisible(!second.isEmpty());
  details_->setText(QStringLiteral("Address %1, for %2 s")
                        .arg(address_, QString::number(secondsSince(status_.since, now))));
  fold_->setVisible(reason.has_value());
  details_->setVisible(reason.has_value() && fold_->isChecked());
  const bool isConnected = status_.state == State::connected;
  const bool offersNow = isHeldUp() || status_.state == State::stopped;
  // Else the focus would go on to "Cancel", and a blank that is typed would press it.
  if (!offersNow && now_->hasFocus()) parentWidget()->setFocus();
  now_->setAccessibleName(isConnected ? QStringLiteral("Try again now") : QStringLiteral("Connect now"));
  now_->setVisible(offersNow);
  cancel_->setVisible(!isConnected && (isHeldUp() || status_.state == State::connecting));
  raise();
  moveFocus();
}

// The picture keeps Tab for the host, so the buttons take the focus while there is no connection or picture.
// A short stall leaves it to the person who types.
void LinkOverlay::moveFocus() {
  if (status_.state != State::stalled && !now_->isHidden() && parentWidget()->hasFocus()) now_->setFocus();
}

// Tab goes round its own controls: the picture under it has no use for Tab, and would end the search.
bool LinkOverlay::focusNextPrevChild(bool isNext) {
  const std::array<QWidget*, 3> controls{now_, cancel_, fold_};
  const auto at = std::ranges::find_if(controls, [](const QWidget* control) { return control->hasFocus(); });
  auto place = static_cast<std::size_t>(at == controls.end() ? 0 : at - controls.begin());
  for (std::size_t step = 0; step < controls.size(); ++step) {
    place = (place + (isNext ? 1 : controls.size() - 1)) % controls.size();
    if (!controls[place]->isVisible()) continue;
    controls[place]->setFocus(isNext ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    return true;
  }
  return false;
}

void LinkOverlay::paintEvent(QPaintEvent*) {
  QPainter(this).fillRect(rect(), QColor(20, 20, 24, 170));
}

bool LinkOverlay::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::Resize) setGeometry(parentWidget()->rect());
  return QWidget::eventFilter(watched, event);
}

}  // namespace quorl::viewer
