// SPDX-License-Identifier: GPL-3.0-or-later
#include "StreamClient.h"

#include <stdexcept>
#include <variant>

#include <QuorlKit/Protocol/MediaPackets.h>
#include <quorl-client/Session/Handshake.h>

namespace quorl::bench {

using namespace std::chrono_literals;

StreamClient::StreamClient(std::uint16_t port, const std::string& pin, const std::string& agent)
    : agent_(UUID::parse(agent).value()) {
  auto session = client::Session::connect({"127.0.0.1", port}, waiter_, client::within(5s));
  if (!session) throw std::runtime_error(session.error().what);
  session_ = std::move(*session);
  const DeviceInfo device{"bench", "bench", "bench", UUID::random()};
  const auto greeting = client::greet(*session_, device, client::within(5s));
  if (!greeting) throw std::runtime_error(greeting.error().what);
  const auto paired = client::provePIN(*session_, pin, *greeting, client::within(5s));
  if (!paired) throw std::runtime_error(paired.error().what);
  send(ControlMessage(message::AgentCommand{agentCommand::Subscribe{agent_}}));
}

void StreamClient::send(const ControlMessage& message) {
  if (auto sent = session_->send(message); !sent) throw std::runtime_error(sent.error().what);
}

void StreamClient::type(std::string_view keys) {
  send(ControlMessage(message::AgentCommand{agentCommand::Write{agent_, bytesOf(keys)}}));
}

ByteView StreamClient::read(std::chrono::milliseconds limit) {
  const auto deadline = client::within(limit);
  for (;;) {
    while ((frame_ = session_->takeFrame())) {
      if (frame_->type != FrameType::terminal) continue;
      const auto payload = TerminalPayloadView::decode(frame_->payload);
      if (payload && payload->agentID == agent_) return payload->data;
    }
    const auto ready = session_->wait(deadline);
    if (!ready) throw std::runtime_error(ready.error().what);
    if (*ready == client::Waiter::Ready::deadline) return {};
  }
}

bool StreamClient::readUntil(std::string_view text) {
  std::string all;
  for (;;) {
    const auto part = read(20s);
    if (part.empty()) return false;
    all += textViewOf(part);
    if (all.find(text) != std::string::npos) return true;
  }
}

}  // namespace quorl::bench
