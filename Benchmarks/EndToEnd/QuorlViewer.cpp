// SPDX-License-Identifier: GPL-3.0-or-later
#include "QuorlViewer.h"

#include <fmt/format.h>
#include <quorl-client/Session/Handshake.h>
#include <quorl-client/Session/Session.h>
#include <quorl-client/Video/VideoReceiver.h>

#include <atomic>
#include <thread>
#include <variant>

#include "../Support/CodedColour.h"
#include "../Support/ProbeBoard.h"

namespace quorl::bench {

namespace {

using namespace std::chrono_literals;

class QuorlViewer final : public Viewer {
 public:
  explicit QuorlViewer(std::string name) : name_(std::move(name)) {}

  ~QuorlViewer() override {
    stopping_ = true;
    if (thread_.joinable()) thread_.join();
    if (session_) session_->finish(client::within(1s));
  }

  client::Outcome<void> connect(std::uint16_t port, const std::string& pin, VideoCodec codec,
                                const StreamTarget& target) {
    auto session = client::Session::connect({"127.0.0.1", port}, waiter_, client::within(1s));
    if (!session) return std::unexpected(session.error());
    session_ = std::move(*session);
    const DeviceInfo device{"bench", "bench", "bench", UUID{}};
    const auto greeting = client::greet(*session_, device, client::within(2s));
    if (!greeting) return std::unexpected(greeting.error());
    const auto paired = client::provePIN(*session_, pin, *greeting, client::within(2s));
    if (!paired) return std::unexpected(paired.error());
    const StreamConfig config{8192, 60, codec, 0.8, false};
    auto receiver = client::VideoReceiver::start(*session_, target, config, client::VideoTransport::tcp);
    if (!receiver) return std::unexpected(receiver.error());
    receiver_ = std::move(*receiver);
    thread_ = std::thread([this] { run(); });
    return {};
  }

  const std::string& name() const override { return name_; }
  void arm(std::span<const Probe> probes) override { board_.arm(probes); }
  std::optional<Clock::time_point> wait(std::chrono::milliseconds deadline) override {
    return board_.wait(deadline);
  }
  std::optional<double> error() override { return board_.error(); }
  std::string format() const override { return isHevc_ ? "HEVC" : "H.264"; }
  std::uint64_t pictures() const override { return pictures_; }
  std::uint64_t bytes() const override { return bytes_; }

 private:
  void run() {
    client::Decoder decoder;
    while (!stopping_) {
      auto event = receiver_->next(client::within(50ms));
      if (!event) {
        fmt::print(stderr, "{}: {}\n", name_, event.error().what);
        return;
      }
      bytes_ = receiver_->videoBytes();
      if (!*event) continue;
      if (const auto* config = std::get_if<client::DecoderConfig>(&**event)) {
        isHevc_ = config->codec == VideoCodec::hevc;
        static_cast<void>(decoder.configure(config->record));
      } else if (const auto* picture = std::get_if<client::EncodedPicture>(&**event)) {
        show(decoder.decode(picture->data, picture->ptsMicros));
      }
    }
  }

  void show(const std::vector<client::DecodedPicture>& decoded) {
    for (const auto& picture : decoded) {
      ++pictures_;
      board_.picture([&picture](int x, int y) { return rgbOf(picture.sample(x, y)); });
    }
  }

  std::string name_;
  client::Waiter waiter_;
  std::unique_ptr<client::Session> session_;
  std::unique_ptr<client::VideoReceiver> receiver_;
  ProbeBoard board_;
  std::atomic<std::uint64_t> pictures_{0};
  std::atomic<std::uint64_t> bytes_{0};
  std::atomic<bool> isHevc_{false};
  std::atomic<bool> stopping_{false};
  std::thread thread_;
};

}  // namespace

std::unique_ptr<Viewer> connectQuorlViewer(std::string name, std::uint16_t port, const std::string& pin,
                                           VideoCodec codec, const StreamTarget& target) {
  std::string why = "no answer";
  for (int attempt = 0; attempt < 50; ++attempt) {
    auto viewer = std::make_unique<QuorlViewer>(name);
    const auto connected = viewer->connect(port, pin, codec, target);
    if (connected) return viewer;
    why = connected.error().what;
    std::this_thread::sleep_for(100ms);
  }
  fmt::print(stderr, "{}: {}\n", name, why);
  return nullptr;
}

}  // namespace quorl::bench
