// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Storage/HostSupportPaths.h>

namespace quorl::HostSupportPaths {

std::string directory(const std::optional<std::string>& given, const std::string& applicationSupport) {
  return given ? *given : file(applicationSupport, "QuorlHost");
}

std::string file(const std::string& directory, const std::string& name) {
  return directory.ends_with('/') ? directory + name : directory + "/" + name;
}

}  // namespace quorl::HostSupportPaths
