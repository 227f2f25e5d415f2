// SPDX-License-Identifier: GPL-3.0-or-later
#include <Integration/RawClient.h>

#include <algorithm>
#include <iterator>

#include <QuorlKit/Auth/Pairing.h>

namespace quorl::test {

void RawClient::send(const ControlMessage& message) {
  peer_.write(OutgoingFrame::control(message).value().encoded());
}

void RawClient::sendHello(std::optional<Bytes> proof, std::uint32_t version) {
  const DeviceInfo device{"Test Pad", "Pad", "1.0", UUID{}};
  send(message::Hello{{version, device, std::move(proof)}});
}

std::optional<ControlMessage> RawClient::nextMessage() {
  const auto frame = nextFrame(FrameType::control);
  if (!frame) return std::nullopt;
  return ControlCoder::decode(frame->payload).value();
}

std::optional<Frame> RawClient::nextFrame(FrameType type) {
  while (auto frame = nextFrame())
    if (frame->type == type) return frame;
  return std::nullopt;
}

std::optional<Frame> RawClient::nextFrame() {
  while (frames_.empty()) {
    const Bytes bytes = peer_.read(1);
    if (bytes.empty()) return std::nullopt;
    auto frames = deframer_.feed(bytes).value();
    std::move(frames.begin(), frames.end(), std::back_inserter(frames_));
  }
  Frame frame = std::move(frames_.front());
  frames_.pop_front();
  return frame;
}

std::optional<Bytes> RawClient::pair(const std::string& pin) {
  sendHello();
  const auto ack = next<message::HelloAck>();
  if (!ack || ack->_0.authenticated) return std::nullopt;
  send(message::PairRequest{{Pairing::pinProof(pin, ack->_0.nonce)}});
  const auto response = next<message::PairResponse>();
  if (!response || !response->_0.success) return std::nullopt;
  const auto second = next<message::HelloAck>();
  if (!second || !second->_0.authenticated) return std::nullopt;
  return response->_0.token;
}

bool RawClient::authenticate(const Bytes& token) {
  sendHello();
  const auto ack = next<message::HelloAck>();
  if (!ack) return false;
  sendHello(Pairing::tokenProof(token, ack->_0.nonce));
  const auto second = next<message::HelloAck>();
  return second && second->_0.authenticated;
}

bool RawClient::echoes() {
  const EchoProbe probe{7, 123'456'789'012, pattern(100)};
  send(message::EchoRequest{probe});
  const auto reply = next<message::EchoReply>();
  return reply && reply->_0 == probe;
}

}  // namespace quorl::test
