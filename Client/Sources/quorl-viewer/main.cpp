// SPDX-License-Identifier: GPL-3.0-or-later
// The viewer: shows a host in a window. `quorl_client watch` starts it with checked arguments.
#include <filesystem>
#include <span>
#include <system_error>

#include <QApplication>

#include <fmt/format.h>

#include <quorl-client/Video/Decoder.h>
#include <quorl-viewer/Application/ErrorDialog.h>
#include <quorl-viewer/Application/SSHQuestionDialog.h>
#include <quorl-viewer/Application/TerminationSignals.h>
#include <quorl-viewer/Application/ViewerApplication.h>
#include <quorl-viewer/Start/Desktop.h>
#include <quorl-viewer/Start/SSHQuestions.h>

namespace {

using namespace quorl;
using client::ExitCode;

int report(const client::ClientError& error) {
  fmt::print(stderr, "quorl_viewer: {}\n", error.what);
  if (!error.advice.empty()) fmt::print(stderr, "  {}\n", error.advice);
  return static_cast<int>(error.code);
}

// Before there is an application.
int reportEarly(const client::ClientError& error, std::span<const std::string> words, char** argv) {
  if (viewer::wantsDialogs(words) && !viewer::missingDesktop()) {
    int ownName = 1;
    const QApplication application(ownName, argv);
    viewer::showErrorDialog(error);
  }
  return report(error);
}

}  // namespace

int main(int argc, char** argv) {
  if (const auto question = viewer::askedBySSH(argv[1])) {
    if (const auto error = viewer::missingDesktop()) return report(*error);
    int ownName = 1;
    const QApplication application(ownName, argv);
    return viewer::askForSSH(*question);
  }
  const std::vector<std::string> words(argv + 1, argv + argc);
  const auto options = viewer::ViewerOptions::parse(words);
  if (!options) return reportEarly(options.error(), words, argv);
  if (options->wantsHelp) {
    fmt::print("{}\n", viewer::viewerHelp());
    return 0;
  }
  if (options->wantsVersion) {
    fmt::print("quorl_viewer {}\n", QUORL_VERSION);
    return 0;
  }
  const auto folder = client::HostBook::defaultFolder();
  if (!folder) return reportEarly(folder.error(), words, argv);
  if (const auto error = viewer::missingDesktop()) return report(*error);
  std::error_code unreadable;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", unreadable);
  if (!unreadable) viewer::askThrough(program);
  client::silenceMediaLibraries();
  viewer::TerminationSignals termination;
  // The words are parsed already, and Qt would take some of them for its own.
  int ownName = 1;
  const QApplication application(ownName, argv);
  QApplication::setApplicationName(QStringLiteral("quorl_viewer"));
  QApplication::setDesktopFileName(QStringLiteral("dev.vek.quorl.viewer"));
  viewer::ViewerApplication viewer(*options, *folder);
  termination.watch([&] { viewer.end(); });
  const auto ended = viewer.run();
  if (ended) return 0;
  if (options->wantsDialogs && !viewer.isEnding()) viewer::showErrorDialog(ended.error());
  return report(ended.error());
}
