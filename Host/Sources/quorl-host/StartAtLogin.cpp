// SPDX-License-Identifier: GPL-3.0-or-later
#include "StartAtLogin.h"

#include <string_view>

#include <fmt/format.h>

namespace quorl {

namespace {

constexpr std::string_view label = "dev.vek.quorl.host";

std::string xmlText(const std::string& text) {
  std::string result;
  for (const char character : text) {
    switch (character) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      default:
        result += character;
    }
  }
  return result;
}

// "The Exec key" of the Desktop Entry Specification: a quoted argument, whose backslashes are escaped again
// as in any string value; a percent sign would begin a field code.
std::string execArgument(const std::string& argument) {
  std::string result = "\"";
  for (const char character : argument) {
    switch (character) {
      case '"':
      case '`':
      case '$':
        result += fmt::format("\\\\{}", character);
        break;
      case '\\':
        result += "\\\\\\\\";
        break;
      case '%':
        result += "%%";
        break;
      case '\n':
        result += "\\n";
        break;
      default:
        result += character;
    }
  }
  return result + "\"";
}

}  // namespace

StartAtLoginFile launchdPropertyList(const UserFolders& folders, const std::string& executable) {
  return {fmt::format("{}/Library/LaunchAgents/{}.plist", folders.home == "/" ? "" : folders.home, label),
          fmt::format(R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>KeepAlive</key>
	<false/>
	<key>Label</key>
	<string>{}</string>
	<key>ProcessType</key>
	<string>Interactive</string>
	<key>ProgramArguments</key>
	<array>
		<string>{}</string>
	</array>
	<key>RunAtLoad</key>
	<true/>
</dict>
</plist>
)",
                      label, xmlText(executable))};
}

StartAtLoginFile autostartEntry(const UserFolders& folders, const std::string& executable) {
  return {fmt::format("{}/autostart/{}.desktop", folders.configuration, label),
          fmt::format("[Desktop Entry]\n"
                      "Type=Application\n"
                      "Name=Quorl Host\n"
                      "Exec={}\n"
                      "Terminal=false\n"
                      "X-GNOME-Autostart-enabled=true\n",
                      execArgument(executable))};
}

std::string executablePathFrom(const std::string& toldBySystem, const std::string& command,
                               const std::string& currentDirectory) {
  const std::string& path = toldBySystem.empty() ? command : toldBySystem;
  return path.starts_with('/') ? path : currentDirectory + "/" + path;
}

}  // namespace quorl
