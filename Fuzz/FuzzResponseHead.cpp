// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <QuorlHostCore/Relay/ResponseHead.h>

namespace {

void demand(bool holds) {
  if (!holds) std::abort();
}

const std::string line = "Set-Cookie: x";

// What passes when the response arrives in pieces of `pieceSize` bytes.
std::string passed(std::string_view response, std::size_t pieceSize) {
  quorl::ResponseHead head(line);
  std::size_t offset = 0;
  while (offset < response.size()) {
    const auto piece = response.substr(offset, pieceSize);
    offset += piece.size();
    if (const auto bytes = head.append(quorl::viewOf(piece)))
      return quorl::textOf(*bytes) + std::string(response.substr(offset));
  }
  return {};
}

std::string expected(const std::string& response) {
  const std::size_t terminator = response.find("\r\n\r\n");
  if (terminator == std::string::npos) return {};
  const std::size_t lineEnd = response.find("\r\n");
  if (lineEnd == terminator) return response;
  return response.substr(0, lineEnd + 2) + line + "\r\n" + response.substr(lineEnd + 2);
}

}  // namespace

// A response. Its first byte is the size of the pieces in which it arrives. If the first two bytes are 255,
// it is also tried after as many bytes as the limit has.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::string response(reinterpret_cast<const char*>(data) + 2, size - 2);
  const std::size_t pieceSize = std::size_t{data[0]} + 1;
  demand(passed(response, pieceSize) == expected(response));
  demand(passed(response, pieceSize) == passed(response, response.size() + 1));
  if (data[0] != 0xFF || data[1] != 0xFF) return 0;
  const std::string endless = "HTTP/1.1 200 OK\r\n" + std::string(quorl::ResponseHead::limit, 'x') + response;
  const std::string whole = passed(endless, endless.size());
  demand(whole == endless || whole == expected(endless));
  // The first piece has no terminator and is beyond the limit.
  demand(passed(endless, quorl::ResponseHead::limit + 1) == endless);
  return 0;
}
