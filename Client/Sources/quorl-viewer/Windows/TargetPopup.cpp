// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/TargetPopup.h>

#include <algorithm>

#include <QKeyEvent>
#include <QScreen>
#include <QScrollBar>
#include <QVBoxLayout>

#include <quorl-viewer/Windows/TargetDelegate.h>

namespace quorl::viewer {

namespace {

constexpr QSize largestSize{480, 560};
constexpr int margin = 6;
constexpr int viewPause = 50;  // ms: who types or scrolls past a window does not want its picture

bool isHeading(const QListWidgetItem& item) {
  return item.data(TargetDelegate::isHeadingRole).toBool();
}

}  // namespace

TargetPopup::TargetPopup(Handlers handlers, QWidget* parent)
    : QFrame(parent, Qt::Popup),
      handlers_(std::move(handlers)),
      field_(new QLineEdit),
      list_(new QListWidget) {
  setFrameStyle(QFrame::StyledPanel | QFrame::Plain);
  setAccessibleName(QStringLiteral("Choose what is shown"));
  field_->setPlaceholderText(QStringLiteral("Type to filter"));
  field_->setAccessibleName(QStringLiteral("Filter"));
  field_->setClearButtonEnabled(true);
  field_->installEventFilter(this);
  list_->setAccessibleName(QStringLiteral("Displays, windows, applications and agents"));
  list_->setFrameShape(QFrame::NoFrame);
  list_->setItemDelegate(new TargetDelegate(list_));
  list_->setFocusPolicy(Qt::NoFocus);
  list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(margin, margin, margin, margin);
  column->setSpacing(margin);
  column->addWidget(field_);
  column->addWidget(list_);
  QObject::connect(field_, &QLineEdit::textChanged, this, [this](const QString& text) { filter(text); });
  QObject::connect(field_, &QLineEdit::returnPressed, this, [this] { take(list_->currentItem()); });
  QObject::connect(list_, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) { take(item); });
  viewTimer_.setSingleShot(true);
  viewTimer_.setInterval(viewPause);
  QObject::connect(&viewTimer_, &QTimer::timeout, this, [this] { reportView(); });
  QObject::connect(list_->verticalScrollBar(), &QScrollBar::valueChanged, &viewTimer_,
                   qOverload<>(&QTimer::start));
  hide();
}

void TargetPopup::open(Contents contents, QPoint topLeft) {
  contents_ = std::move(contents);
  field_->clear();
  fill();
  const QRect room = screen()->availableGeometry();
  int height = field_->sizeHint().height() + 4 * margin;
  for (int row = 0; row < list_->count(); ++row) height += list_->sizeHintForRow(row);
  const QSize size = largestSize.boundedTo({largestSize.width(), height}).boundedTo(room.size());
  topLeft.setX(std::clamp(topLeft.x(), room.left(), room.right() - size.width() + 1));
  topLeft.setY(std::clamp(topLeft.y(), room.top(), room.bottom() - size.height() + 1));
  setGeometry(QRect(topLeft, size));
  show();
  field_->setFocus(Qt::PopupFocusReason);
  viewTimer_.start();
}

void TargetPopup::setThumbnail(const StreamTarget& target, const QImage& picture) {
  for (int row = 0; row < list_->count(); ++row) {
    auto* item = list_->item(row);
    const auto index = static_cast<std::size_t>(item->data(TargetDelegate::indexRole).toULongLong());
    if (!item->data(TargetDelegate::hasThumbnailRole).toBool() || contents_.targets[index].target != target)
      continue;
    item->setData(TargetDelegate::thumbnailRole, picture);
    return;
  }
}

void TargetPopup::reportView() {
  std::vector<StreamTarget> targets;
  const QRect room = list_->viewport()->rect();
  for (int row = 0; isVisible() && row < list_->count(); ++row) {
    const auto* item = list_->item(row);
    if (item->isHidden() || !item->data(TargetDelegate::hasThumbnailRole).toBool() ||
        !room.intersects(list_->visualItemRect(item)))
      continue;
    const auto index = static_cast<std::size_t>(item->data(TargetDelegate::indexRole).toULongLong());
    targets.push_back(contents_.targets[index].target);
  }
  handlers_.inView(targets);
}

void TargetPopup::addHeading(const QString& text) {
  auto* item = new QListWidgetItem(text, list_);
  item->setData(TargetDelegate::isHeadingRole, true);
  item->setFlags(Qt::NoItemFlags);
}

QListWidgetItem* TargetPopup::addItem(const QIcon& icon, const std::string& title, const std::string& detail,
                                      bool isWaiting, std::size_t index) {
  auto* item = new QListWidgetItem(icon, QString::fromStdString(title), list_);
  item->setData(TargetDelegate::detailRole, QString::fromStdString(detail));
  item->setData(TargetDelegate::isWaitingRole, isWaiting);
  item->setData(TargetDelegate::indexRole, static_cast<qulonglong>(index));
  item->setData(Qt::AccessibleTextRole,
                QString::fromStdString(title + ", " + detail + (isWaiting ? ", waits for you" : "")));
  return item;
}

void TargetPopup::fill() {
  list_->clear();
  std::optional<TargetRow::Kind> kind;
  const auto& [targets, agents, current] = contents_;
  for (std::size_t index = 0; index < targets.size(); ++index) {
    const auto& row = targets[index];
    if (kind != row.kind)
      addHeading(row.kind == TargetRow::Kind::display  ? QStringLiteral("Displays")
                 : row.kind == TargetRow::Kind::window ? QStringLiteral("Windows")
                                                       : QStringLiteral("Applications"));
    kind = row.kind;
    auto* item = addItem(handlers_.icon(row), row.title, row.detail, false, index);
    item->setData(TargetDelegate::hasThumbnailRole, row.kind == TargetRow::Kind::window);
    if (row.target == current) list_->setCurrentRow(list_->count() - 1);
  }
  if (!agents.empty()) addHeading(QStringLiteral("Agents, in a terminal"));
  for (std::size_t index = 0; index < agents.size(); ++index)
    addItem(QIcon::fromTheme(QStringLiteral("utilities-terminal")), agents[index].name,
            agents[index].isWaiting ? "waits for you" : agents[index].detail, agents[index].isWaiting,
            targets.size() + index);
}

void TargetPopup::filter(const QString& text) {
  const auto words = text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
  QListWidgetItem* first = nullptr;
  for (int row = 0; row < list_->count(); ++row) {
    auto* item = list_->item(row);
    const QString all = item->text() + ' ' + item->data(TargetDelegate::detailRole).toString();
    const bool fits =
        words.isEmpty() || (!isHeading(*item) && std::ranges::all_of(words, [&](const QString& word) {
          return all.contains(word, Qt::CaseInsensitive);
        }));
    item->setHidden(!fits);
    if (fits && first == nullptr && !isHeading(*item)) first = item;
  }
  viewTimer_.start();
  const auto* chosen = list_->currentItem();
  if (chosen == nullptr || chosen->isHidden()) list_->setCurrentItem(first);
}

void TargetPopup::step(int by) {
  for (int row = list_->currentRow() + by; row >= 0 && row < list_->count(); row += by) {
    if (list_->item(row)->isHidden() || isHeading(*list_->item(row))) continue;
    return list_->setCurrentRow(row);
  }
}

bool TargetPopup::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::KeyPress) {
    const int key = static_cast<QKeyEvent*>(event)->key();
    if (key == Qt::Key_Down || key == Qt::Key_Up) {
      step(key == Qt::Key_Down ? 1 : -1);
      return true;
    }
  }
  return QFrame::eventFilter(watched, event);
}

void TargetPopup::take(const QListWidgetItem* item) {
  if (item == nullptr || item->isHidden() || isHeading(*item)) return;
  const auto index = static_cast<std::size_t>(item->data(TargetDelegate::indexRole).toULongLong());
  // The handler may open this list again.
  const auto contents = contents_;
  hide();
  if (index < contents.targets.size())
    handlers_.target(contents.targets[index].target);
  else
    handlers_.agent(contents.agents.at(index - contents.targets.size()).id);
}

void TargetPopup::hideEvent(QHideEvent* event) {
  QFrame::hideEvent(event);
  viewTimer_.stop();
  handlers_.inView({});
  handlers_.closed();
}

}  // namespace quorl::viewer
