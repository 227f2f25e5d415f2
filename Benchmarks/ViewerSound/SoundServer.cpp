// SPDX-License-Identifier: GPL-3.0-or-later
#include "SoundServer.h"

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <thread>

namespace quorl::bench {

SoundServer::SoundServer(const std::string& folder)
    : address_("unix:" + folder + "/sound"),
      server_({"pulseaudio", "-n", "--daemonize=no", "--use-pid-file=no", "--exit-idle-time=-1", "-L",
               "module-null-sink sink_name=out rate=48000 channels=2 norewinds=1", "-L",
               "module-native-protocol-unix socket=" + folder + "/sound auth-anonymous=1"},
              {"HOME=" + folder, "XDG_RUNTIME_DIR=" + folder, "XDG_CONFIG_HOME=" + folder}, folder + "/log") {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!std::filesystem::exists(folder + "/sound")) {
    if (std::chrono::steady_clock::now() > limit) throw std::runtime_error("no sound server");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

}  // namespace quorl::bench
