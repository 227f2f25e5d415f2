// SPDX-License-Identifier: GPL-3.0-or-later
#include "RfbViewer.h"

#include <rfb/rfbclient.h>

#include <atomic>
#include <thread>

#include "ProbeBoard.h"

namespace quorl::bench {

namespace {

char viewerTag;

class RfbViewer final : public Viewer {
 public:
  explicit RfbViewer(std::string name) : name_(std::move(name)) {}

  ~RfbViewer() override {
    stopping_ = true;
    if (thread_.joinable()) thread_.join();
    if (client_ != nullptr) {
      free(client_->frameBuffer);
      client_->frameBuffer = nullptr;
      rfbClientCleanup(client_);
    }
  }

  bool connect(const std::string& address, std::uint16_t port, const std::string& encodings) {
    rfbEnableClientLogging = FALSE;
    client_ = rfbGetClient(8, 3, 4);
    client_->canHandleNewFBSize = FALSE;
    client_->MallocFrameBuffer = &RfbViewer::allocate;
    client_->FinishedFrameBufferUpdate = &RfbViewer::finished;
    client_->serverPort = port;
    client_->programName = "bench";
    encodings_ = encodings;
    client_->appData.encodingsString = encodings_.c_str();
    client_->appData.useRemoteCursor = FALSE;
    free(client_->serverHost);
    client_->serverHost = strdup(address.c_str());
    rfbClientSetClientData(client_, &viewerTag, this);
    if (!rfbInitClient(client_, nullptr, nullptr)) {
      client_ = nullptr;  // freed by the library
      return false;
    }
    thread_ = std::thread([this] { run(); });
    return true;
  }

  const std::string& name() const override { return name_; }
  void arm(std::span<const Probe> probes) override { board_.arm(probes); }
  std::optional<Clock::time_point> wait(std::chrono::milliseconds deadline) override {
    return board_.wait(deadline);
  }
  std::optional<double> error() override { return board_.error(); }
  std::uint64_t pictures() const override { return pictures_; }
  std::uint64_t bytes() const override { return 0; }

 private:
  static rfbBool allocate(rfbClient* client) {
    free(client->frameBuffer);
    client->frameBuffer = static_cast<std::uint8_t*>(
        calloc(static_cast<std::size_t>(client->width) * static_cast<std::size_t>(client->height), 4));
    return client->frameBuffer != nullptr;
  }

  static void finished(rfbClient* client) {
    auto* self = static_cast<RfbViewer*>(rfbClientGetClientData(client, &viewerTag));
    ++self->pictures_;
    self->board_.picture([client](int x, int y) {
      const auto* pixel = client->frameBuffer + (static_cast<std::ptrdiff_t>(y) * client->width + x) * 4;
      return Rgb{pixel[0], pixel[1], pixel[2]};
    });
  }

  void run() {
    while (!stopping_) {
      const int ready = WaitForMessage(client_, 50'000);
      if (ready < 0) return;
      if (ready > 0 && !HandleRFBServerMessage(client_)) return;
    }
  }

  std::string name_;
  std::string encodings_;
  rfbClient* client_ = nullptr;
  ProbeBoard board_;
  std::atomic<std::uint64_t> pictures_{0};
  std::atomic<bool> stopping_{false};
  std::thread thread_;
};

}  // namespace

std::unique_ptr<Viewer> connectRfbViewer(std::string name, std::uint16_t port, std::string encodings,
                                         const std::string& address) {
  for (int attempt = 0; attempt < 50; ++attempt) {
    auto viewer = std::make_unique<RfbViewer>(name);
    if (viewer->connect(address, port, encodings)) return viewer;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return nullptr;
}

}  // namespace quorl::bench
