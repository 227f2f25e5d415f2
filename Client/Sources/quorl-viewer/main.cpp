// SPDX-License-Identifier: GPL-3.0-or-later
// The viewer: shows a host in a window. `quorl_client watch` starts it with checked arguments.
//   usage: quorl_viewer [--host HOST] [--display ID | --window ID | --app ID] [--full-screen] [--mute]
#include <cstdio>

#include <QApplication>
#include <QCommandLineParser>

#include <fmt/format.h>

#include <quorl-client/Hosts/HostBook.h>
#include <quorl-client/Hosts/PairedSession.h>
#include <quorl-client/Video/Decoder.h>
#include <quorl-viewer/Windows/ViewerWindow.h>

namespace {

using namespace quorl;
using viewer::ViewerWindow;

int report(const client::ClientError& error) {
  fmt::print(stderr, "quorl_viewer: {}\n", error.what);
  if (!error.advice.empty()) fmt::print(stderr, "  {}\n", error.advice);
  return static_cast<int>(error.code);
}

void addOptions(QCommandLineParser& parser) {
  parser.addOption(
      {QStringLiteral("host"), QStringLiteral("the host's name or address"), QStringLiteral("HOST")});
  parser.addOption({QStringLiteral("display"), QStringLiteral("a display"), QStringLiteral("ID")});
  parser.addOption({QStringLiteral("window"), QStringLiteral("a window"), QStringLiteral("ID")});
  parser.addOption({QStringLiteral("app"), QStringLiteral("an application"), QStringLiteral("ID")});
  parser.addOption({QStringLiteral("full-screen"), QStringLiteral("begin in full screen")});
  parser.addOption({QStringLiteral("mute"), QStringLiteral("begin without sound")});
}

StreamTarget targetOf(const QCommandLineParser& parser) {
  if (parser.isSet(QStringLiteral("window")))
    return streamTarget::Window{parser.value(QStringLiteral("window")).toUInt()};
  if (parser.isSet(QStringLiteral("display")))
    return streamTarget::Display{parser.value(QStringLiteral("display")).toUInt()};
  if (parser.isSet(QStringLiteral("app")))
    return streamTarget::App{parser.value(QStringLiteral("app")).toStdString()};
  return streamTarget::Unified{};
}

client::Outcome<client::PairedHost> hostOf(const QCommandLineParser& parser,
                                           const client::HostBookContents& book) {
  const std::string wanted = parser.value(QStringLiteral("host")).toStdString();
  if (wanted.empty() && book.hosts.size() == 1) return book.hosts.front();
  if (wanted.empty())
    return client::failed(client::ExitCode::usage, "which host? --host names one",
                          "'quorl_client hosts' lists the paired ones.");
  const auto* found = book.find(wanted);
  if (found == nullptr)
    return client::failed(client::ExitCode::refused,
                          fmt::format("{} is not paired with this computer", wanted),
                          fmt::format("Run 'quorl_client pair {}'.", wanted));
  return *found;
}

}  // namespace

int main(int argc, char** argv) {
  client::silenceMediaLibraries();
  QApplication application(argc, argv);
  QApplication::setApplicationName(QStringLiteral("quorl_viewer"));
  QApplication::setDesktopFileName(QStringLiteral("dev.vek.quorl.viewer"));
  QCommandLineParser parser;
  addOptions(parser);
  parser.process(application);

  const auto folder = client::HostBook::defaultFolder();
  if (!folder) return report(folder.error());
  const auto book = client::HostBook(*folder).load();
  if (!book) return report(book.error());
  const auto host = hostOf(parser, *book);
  if (!host) return report(host.error());

  // Deletes itself when it is closed, which ends the application.
  auto* window = new ViewerWindow(*host, client::clientDevice(book->deviceID),
                                  {.target = targetOf(parser),
                                   .wanted = {},
                                   .isFullScreen = parser.isSet(QStringLiteral("full-screen")),
                                   .isMuted = parser.isSet(QStringLiteral("mute")),
                                   .folder = *folder});
  window->show();
  return QApplication::exec();
}
