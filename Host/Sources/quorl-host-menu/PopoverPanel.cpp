// SPDX-License-Identifier: GPL-3.0-or-later
#include "PopoverPanel.h"

#include <algorithm>

#include <QHBoxLayout>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollArea>
#include <QVBoxLayout>

#include "Theme.h"
#include "Widgets.h"

namespace quorl {

namespace {

constexpr int margin = 16;
constexpr int gap = 8;
constexpr std::size_t visibleClients = 5;
// Buttons without a frame end where the others do.
constexpr int symbolInset = 5;
constexpr int plainInset = 8;

template <class Layout = QVBoxLayout>
Layout* layoutOn(QWidget* widget, int spacing, QMargins margins = {margin, 12, margin, 12}) {
  auto* layout = new Layout(widget);
  layout->setSpacing(spacing);
  layout->setContentsMargins(margins);
  return layout;
}

Symbol symbolOf(MenuPermission permission) {
  switch (permission) {
    case MenuPermission::screenRecording:
      return Symbol::screens;
    case MenuPermission::accessibility:
      return Symbol::hand;
  }
  return Symbol::screens;
}

/// Layouts note a change of a nested widget only in a later event, which is too late to choose a size now.
void measureAnew(QWidget* widget) {
  for (QWidget* child : widget->findChildren<QWidget*>()) child->updateGeometry();
  for (QLayout* layout : widget->findChildren<QLayout*>()) layout->invalidate();
}

void removeRows(QLayout* layout) {
  while (QLayoutItem* item = layout->takeAt(0)) {
    delete item->widget();
    delete item;
  }
}

}  // namespace

PopoverPanel::PopoverPanel(Handlers handlers)
    : QWidget(nullptr, Qt::Popup | Qt::FramelessWindowHint), handlers_(std::move(handlers)) {
  setObjectName(QStringLiteral("popover"));
  setWindowTitle(QStringLiteral("Quorl Host"));
  setAccessibleName(QStringLiteral("Quorl Host"));
  setAttribute(Qt::WA_NoMouseReplay);  // a click on the icon must not open it again
  content_ = new QWidget;
  content_->setObjectName(QStringLiteral("content"));
  auto* sections = layoutOn(content_, 0, {});
  sections->addWidget(makeHeader());
  permissions_ = makePermissions();
  sections->addWidget(permissions_);
  for (QWidget* section : {makePairing(), makeClients(), makeSettings(), makeFooter()}) {
    sections->addWidget(new Divider);
    sections->addWidget(section);
  }
  scroll_ = new QScrollArea;
  scroll_->setWidgetResizable(true);
  scroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  scroll_->setFocusPolicy(Qt::NoFocus);
  scroll_->setWidget(content_);
  layoutOn(this, 0, {1, 1, 1, 1})->addWidget(scroll_);
  setFixedWidth(panelWidth);
}

std::function<void()> PopoverPanel::acting(MenuAction action) const {
  return [this, action] { handlers_.act(action); };
}

QWidget* PopoverPanel::makeHeader() {
  auto* header = new QWidget;
  header->setObjectName(QStringLiteral("header"));
  auto* row = layoutOn<QHBoxLayout>(header, 12, {margin, margin, margin - symbolInset, 12});
  row->addWidget(new SymbolLabel(Symbol::tabletAndComputer, 36), 0, Qt::AlignTop);
  auto* texts = new QVBoxLayout;
  texts->setSpacing(2);
  auto* titleRow = new QHBoxLayout;
  titleRow->setSpacing(gap);
  dot_ = new Dot;
  title_ = new LineLabel(TextSize::title, TextTone::primary);
  titleRow->addWidget(dot_);
  titleRow->addWidget(title_, 1);
  status_ = new WrappingLabel(TextSize::normal, TextTone::secondary);
  reachability_ = new WrappingLabel(TextSize::small, TextTone::secondary);
  texts->addLayout(titleRow);
  texts->addWidget(status_);
  texts->addWidget(reachability_);
  row->addLayout(texts, 1);
  disconnect_ = new SymbolButton(Symbol::closeCircle, QStringLiteral("Disconnect all devices"),
                                 acting(menuAction::DisconnectAll{}));
  row->addWidget(disconnect_, 0, Qt::AlignTop);
  return header;
}

QWidget* PopoverPanel::makePermissions() {
  auto* section = new QWidget;
  section->setObjectName(QStringLiteral("permissions"));
  auto* card = new Card(Card::Look::tint);
  auto* column = layoutOn(card, gap, {10, 10, 10, 10});
  permissionRows_ = new QVBoxLayout;
  permissionRows_->setSpacing(12);
  column->addLayout(permissionRows_);
  permissionNote_ = new TextLabel(TextSize::small, TextTone::secondary);
  column->addWidget(permissionNote_);
  layoutOn(section, 0, {12, 0, 12, 12})->addWidget(card);
  return section;
}

QWidget* PopoverPanel::makePairing() {
  auto* section = new QWidget;
  section->setObjectName(QStringLiteral("pairing"));
  auto* column = layoutOn(section, 4);
  auto* caption = new TextLabel(TextSize::small, TextTone::secondary);
  caption->show("Pairing PIN");
  column->addWidget(caption);
  auto* row = new QHBoxLayout;
  row->setContentsMargins(0, 0, -symbolInset, 0);
  pin_ = new PINLabel;
  row->addWidget(pin_, 1);
  row->addWidget(new SymbolButton(Symbol::refresh, QStringLiteral("Generate a new PIN"),
                                  acting(menuAction::RegeneratePIN{})));
  column->addLayout(row);
  auto* note = new TextLabel(TextSize::small, TextTone::secondary);
  note->show("Enter this on the iPad the first time it pairs.");
  column->addWidget(note);
  return section;
}

QWidget* PopoverPanel::makeClients() {
  auto* section = new QWidget;
  section->setObjectName(QStringLiteral("clients"));
  auto* column = layoutOn(section, gap);
  auto* list = new QWidget;
  clientRows_ = layoutOn(list, 10, {});
  clientScroll_ = new QScrollArea;
  clientScroll_->setWidgetResizable(true);
  clientScroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  clientScroll_->setFocusPolicy(Qt::NoFocus);
  clientScroll_->setWidget(list);
  column->addWidget(clientScroll_);
  auto* row = new QHBoxLayout;
  row->setContentsMargins(0, 0, -plainInset, 0);
  paired_ = new LineLabel(TextSize::normal, TextTone::secondary);
  row->addWidget(paired_, 1);
  revoke_ = makeButton(QStringLiteral("Revoke all"), ButtonLook::plain, acting(menuAction::RevokeAll{}));
  QSizePolicy keepsItsPlace = revoke_->sizePolicy();
  keepsItsPlace.setRetainSizeWhenHidden(true);
  revoke_->setSizePolicy(keepsItsPlace);
  row->addWidget(revoke_);
  column->addLayout(row);
  return section;
}

QWidget* PopoverPanel::makeSettings() {
  auto* section = new QWidget;
  section->setObjectName(QStringLiteral("settings"));
  auto* column = layoutOn(section, gap);
  console_ = new LineLabel(TextSize::normal, TextTone::secondary);
  column->addWidget(console_);
  magnify_ = new Switch(QStringLiteral("Map pinch zoom to ⌘-scroll"), acting(menuAction::ToggleMagnify{}));
  startAtLogin_ = new Switch(QStringLiteral("Start at login"), acting(menuAction::ToggleStartAtLogin{}));
  column->addWidget(magnify_);
  column->addWidget(startAtLogin_);
  return section;
}

QWidget* PopoverPanel::makeFooter() {
  auto* section = new QWidget;
  section->setObjectName(QStringLiteral("footer"));
  auto* row = layoutOn<QHBoxLayout>(section, gap, {margin, 10, margin, 12});
  row->addWidget(makeButton(QStringLiteral("Setup && Connectivity…"), ButtonLook::framed,
                            [this] { handlers_.openSetup(); }));
  row->addStretch(1);
  row->addWidget(makeButton(QStringLiteral("Quit"), ButtonLook::framed, acting(menuAction::Quit{})));
  return section;
}

void PopoverPanel::fill(const PopoverSnapshot& snapshot) {
  title_->show(snapshot.title);
  dot_->show(snapshot.statusColor);
  status_->show(snapshot.statusLine);
  reachability_->show(snapshot.reachability);
  reachability_->setTone(snapshot.overlayOnline ? TextTone::green : TextTone::secondary);
  disconnect_->setVisible(!snapshot.clients.empty());
  showPermissions(snapshot);
  pin_->show(snapshot.pin);
  showClients(snapshot.clients);
  paired_->show(snapshot.pairedDevices);
  revoke_->setVisible(snapshot.canRevoke);
  console_->show(snapshot.consoleSession);
  magnify_->setChecked(snapshot.magnifyAsCommandScroll);
  startAtLogin_->setChecked(snapshot.startAtLogin);
  startAtLogin_->setVisible(snapshot.canStartAtLogin);
}

void PopoverPanel::showPermissions(const PopoverSnapshot& snapshot) {
  permissions_->setVisible(!snapshot.missingPermissions.empty());
  permissionNote_->show(snapshot.permissionNote);
  permissionNote_->setVisible(!snapshot.permissionNote.empty());
  if (snapshot.missingPermissions == shownPermissions_) return;
  shownPermissions_ = snapshot.missingPermissions;
  removeRows(permissionRows_);
  QWidget* before = disconnect_;
  for (const PermissionRow& missing : shownPermissions_) {
    auto* view = new QWidget;
    auto* row = layoutOn<QHBoxLayout>(view, 10, {});
    row->addWidget(new SymbolLabel(symbolOf(missing.permission), 24), 0, Qt::AlignTop);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(2);
    auto* title = new TextLabel;
    title->show(missing.title);
    auto* detail = new TextLabel(TextSize::small, TextTone::secondary);
    detail->show(missing.detail);
    texts->addWidget(title);
    texts->addWidget(detail);
    if (!missing.obstacle.empty()) {
      auto* obstacle = new TextLabel(TextSize::small);
      obstacle->show(missing.obstacle);
      texts->addWidget(obstacle);
    }
    row->addLayout(texts, 1);
    if (missing.canRequest) {
      auto* grant = makeButton(QStringLiteral("Grant…"), ButtonLook::framed,
                               acting(menuAction::RequestPermission{missing.permission}));
      grant->setAccessibleName(QStringLiteral("Grant ") + textFrom(missing.title));
      row->addWidget(grant, 0, Qt::AlignTop);
      permissionRows_->addWidget(view);
      setTabOrder(before, grant);
      before = grant;
    }
    permissionRows_->addWidget(view);
    view->show();  // at once: the layout of an open panel shows it later, and ignores it until then
  }
}

void PopoverPanel::showClients(const std::vector<MenuClientRow>& clients) {
  if (clientViews_.size() != clients.size()) {
    removeRows(clientRows_);
    clientViews_.clear();
    for (std::size_t index = 0; index < clients.size(); ++index) {
      auto* view = new QWidget;
      auto* row = layoutOn<QHBoxLayout>(view, 10, {});
      row->addWidget(new SymbolLabel(Symbol::tablet, 24, TextTone::secondary));
      auto* texts = new QVBoxLayout;
      texts->setSpacing(1);
      auto* name = new LineLabel(TextSize::normal, TextTone::primary);
      auto* detail = new LineLabel(TextSize::small, TextTone::secondary);
      texts->addWidget(name);
      texts->addWidget(detail);
      row->addLayout(texts, 1);
      clientRows_->addWidget(view);
      view->show();
      clientViews_.emplace_back(name, detail);
    }
  }
  for (std::size_t index = 0; index < clients.size(); ++index) {
    clientViews_[index].first->show(clients[index].name);
    clientViews_[index].second->show(clients[index].detail);
  }
  clientScroll_->setVisible(!clients.empty());
  if (clients.empty()) return;
  QWidget* list = clientScroll_->widget();
  const bool isLong = clients.size() > visibleClients;
  clientRows_->setContentsMargins(0, 0, isLong ? 12 : 0, 0);
  measureAnew(list);
  const int spacing = clientRows_->spacing();
  const int rows = static_cast<int>(clients.size());
  const int whole = list->sizeHint().height();
  const int one = (whole + spacing) / rows;
  // Half a row more shows that there are others.
  const int limit = static_cast<int>(visibleClients) * one + one / 2;
  clientScroll_->setFixedHeight(isLong ? std::min(whole, limit) : whole);
}

void PopoverPanel::fit(int limit) {
  measureAnew(content_);
  const int inner = panelWidth - 2;
  const int wanted = content_->layout()->hasHeightForWidth() ? content_->layout()->heightForWidth(inner)
                                                             : content_->sizeHint().height();
  setFixedHeight(std::min(wanted + 2, limit));
}

void PopoverPanel::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  const Theme& theme = Theme::current();
  painter.fillRect(rect(), theme.window);
  painter.setPen(theme.border);
  painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

void PopoverPanel::mousePressEvent(QMouseEvent* event) {
  if (!rect().contains(event->position().toPoint())) {
    outside_ = event->globalPosition().toPoint();
    close();
  }
}

void PopoverPanel::hideEvent(QHideEvent* event) {
  QWidget::hideEvent(event);
  if (!event->spontaneous()) handlers_.closed(std::exchange(outside_, std::nullopt));
}

}  // namespace quorl
