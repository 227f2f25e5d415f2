// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <vector>

#include <QuorlHostCore/Ports/Workspace.h>

namespace quorl::test {

/// A map of installed applications. Records what was opened.
class FakeWorkspace : public Workspace {
 public:
  std::optional<std::string> applicationPath(const std::string& bundleIdentifier) override {
    const auto entry = installed.find(bundleIdentifier);
    return entry == installed.end() ? std::nullopt : std::optional(entry->second);
  }
  void openApplication(const std::string& path) override { opened.push_back(path); }

  std::map<std::string, std::string> installed;
  std::vector<std::string> opened;
};

}  // namespace quorl::test
