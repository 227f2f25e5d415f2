// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Application/ErrorDialog.h>

#include <QMessageBox>

#include <quorl-viewer/Windows/PlainText.h>

namespace quorl::viewer {

void showErrorDialog(const client::ClientError& error) {
  auto what = plain(error.what);
  if (!what.isEmpty()) what[0] = what[0].toUpper();
  QMessageBox box(QMessageBox::Warning, QStringLiteral("Quorl Viewer"), what, QMessageBox::Close);
  box.setTextFormat(Qt::PlainText);
  box.setInformativeText(plain(error.advice));
  box.exec();
}

}  // namespace quorl::viewer
