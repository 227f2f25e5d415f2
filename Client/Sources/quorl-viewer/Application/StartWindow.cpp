// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Application/StartWindow.h>

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QMetaObject>
#include <QPushButton>
#include <QShortcut>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <quorl-viewer/Application/PlainLabel.h>
#include <quorl-viewer/Start/LastUsed.h>
#include <quorl-viewer/Windows/PlainText.h>

namespace quorl::viewer {
namespace {

constexpr QSize firstSize(620, 420);
constexpr int margin = 20;
constexpr int spacing = 12;
constexpr int rowHeight = 34;
constexpr double headingScale = 1.3;

QString stateText(const HostRow& row) {
  if (!row.deviceID) return QStringLiteral("Not paired yet");
  switch (row.presence) {
    case HostRow::Presence::here:
      return QStringLiteral("On this network");
    case HostRow::Presence::notSeen:
      return QStringLiteral("Not seen");
    case HostRow::Presence::unknown:
      break;
  }
  return {};
}

}  // namespace

StartWindow::StartWindow(client::HostBook book, std::filesystem::path folder, HostSearch::Search search)
    : book_(std::move(book)), folder_(std::move(folder)), searchFunction_(std::move(search)) {
  setWindowTitle(QStringLiteral("Quorl Viewer"));
  makeWidgets();
  showRows();
  searchAgain();
}

StartWindow::~StartWindow() {
  search_.reset();
}

void StartWindow::makeWidgets() {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(margin, margin, margin, margin);
  layout->setSpacing(spacing);
  auto* heading = plainLabel(QStringLiteral("Choose a host"));
  auto font = heading->font();
  font.setPointSizeF(font.pointSizeF() * headingScale);
  heading->setFont(font);
  list_ = new QTreeWidget;
  list_->setAccessibleName(QStringLiteral("Hosts"));
  list_->setHeaderLabels({QStringLiteral("Host"), QStringLiteral("Address"), QStringLiteral("State")});
  list_->setRootIsDecorated(false);
  list_->setUniformRowHeights(true);
  list_->header()->setSectionResizeMode(QHeaderView::Stretch);
  status_ = plainLabel({});
  address_ = new QLineEdit;
  address_->setPlaceholderText(QStringLiteral("desk.local, 10.0.0.2:47905 or ssh://ada@desk.local"));
  address_->setAccessibleName(QStringLiteral("Address of another host"));
  auto* addressLabel = plainLabel(QStringLiteral("&Address"));
  addressLabel->setBuddy(address_);
  addressLabel->setWordWrap(false);
  open_ = new QPushButton(QStringLiteral("Open"));
  open_->setDefault(true);
  forget_ = new QPushButton(QStringLiteral("Forget"));
  auto* again = new QPushButton(QStringLiteral("Search again"));
  for (auto* button : {forget_, again}) button->setAutoDefault(false);
  auto* addressRow = new QHBoxLayout;
  addressRow->addWidget(addressLabel);
  addressRow->addWidget(address_, 1);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(forget_);
  buttons->addWidget(again);
  buttons->addStretch();
  buttons->addWidget(open_);
  layout->addWidget(heading);
  layout->addWidget(list_, 1);
  layout->addWidget(status_);
  layout->addLayout(addressRow);
  layout->addLayout(buttons);
  resize(firstSize);
  QObject::connect(list_, &QTreeWidget::itemActivated, this, [this] { openRow(); });
  QObject::connect(list_, &QTreeWidget::itemSelectionChanged, this, [this] { rowChanged(); });
  QObject::connect(address_, &QLineEdit::textChanged, this, [this] { rowChanged(); });
  QObject::connect(open_, &QPushButton::clicked, this,
                   [this] { address_->text().trimmed().isEmpty() ? openRow() : openAddress(); });
  QObject::connect(forget_, &QPushButton::clicked, this, [this] { forgetRow(); });
  QObject::connect(again, &QPushButton::clicked, this, [this] { searchAgain(); });
  auto* remove = new QShortcut(QKeySequence::Delete, list_, this, [this] { forgetRow(); });
  remove->setContext(Qt::WidgetShortcut);
}

void StartWindow::searchAgain() {
  status_->setText(QStringLiteral("Looking for hosts on this network…"));
  search_ = std::make_unique<HostSearch>(
      [this](const HostSearch::Result& result) {
        QMetaObject::invokeMethod(
            this,
            [this, result] {
              discovered_ = result ? std::optional(*result) : std::nullopt;
              showRows();
              status_->setText(result ? QString()
                                      : QStringLiteral("The network cannot be searched: %1.")
                                            .arg(plain(result.error().what)));
              status_->setVisible(!result);
            },
            Qt::QueuedConnection);
      },
      searchFunction_);
  status_->show();
}

void StartWindow::showRows() {
  const auto contents = book_.load();
  const auto* before = currentRow();
  const auto kept = before != nullptr ? std::optional(before->address) : std::nullopt;
  rows_ = contents ? hostRows(*contents, LastUsed(folder_).load(), discovered_) : std::vector<HostRow>();
  list_->clear();
  for (const auto& row : rows_) {
    auto* item = new QTreeWidgetItem(
        list_, {QString::fromStdString(row.title), QString::fromStdString(row.detail), stateText(row)});
    item->setSizeHint(0, QSize(0, rowHeight));
    if (row.presence == HostRow::Presence::notSeen)
      for (int column = 0; column < list_->columnCount(); ++column)
        item->setForeground(column, palette().brush(QPalette::Disabled, QPalette::Text));
    if (kept == row.address) list_->setCurrentItem(item);
  }
  if (list_->currentItem() == nullptr) list_->setCurrentItem(list_->topLevelItem(0));
  if (!contents) {
    status_->setText(plain(contents.error()));
    status_->show();
  }
  rowChanged();
}

const HostRow* StartWindow::currentRow() const {
  const int index = list_->indexOfTopLevelItem(list_->currentItem());
  return index >= 0 && static_cast<std::size_t>(index) < rows_.size()
             ? &rows_[static_cast<std::size_t>(index)]
             : nullptr;
}

void StartWindow::rowChanged() {
  const auto* row = currentRow();
  forget_->setEnabled(row != nullptr && row->deviceID);
  open_->setEnabled(row != nullptr || !address_->text().trimmed().isEmpty());
}

void StartWindow::openRow() {
  if (const auto* row = currentRow()) choose(row->address);
}

void StartWindow::openAddress() {
  const auto text = address_->text().trimmed().toStdString();
  const auto contents = book_.load();
  const auto* known = contents ? contents->find(text) : nullptr;
  const auto address = known != nullptr ? known->endpoint() : client::HostAddress::parse(text);
  if (address) return choose(*address);
  status_->setText(QStringLiteral("That is not a host name or address."));
  status_->show();
  address_->setFocus();
}

void StartWindow::choose(const client::HostAddress& address) {
  chosen_ = address;
  accept();
}

void StartWindow::forgetRow() {
  const auto* row = currentRow();
  if (row == nullptr || !row->deviceID) return;
  const auto device = *row->deviceID;
  QMessageBox question(this);
  question.setWindowTitle(QStringLiteral("Forget a host"));
  question.setTextFormat(Qt::PlainText);
  question.setText(QStringLiteral("Forget %1?").arg(QString::fromStdString(row->title)));
  question.setInformativeText(QStringLiteral("To use it again you pair with its PIN."));
  auto* yes = question.addButton(QStringLiteral("Forget"), QMessageBox::AcceptRole);
  question.setDefaultButton(question.addButton(QMessageBox::Cancel));
  question.exec();
  if (question.clickedButton() != yes) return;
  const auto updated = book_.update([&](client::HostBookContents& contents) {
    std::erase_if(contents.hosts, [&](const client::PairedHost& host) { return host.deviceID == device; });
  });
  showRows();
  if (updated) return;
  status_->setText(plain(updated.error()));
  status_->show();
}

}  // namespace quorl::viewer
