// SPDX-License-Identifier: GPL-3.0-or-later
// Pictures of a link as datagrams.
#include <quorl-viewer/Link/LinkWorker.h>

#include <utility>

namespace quorl::viewer {
namespace {

// A path that blocks datagrams lets none through; the first picture is due at the start of a stream.
constexpr auto patience = std::chrono::seconds(3);

}  // namespace

void LinkWorker::openDatagrams(Clock::time_point now) {
  if (!session_ || datagramReader_ || !session_->carriesDatagrams()) return;
  auto opened = client::openDatagramSocket(session_->descriptor());
  if (!opened) return;
  datagramSocket_ = std::move(*opened);
  datagramReader_.emplace(datagramSocket_.descriptor.get(), session_->descriptor());
  datagramVideo_.emplace();
  datagramsDueBy_ = now + patience;
  send(ControlMessage(message::VideoTransport{datagramSocket_.port}));
}

void LinkWorker::closeDatagrams() {
  if (!datagramReader_) return;
  pastLost_ += datagramVideo_->lostFrames();
  datagramReader_.reset();
  datagramVideo_.reset();
  datagramSocket_ = {};
  datagramsDueBy_.reset();
}

void LinkWorker::drainDatagrams(Clock::time_point now) {
  if (!datagramReader_) return;
  std::size_t size = 0;
  while (const auto* bytes = datagramReader_->next(size)) {
    datagramsDueBy_.reset();
    perform(datagramVideo_->accept(ByteView(bytes, size), now), now);
  }
  perform(datagramVideo_->tick(now), now);
  if (!datagramsDueBy_ || now < *datagramsDueBy_) return;
  closeDatagrams();
  send(ControlMessage(message::VideoTransport{0}));
  streams_.lose(now);
}

void LinkWorker::perform(client::DatagramVideo::Actions actions, Clock::time_point now) {
  bool hasRecovered = false;
  for (auto& packet : actions.pictures) {
    hasRecovered = hasRecovered || packet.flags.contains(VideoPacketFlags::keyframe);
    streams_.take(std::move(packet), now);
  }
  if (actions.needsKeyframe && !hasRecovered) streams_.lose(now);
}

}  // namespace quorl::viewer
