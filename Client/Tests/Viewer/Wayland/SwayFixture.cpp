// SPDX-License-Identifier: GPL-3.0-or-later
#include "SwayFixture.h"

#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include <Support/Eventually.h>
#include <fmt/format.h>

namespace quorl::viewer::test {

namespace fs = std::filesystem;
using quorl::test::ChildProgram;

namespace {

constexpr uid_t nobody = 65'534;

void mayBeUsedByNobody(const fs::path& folder) {
  fs::permissions(folder, fs::perms::owner_all | fs::perms::group_exec | fs::perms::others_exec);
  if (::chown((folder / "run").c_str(), nobody, nobody) != 0)
    throw std::runtime_error("the runtime folder cannot be given away");
}

}  // namespace

Sway::Sway() {
  const auto config = folder_.write("config", fmt::format("xwayland disable\n"
                                                          "default_border none\n"
                                                          "focus_follows_mouse no\n"
                                                          "bindsym Mod4+x exec touch {}/fired\n",
                                                          runtimeFolder()));
  fs::create_directory(runtimeFolder());
  fs::permissions(runtimeFolder(), fs::perms::owner_all);
  std::vector<std::string> words{"sway", "-c", config};
  if (::geteuid() == 0) {
    mayBeUsedByNobody(folder_.path());
    words.insert(words.begin(), {"setpriv", fmt::format("--reuid={}", nobody),
                                 fmt::format("--regid={}", nobody), "--clear-groups"});
  }
  program_ = std::make_unique<ChildProgram>(words, environment());
  const bool isReady =
      quorl::test::eventually([&] { return fs::exists(display()) && fs::exists(runtimeFolder() + "/ipc"); },
                              std::chrono::seconds(30));
  if (!isReady) throw std::runtime_error("sway does not start:\n" + program_->output());
}

std::vector<std::string> Sway::environment() const {
  return {"DISPLAY",
          "WAYLAND_DISPLAY",
          "DBUS_SESSION_BUS_ADDRESS",
          "WLR_BACKENDS=headless",
          "WLR_LIBINPUT_NO_DEVICES=1",
          "WLR_RENDERER=pixman",
          "HOME=" + runtimeFolder(),
          "XDG_CONFIG_HOME=" + runtimeFolder(),
          "XDG_RUNTIME_DIR=" + runtimeFolder(),
          "SWAYSOCK=" + runtimeFolder() + "/ipc"};
}

std::string Sway::run(const std::string& command) const {
  return quorl::test::outputOf({"swaymsg", command}, environment());
}

std::string Sway::ask(const std::string& question) const {
  return quorl::test::outputOf({"swaymsg", "-r", "-t", question}, environment());
}

std::string Sway::runClient(const std::vector<std::string>& command) const {
  return quorl::test::outputOf(command,
                               {"WAYLAND_DISPLAY=" + display(), "XDG_RUNTIME_DIR=" + runtimeFolder()});
}

std::unique_ptr<ChildProgram> Sway::startClient(const std::vector<std::string>& command) const {
  return std::make_unique<ChildProgram>(
      command,
      std::vector<std::string>{"WAYLAND_DISPLAY=" + display(), "XDG_RUNTIME_DIR=" + runtimeFolder()});
}

bool Sway::bindingFired() const {
  return fs::exists(runtimeFolder() + "/fired");
}

void Sway::forgetBinding() const {
  fs::remove(runtimeFolder() + "/fired");
}

}  // namespace quorl::viewer::test
