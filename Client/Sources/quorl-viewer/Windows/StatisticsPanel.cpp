// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/StatisticsPanel.h>

#include <QFontDatabase>

namespace quorl::viewer {

namespace {

constexpr int refreshPause = 500;  // ms

}  // namespace

StatisticsPanel::StatisticsPanel(std::function<QString()> text, QWidget* parent)
    : Banner(Place::topLeft, parent), text_(std::move(text)) {
  setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  timer_.setInterval(refreshPause);
  QObject::connect(&timer_, &QTimer::timeout, this, [this] { show(text_(), std::chrono::milliseconds(0)); });
}

void StatisticsPanel::setShown(bool isShown) {
  if (!isShown) {
    timer_.stop();
    return hide();
  }
  timer_.start();
  show(text_(), std::chrono::milliseconds(0));
}

}  // namespace quorl::viewer
