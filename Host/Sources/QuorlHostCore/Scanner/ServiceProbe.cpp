// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Scanner/ServiceProbe.h>

#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Scanner/LocalRedirect.h>
#include <QuorlHostCore/Scanner/PageTitle.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

namespace {

constexpr std::size_t receiveMaximum = 65'536;  // bytes per receive

// Development servers give their page only to clients that accept HTML.
SharedBytes requestFor(const std::string& path, std::uint16_t port) {
  const std::string host = port == 80 ? "127.0.0.1" : fmt::format("127.0.0.1:{}", port);
  return shareBytes(
      bytesOf(fmt::format("GET {} HTTP/1.1\r\nHost: {}\r\nUser-Agent: quorl-host\r\n"
                          "Accept: text/html, */*;q=0.8\r\nConnection: close\r\n\r\n",
                          path, host)));
}

// The limit may cut the body inside a character.
std::optional<std::string> titleOf(const HTTPAnswer& answer) {
  if (isRedirect(answer.status())) return std::nullopt;
  std::string_view page = answer.body();
  if (page.size() == HTTPAnswer::maxBody) page.remove_suffix(unfinishedUTF8Length(page));
  return isValidUTF8(page) ? extractTitle(page) : std::nullopt;
}

}  // namespace

ServiceProbe::ServiceProbe(SerialQueue queue, std::shared_ptr<Network> network, std::uint16_t port,
                           std::chrono::milliseconds limit)
    : queue_(std::move(queue)), network_(std::move(network)), port_(port), limit_(limit) {}

void ServiceProbe::start(Completion completion) {
  queue_.assertCurrent();
  completion_ = std::move(completion);
  timer_ = queue_.after(limit_, [weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    self->finish(self->answer_.hasHead() ? ProbeResult::Answer::http : ProbeResult::Answer::none);
  });
  request("/");
}

void ServiceProbe::request(std::string path) {
  path_ = std::move(path);
  answer_ = HTTPAnswer();
  isConnected_ = false;
  connection_ = network_->connect({"127.0.0.1", port_});
  // A failure also completes the receive.
  connection_->start(queue_, [weak = weak_from_this()](NetworkConnection::State state, const PortError&) {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    if (state == NetworkConnection::State::ready) self->isConnected_ = true;
  });
  connection_->sendBytes(requestFor(path_, port_), [](const std::optional<PortError>&) {});
  armReceive();
}

void ServiceProbe::armReceive() {
  connection_->receive(receiveMaximum, [weak = weak_from_this()](ByteView bytes, bool isComplete,
                                                                 const std::optional<PortError>& error) {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    self->received(bytes, isComplete || error.has_value());
  });
}

void ServiceProbe::received(ByteView bytes, bool isLast) {
  if (!completion_) return;
  switch (answer_.append(bytes)) {
    case HTTPAnswer::State::complete:
      return answered();
    case HTTPAnswer::State::notHTTP:
      return finish(ProbeResult::Answer::otherProtocol);
    case HTTPAnswer::State::open:
      if (!isLast) return armReceive();
  }
  if (answer_.hasHead()) return answered();
  // Also within a head: what came so far is HTTP.
  finish(isConnected_ ? ProbeResult::Answer::closed : ProbeResult::Answer::none);
}

void ServiceProbe::answered() {
  if (isRedirect(answer_.status()) && answer_.location() && redirects_ < maxRedirects) {
    if (auto target = localRedirect(*answer_.location(), path_, port_)) {
      ++redirects_;
      return request(std::move(*target));
    }
  }
  finish(ProbeResult::Answer::http);
}

// Once the server has answered with a redirect it is a web server, whatever follows.
void ServiceProbe::finish(ProbeResult::Answer answer) {
  timer_.cancel();
  connection_.reset();
  ProbeResult result{.answer = redirects_ > 0 ? ProbeResult::Answer::http : answer, .title = {}};
  if (answer_.hasHead()) result.title = titleOf(answer_);
  if (const Completion completion = std::exchange(completion_, nullptr)) completion(result);
}

}  // namespace quorl
