// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <variant>
#include <vector>

#include <QuorlHostCore/Shared/StreamOutputSink.h>

namespace quorl::test {

/// A client that records everything it is sent.
///
/// *Queue*: the simulation's one thread.
class RecordingSink : public StreamOutputSink {
 public:
  struct Video {
    std::uint32_t streamID = 0;
    VideoPacketFlags flags;
    std::uint64_t ptsMicros = 0;
    SharedBytes data;
    Droppable droppable = Droppable::no;
  };

  void sendControl(ControlMessage message) override {
    order.push_back('c');
    controls.push_back(std::move(message));
  }
  void sendVideo(std::uint32_t streamID, VideoPacketFlags flags, std::uint64_t ptsMicros, SharedBytes data,
                 Droppable droppable) override {
    order.push_back('v');
    videos.push_back({streamID, flags, ptsMicros, std::move(data), droppable});
  }
  void sendFrame(OutgoingFrame frame, Droppable) override {
    order.push_back('f');
    frames.push_back(std::move(frame));
  }
  std::optional<PictureBudget> admitPicture(PictureRequest request) override {
    wantedRate = request.wantedRate;
    if (isOpen) return budget;
    waiting = std::move(request.whenOpen);
    return std::nullopt;
  }
  FileTurn admitFile(std::function<void()> whenOpen) override {
    if (hasEnded) return {.kind = FileTurn::Kind::ended};
    if (isOpen) return {.kind = FileTurn::Kind::go, .bytes = filePiece};
    waitingFiles.push_back(std::move(whenOpen));
    return {.kind = FileTurn::Kind::wait};
  }
  DeliveredRate deliveredRate() const override { return delivered; }
  bool isBackpressured() const override { return backpressured; }

  /// The link has room again.
  void open() {
    isOpen = true;
    if (auto waker = std::exchange(waiting, nullptr)) waker();
    for (const auto& waker : std::exchange(waitingFiles, {})) waker();
  }

  /// All messages of one case, in order.
  template <class Case>
  std::vector<Case> messages() const {
    std::vector<Case> found;
    for (const ControlMessage& message : controls)
      if (const auto* held = std::get_if<Case>(&message)) found.push_back(*held);
    return found;
  }

  std::vector<ControlMessage> controls;
  std::vector<Video> videos;
  std::vector<OutgoingFrame> frames;
  std::vector<char> order;  // 'c', 'v' or 'f' for each send
  bool backpressured = false;
  bool isOpen = true;
  PictureBudget budget;
  double wantedRate = 0;
  std::shared_ptr<std::atomic<double>> delivered = std::make_shared<std::atomic<double>>(0);
  std::function<void()> waiting;
  std::vector<std::function<void()>> waitingFiles;
  std::size_t filePiece = 262'144;
  bool hasEnded = false;
};

}  // namespace quorl::test
