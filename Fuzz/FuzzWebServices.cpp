// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdlib>
#include <string_view>

#include <QuorlHostCore/Scanner/HTTPAnswer.h>
#include <QuorlHostCore/Scanner/ListenerText.h>
#include <QuorlHostCore/Scanner/Listeners.h>
#include <QuorlHostCore/Scanner/LocalRedirect.h>
#include <QuorlHostCore/Scanner/PageTitle.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace {

using namespace quorl;

void checkListeners(std::string_view text) {
  const auto sockets = listeningSocketsIn(text);
  const auto listeners = listenersByPort(sockets);
  if (listeners.size() > sockets.size()) std::abort();
  for (std::size_t at = 1; at < listeners.size(); ++at)
    if (listeners[at - 1].port >= listeners[at].port) std::abort();
}

// The result does not depend on how the bytes are split.
void checkAnswer(ByteView bytes, std::size_t split) {
  HTTPAnswer whole;
  whole.append(bytes);
  HTTPAnswer parts;
  parts.append(bytes.first(split));
  parts.append(bytes.subspan(split));
  if (whole.state() != parts.state() || whole.body() != parts.body() || whole.hasHead() != parts.hasHead())
    std::abort();
  if (whole.body().size() > HTTPAnswer::maxBody) std::abort();
  if (whole.hasHead() && whole.state() != HTTPAnswer::State::notHTTP &&
      (whole.status() < 100 || whole.status() > 999 || whole.location() != parts.location()))
    std::abort();
}

void checkTitle(std::string_view page) {
  const auto title = extractTitle(page);
  if (title && (title->empty() || title->contains('<'))) std::abort();
}

void checkRedirect(std::string_view location) {
  const auto target = localRedirect(location, "/a/b?c", 8080);
  if (!target) return;
  if (!target->starts_with('/')) std::abort();
  for (const char character : *target)
    if (character <= ' ' || character >= '\x7F') std::abort();
}

}  // namespace

// Other programs choose the names of processes, the pages and the redirects.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteView bytes(data, size);
  const std::string_view text = textViewOf(bytes);
  checkListeners(text);
  checkTitle(text);
  checkRedirect(text);
  checkAnswer(bytes, size == 0 ? 0 : data[size - 1] % (size + 1));
  return 0;
}
