// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QStyledItemDelegate>

namespace quorl::viewer {

/// Draws a row of the target list: icon, title, and its detail in a weaker colour at the right end. A window
/// has a thumbnail with the icon in its corner. Headings have a title only. All texts are plain.
///
/// *Queue*: the GUI thread. *Ownership*: its parent's.
class TargetDelegate : public QStyledItemDelegate {
 public:
  enum Role {
    detailRole = Qt::UserRole,
    isHeadingRole,
    isWaitingRole,
    indexRole,
    hasThumbnailRole,
    thumbnailRole
  };

  using QStyledItemDelegate::QStyledItemDelegate;

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

}  // namespace quorl::viewer
