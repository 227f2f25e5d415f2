// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Network/ZeroTierStatus.h>

#include <QuorlHostCore/Network/OverlayText.h>
#include <QuorlKit/Foundation/ASCII.h>

namespace quorl::ZeroTierStatus {

std::optional<bool> isOnline(ByteView infoOutput) {
  bool isMarked = false;
  std::string status;
  JsonReader reader(infoOutput);
  const bool isObject = OverlayText::object(reader, [&](const std::string& key) {
    if (key == "online") {
      isMarked = OverlayText::boolean(reader).value_or(false);
    } else if (key == "status") {
      status = OverlayText::text(reader).value_or("");
    } else {
      (void)reader.skipValue();
    }
  });
  if (!isObject || !reader.finish()) return std::nullopt;
  return isMarked || loweredASCII(status) == "online";
}

std::vector<std::string> addresses(ByteView networksOutput) {
  std::vector<std::string> found;
  bool areObjects = true;
  JsonReader reader(networksOutput);
  const bool isArray = OverlayText::array(reader, [&] {
    std::vector<std::string> assigned;
    const bool isObject = OverlayText::object(reader, [&](const std::string& key) {
      if (key == "assignedAddresses")
        assigned = OverlayText::texts(reader).value_or(std::vector<std::string>());
      else
        (void)reader.skipValue();
    });
    areObjects = areObjects && isObject;
    for (const std::string& address : assigned) found.push_back(address.substr(0, address.find('/')));
  });
  return isArray && areObjects && reader.finish() ? found : std::vector<std::string>();
}

}  // namespace quorl::ZeroTierStatus
