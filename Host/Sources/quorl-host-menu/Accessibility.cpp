// SPDX-License-Identifier: GPL-3.0-or-later
#include "Accessibility.h"

#include <QAccessibleWidget>

#include "QrCode.h"
#include "Widgets.h"

namespace quorl {
namespace {

QAccessibleInterface* interfaceOf(const QString& /*className*/, QObject* object) {
  auto* widget = qobject_cast<QWidget*>(object);
  if (dynamic_cast<PINLabel*>(widget) != nullptr || dynamic_cast<Dot*>(widget) != nullptr)
    return new QAccessibleWidget(widget, QAccessible::StaticText);
  if (dynamic_cast<QrView*>(widget) != nullptr) return new QAccessibleWidget(widget, QAccessible::Graphic);
  return nullptr;
}

}  // namespace

void describeDrawnWidgets() {
  QAccessible::installFactory(interfaceOf);
}

}  // namespace quorl
