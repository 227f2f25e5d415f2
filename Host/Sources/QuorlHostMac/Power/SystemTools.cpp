// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostMac/Power/SystemTools.h>

namespace quorl::SystemTools {

ToolCall setVolume(int percent) {
  return {"/usr/bin/osascript", {"-e", "set volume output volume " + std::to_string(percent)}};
}

ToolCall sleepDisplays() {
  return {"/usr/bin/pmset", {"displaysleepnow"}};
}

ToolCall lockScreen() {
  return {"/usr/bin/osascript",
          {"-e", "tell application \"System Events\" to keystroke \"q\" using {command down, control down}"}};
}

}  // namespace quorl::SystemTools
