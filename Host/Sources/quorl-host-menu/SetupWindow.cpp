// SPDX-License-Identifier: GPL-3.0-or-later
#include "SetupWindow.h"

#include <QCloseEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollArea>
#include <QVBoxLayout>

#include "QrCode.h"
#include "Theme.h"
#include "Widgets.h"

namespace quorl {

namespace {

// With these the PIN is visible without scrolling while the overlay card has its guidance and its button.
constexpr int cardSpacing = 6;
constexpr int cardGap = 8;
constexpr int cardMargin = 10;
constexpr int windowMargin = 12;

TextLabel* labelWith(const char* text, TextSize size, TextTone tone) {
  auto* label = new TextLabel(size, tone);
  label->show(text);
  return label;
}

/// Adds a card with a title and returns the column for its content.
QVBoxLayout* addCard(QVBoxLayout* column, Symbol symbol, const char* title) {
  auto* card = new Card(Card::Look::border);
  card->setObjectName(QString::fromUtf8(title));
  card->setAccessibleName(QString::fromUtf8(title));
  auto* content = new QVBoxLayout(card);
  content->setContentsMargins(cardMargin + 4, cardMargin, cardMargin + 4, cardMargin);
  content->setSpacing(cardSpacing);
  auto* row = new QHBoxLayout;
  row->setSpacing(cardSpacing);
  row->addWidget(new SymbolLabel(symbol, 16, TextTone::secondary));
  auto* heading = labelWith(title, TextSize::small, TextTone::secondary);
  QFont bold = heading->font();
  bold.setBold(true);
  bold.setLetterSpacing(QFont::PercentageSpacing, 104);
  heading->setFont(bold);
  row->addWidget(heading, 1);
  content->addLayout(row);
  column->addWidget(card);
  return content;
}

void addRow(QGridLayout* grid, const char* name, TextLabel* value) {
  const int row = grid->rowCount();
  auto* label = labelWith(name, TextSize::normal, TextTone::secondary);
  label->setWordWrap(false);
  grid->addWidget(label, row, 0, Qt::AlignTop);
  value->setTextInteractionFlags(Qt::TextSelectableByMouse);
  grid->addWidget(value, row, 1);
}

}  // namespace

SetupWindow::SetupWindow(Handlers handlers) : handlers_(std::move(handlers)) {
  setObjectName(QStringLiteral("setup"));
  setWindowTitle(QStringLiteral("Setup & Connectivity"));
  auto* document = new QWidget;
  auto* column = new QVBoxLayout(document);
  column->setContentsMargins(windowMargin, windowMargin, windowMargin, windowMargin);
  column->setSpacing(cardGap);
  addOverlayCard(column);
  addAddressCard(column);
  addJoinCard(column);
  addPINCard(column);
  addPermissionCard(column);
  addClientCard(column);
  column->addStretch(1);
  auto* scroll = new QScrollArea;
  scroll->setWidgetResizable(true);
  scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  scroll->setWidget(document);
  auto* whole = new QVBoxLayout(this);
  whole->setContentsMargins({});
  whole->addWidget(scroll);
  resize(460, 680);
  setMinimumSize(360, 320);
}

void SetupWindow::addOverlayCard(QVBoxLayout* column) {
  auto* card = addCard(column, Symbol::network, "OVERLAY NETWORK");
  auto* row = new QHBoxLayout;
  row->setSpacing(cardSpacing);
  dot_ = new Dot;
  overlayStatus_ = new TextLabel;
  row->addWidget(dot_);
  row->addWidget(overlayStatus_, 1);
  card->addLayout(row);
  auto* advice = new QHBoxLayout;
  advice->setSpacing(cardSpacing);
  guidance_ = new TextLabel(TextSize::normal, TextTone::secondary);
  advice->addWidget(guidance_, 1);
  action_ = makeButton({}, ButtonLook::framed, [this] {
    if (!actionURL_.empty()) handlers_.open(actionURL_);
  });
  advice->addWidget(action_, 0, Qt::AlignRight);
  card->addLayout(advice);
}

void SetupWindow::addAddressCard(QVBoxLayout* column) {
  auto* card = addCard(column, Symbol::radioWaves, "HOW TO REACH THIS MAC");
  auto* row = new QHBoxLayout;
  address_ = new LineLabel(TextSize::title, TextTone::primary, Qt::ElideMiddle);
  row->addWidget(address_, 1);
  row->addWidget(
      new SymbolButton(Symbol::copy, QStringLiteral("Copy"), [this] { handlers_.copy(address_->text()); }));
  card->addLayout(row);
  auto* grid = new QGridLayout;
  grid->setHorizontalSpacing(16);
  grid->setVerticalSpacing(6);
  grid->setColumnStretch(1, 1);
  overlayAddresses_ = new TextLabel;
  lanAddresses_ = new TextLabel;
  ports_ = new TextLabel;
  addRow(grid, "Overlay IPs", overlayAddresses_);
  addRow(grid, "LAN IPs", lanAddresses_);
  addRow(grid, "Ports", ports_);
  card->addLayout(grid);
}

void SetupWindow::addJoinCard(QVBoxLayout* column) {
  auto* card = addCard(column, Symbol::qrCode, "SCAN TO JOIN");
  qr_ = new QrView;
  auto* row = new QHBoxLayout;
  row->setSpacing(16);
  row->addWidget(qr_);
  row->addWidget(labelWith("Open Quorl on your iPhone or iPad and scan this to auto-fill the address.",
                           TextSize::small, TextTone::secondary),
                 1);
  card->addLayout(row);
}

void SetupWindow::addPINCard(QVBoxLayout* column) {
  auto* card = addCard(column, Symbol::key, "PAIRING PIN");
  auto* row = new QHBoxLayout;
  pin_ = new PINLabel;
  row->addWidget(pin_, 1);
  row->addWidget(makeButton(QStringLiteral("Regenerate"), ButtonLook::framed,
                            [this] { handlers_.act(menuAction::RegeneratePIN{}); }));
  card->addLayout(row);
  card->addWidget(labelWith("Enter this PIN on the client the first time it pairs.", TextSize::small,
                            TextTone::secondary));
}

void SetupWindow::addPermissionCard(QVBoxLayout* column) {
  auto* card = addCard(column, Symbol::shield, "PERMISSIONS");
  const auto add = [&](MenuPermission permission, const char* title) {
    PermissionView& view = permissions_[static_cast<std::size_t>(permission)];
    auto* row = new QHBoxLayout;
    row->setSpacing(cardSpacing);
    row->addWidget(labelWith(title, TextSize::normal, TextTone::primary), 1);
    view.status = new TextLabel;
    view.status->setWordWrap(false);
    row->addWidget(view.status);
    view.request = makeButton(QStringLiteral("Grant…"), ButtonLook::framed, [this, permission] {
      handlers_.act(menuAction::RequestPermission{permission});
    });
    view.request->setAccessibleName(QStringLiteral("Grant ") + QString::fromUtf8(title));
    row->addWidget(view.request);
    card->addLayout(row);
    view.obstacle = new TextLabel(TextSize::small, TextTone::secondary);
    card->addWidget(view.obstacle);
  };
  add(MenuPermission::screenRecording, "Screen Recording");
  add(MenuPermission::accessibility, "Accessibility");
  limitation_ = new TextLabel(TextSize::small, TextTone::secondary);
  card->addWidget(limitation_);
}

void SetupWindow::addClientCard(QVBoxLayout* column) {
  auto* card = addCard(column, Symbol::persons, "CONNECTED CLIENTS");
  clients_ = new WrappingLabel;
  card->addWidget(clients_);
}

void SetupWindow::fill(const SetupSnapshot& snapshot) {
  dot_->show(snapshot.overlayColor);
  overlayStatus_->show(snapshot.overlayStatus);
  guidance_->show(snapshot.overlayGuidance.value_or(""));
  guidance_->setVisible(snapshot.overlayGuidance.has_value());
  action_->setText(snapshot.overlayAction ? textFrom(snapshot.overlayAction->title) : QString());
  action_->setVisible(snapshot.overlayAction.has_value());
  actionURL_ = snapshot.overlayAction ? snapshot.overlayAction->url : std::string();
  address_->show(snapshot.address);
  overlayAddresses_->show(snapshot.overlayAddresses);
  lanAddresses_->show(snapshot.lanAddresses);
  ports_->show(snapshot.ports);
  qr_->show(snapshot.joinPayload);
  pin_->show(snapshot.pin);
  for (const PermissionState& state : snapshot.permissions) showPermission(state);
  limitation_->show(snapshot.permissionLimitation);
  limitation_->setVisible(!snapshot.permissionLimitation.empty());
  clients_->show(snapshot.clients);
  clients_->setTone(snapshot.hasClients ? TextTone::primary : TextTone::secondary);
}

void SetupWindow::showPermission(const PermissionState& state) {
  const PermissionView& view = permissions_[static_cast<std::size_t>(state.permission)];
  view.status->show(state.status);
  view.status->setTone(state.isGranted ? TextTone::green : TextTone::red);
  view.request->setVisible(!state.isGranted && state.canRequest);
  view.obstacle->show(state.obstacle);
  view.obstacle->setVisible(!state.obstacle.empty());
}

void SetupWindow::paintEvent(QPaintEvent* /*event*/) {
  QPainter(this).fillRect(rect(), Theme::current().window);
}

void SetupWindow::closeEvent(QCloseEvent* event) {
  QWidget::closeEvent(event);
  handlers_.closed();
}

void SetupWindow::keyPressEvent(QKeyEvent* event) {
  if (event->matches(QKeySequence::Close) || event->matches(QKeySequence::Cancel))
    close();
  else
    QWidget::keyPressEvent(event);
}

}  // namespace quorl
