// SPDX-License-Identifier: GPL-3.0-or-later
// A window of another toolkit with a combo box that covers it.
#include <QApplication>
#include <QComboBox>
#include <QVBoxLayout>

int main(int argc, char** argv) {
  const QApplication application(argc, argv);
  QWidget window;
  QVBoxLayout layout(&window);
  QComboBox box;
  for (int i = 1; i <= 6; ++i) box.addItem(QString("Choice %1").arg(i));
  layout.addWidget(&box);
  layout.addStretch();
  window.setWindowTitle("Menu target");
  window.resize(300, 260);
  window.move(100, 80);
  window.show();
  return QApplication::exec();
}
