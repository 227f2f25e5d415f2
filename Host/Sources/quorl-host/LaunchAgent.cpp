// SPDX-License-Identifier: GPL-3.0-or-later
#include "LaunchAgent.h"

#include <filesystem>

#include <fmt/format.h>

#include <QuorlHostCore/Log/Log.h>

namespace quorl {

namespace {

// The kernel's suffix for a running executable that was replaced.
constexpr std::string_view replacedMark = " (deleted)";

}  // namespace

bool LaunchAgent::installed() const {
  std::error_code ignored;
  return std::filesystem::exists(std::filesystem::symlink_status(file_.path, ignored));
}

void LaunchAgent::install() {
  const std::string folder = std::filesystem::path(file_.path).parent_path();
  auto done = files_->createPrivateDirectory(folder);
  if (done) done = files_->writeAtomically(file_.path, viewOf(file_.contents));
  if (done)
    Log::app.info(fmt::format("installed LaunchAgent at {}", file_.path));
  else
    Log::app.error(fmt::format("LaunchAgent install failed: {}", done.error().description));
}

void LaunchAgent::uninstall() {
  std::error_code ignored;
  std::filesystem::remove(file_.path, ignored);
}

std::string currentExecutable(const std::string& command) {
  std::error_code ignored;
  std::string reported = std::filesystem::read_symlink("/proc/self/exe", ignored);
  if (reported.ends_with(replacedMark)) reported.resize(reported.size() - replacedMark.size());
  const std::string here = std::filesystem::current_path(ignored);
  return executablePathFrom(reported, command, here);
}

StartAtLoginFile currentStartAtLoginFile(const std::string& command) {
  return autostartEntry(currentUserFolders(), currentExecutable(command));
}

}  // namespace quorl
