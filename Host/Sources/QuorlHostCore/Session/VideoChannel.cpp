// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Session/VideoChannel.h>

#include <algorithm>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Log/Log.h>
#include <QuorlKit/Protocol/VideoUDP.h>

namespace quorl {

namespace {

// Any second of a stream may take half as much again as its rate.
constexpr double rateHeadroom = 1.5;
constexpr double minimumRate = 250'000;  // bytes per second

}  // namespace

VideoChannel::VideoChannel(SerialQueue queue, std::shared_ptr<Network> network,
                           std::shared_ptr<NetworkConnection> session, std::shared_ptr<PictureGate> gate)
    : queue_(std::move(queue)),
      network_(std::move(network)),
      session_(std::move(session)),
      gate_(std::move(gate)) {}

void VideoChannel::open(std::uint16_t udpPort) {
  queue_.assertCurrent();
  pacer_.reset();
  const auto remote = session_->remoteEndpoint();
  if (udpPort == 0 || !remote) {
    gate_->setDatagrams(PictureGate::Datagrams::unused);
    Log::stream.v("video: using TCP transport");
    return;
  }
  const HostPort peer{remote->host, udpPort};
  const auto local = session_->localEndpoint();
  // From the address that the client connected to: it drops datagrams from others.
  auto sender = network_->openDatagramSender(peer, local ? std::optional(local->host) : std::nullopt, queue_);
  pacer_ = std::make_shared<DatagramPacer>(
      queue_, std::move(sender), [gate = std::weak_ptr(gate_)](DatagramPacer::State state) {
        const auto target = gate.lock();
        if (!target) return;
        target->setDatagrams(state == DatagramPacer::State::flowing ? PictureGate::Datagrams::flowing
                                                                    : PictureGate::Datagrams::queued);
      });
  gate_->setDatagrams(PictureGate::Datagrams::flowing);
  Log::stream.v(fmt::format("video: UDP side channel -> {}:{}", peer.host, peer.port));
}

bool VideoChannel::carries(VideoPacketFlags flags) const {
  return pacer_ && !flags.contains(VideoPacketFlags::codecConfig);
}

void VideoChannel::send(const SharedVideoPacket& packet) {
  queue_.assertCurrent();
  const VideoUDP::FrameFields fields{packet.streamID, ++frameCounter_, packet.flags, packet.ptsMicros};
  pacer_->setRate(std::max(gate_->wantedRate() * rateHeadroom, minimumRate));
  VideoUDP::forEachFragment(fields, packet.data ? ByteView(*packet.data) : ByteView(),
                            [&](ByteView header, ByteView part) {
                              Bytes datagram;
                              datagram.reserve(header.size() + part.size());
                              datagram.insert(datagram.end(), header.begin(), header.end());
                              datagram.insert(datagram.end(), part.begin(), part.end());
                              pacer_->send(std::move(datagram));
                            });
}

}  // namespace quorl
