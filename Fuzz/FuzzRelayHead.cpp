// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdint>
#include <cstdlib>
#include <string>

#include <QuorlHostCore/Relay/HeadTerminator.h>
#include <QuorlHostCore/Relay/HeaderText.h>
#include <QuorlHostCore/Relay/RelayHead.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace {

void demand(bool holds) {
  if (!holds) std::abort();
}

using namespace quorl;

void checkPassed(const RelayRequest& request) {
  demand(request.port == 80 || request.port == 0);
  demand(isValidUTF8(request.head));
  // One head, whose first header names the backend, and which keeps the secrets of the host.
  demand(request.head.find(headTerminator) == request.head.size() - headTerminator.size());
  demand(request.tail.starts_with('/'));
  auto lines = splitAt(request.head, "\r\n");
  demand(lines.size() >= 4);
  demand(lines[0].starts_with(request.method) && lines[0].find(request.tail) != std::string_view::npos);
  demand(lines[1] == "Host: 127.0.0.1:" + std::to_string(request.port));
  for (std::size_t index = 2; index < lines.size(); ++index) {
    demand(!beginsWithIgnoringCase(lines[index], "host:"));
    demand(!beginsWithIgnoringCase(lines[index], "x-quorl-token:"));
    if (beginsWithIgnoringCase(lines[index], "cookie:"))
      demand(!beginsWithIgnoringCase(lines[index], "cookie: quorl_token="));
  }
  for (const std::string_view item :
       splitAt(request.tail.substr(std::min(request.tail.find('?'), request.tail.size() - 1) + 1), "&"))
    demand(!item.starts_with("quorl_token=") || request.tail.find('?') == std::string::npos);
  if (request.cookie) demand(splitAt(*request.cookie, "\r\n").size() == 1);
}

}  // namespace

// A request head. Its first byte chooses the trusted devices.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string text = textOf({data + 1, size - 1}) + std::string(headTerminator);
  const std::string head = text.substr(0, text.find(headTerminator) + headTerminator.size());
  std::vector<TrustedDevice> devices;
  if ((data[0] & 1) != 0) devices.push_back({UUID{}, "one", "T+/=", Date{}});
  if ((data[0] & 2) != 0) devices.push_back({UUID{}, "odd", "50% é", Date{}});
  if ((data[0] & 4) != 0) devices.push_back({UUID{}, "none", "", Date{}});
  int reads = 0;
  const auto request = RelayHead::decide(viewOf(head), RelayTokens(devices), [&reads] {
    ++reads;
    return std::set<std::uint16_t>{0, 80};
  });
  demand(reads <= 1);
  if (request) {
    demand(reads == 1 && (data[0] & 3) != 0);
    checkPassed(*request);
  } else {
    const auto status = request.error().status;
    demand(status == RelayHead::badRequest || status == RelayHead::forbidden ||
           status == RelayHead::notFound);
    demand(!request.error().refusedPort || status == RelayHead::forbidden);
  }
  const auto cookie = RelayHead::strippingQuorlToken(head);
  demand(!cookie || !cookie->starts_with("Cookie: quorl_token="));
  if (const auto decoded = percentDecoded(utf8OfLatin1({data, size})))
    demand(percentDecoded(percentEncoded(*decoded)) == decoded);
  return 0;
}
