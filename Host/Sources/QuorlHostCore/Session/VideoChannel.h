// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Link/DatagramPacer.h>
#include <QuorlHostCore/Link/PictureGate.h>
#include <QuorlHostCore/Ports/Network.h>
#include <QuorlKit/Protocol/MediaPackets.h>

namespace quorl {

/// One session's side channel for pictures by UDP. The client opens and closes it; no handshake confirms it.
///
/// *Queue*: the session's, for every operation.
/// *Blocking*: none.
/// *Ownership*: the session's; shares the network, the session's transport and its gate.
/// *Lifetime*: destruction drops datagrams that wait.
class VideoChannel {
 public:
  VideoChannel(SerialQueue queue, std::shared_ptr<Network> network,
               std::shared_ptr<NetworkConnection> session, std::shared_ptr<PictureGate> gate);

  /// Opens the channel to this port of the session's peer, in place of an earlier one; 0 closes it. The
  /// client names the port only, so that it cannot point a stream at a third machine.
  void open(std::uint16_t udpPort);
  /// Whether a packet with these flags goes by datagram. A codec configuration does not: losing it would
  /// leave the client without a picture.
  bool carries(VideoPacketFlags flags) const;
  void send(const SharedVideoPacket& packet);

 private:
  const SerialQueue queue_;
  const std::shared_ptr<Network> network_;
  const std::shared_ptr<NetworkConnection> session_;
  const std::shared_ptr<PictureGate> gate_;
  std::shared_ptr<DatagramPacer> pacer_;  // absent while closed
  std::uint32_t frameCounter_ = 0;        // not reset by `open`
};

}  // namespace quorl
