// SPDX-License-Identifier: GPL-3.0-or-later
// A text field of another toolkit: its content is written to the
// file named on the command line.
#include <QApplication>
#include <QFile>
#include <QPlainTextEdit>
#include <QTimer>

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QPlainTextEdit field;
  const QString path = application.arguments().value(1);
  const auto save = [&] {
    QFile file(path);
    if (file.open(QIODevice::WriteOnly)) file.write(field.toPlainText().toUtf8());
  };
  QTimer pause;
  pause.setSingleShot(true);
  pause.setInterval(200);
  QObject::connect(&pause, &QTimer::timeout, save);
  QObject::connect(&field, &QPlainTextEdit::textChanged, &pause, qOverload<>(&QTimer::start));
  QObject::connect(&application, &QGuiApplication::applicationStateChanged, [&](Qt::ApplicationState state) {
    if (state == Qt::ApplicationActive) save();
  });
  field.setWindowTitle("Typing target");
  field.resize(600, 400);
  field.show();
  return QApplication::exec();
}
