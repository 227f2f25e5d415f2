// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Link/BulkSender.h>

#include <sys/eventfd.h>
#include <unistd.h>

#include <utility>

#include <quorl-client/Hosts/PairedSession.h>

namespace quorl::viewer {
namespace {

using client::within;

constexpr auto connectPatience = std::chrono::seconds(15);
// A picture of 5 MiB takes a minute on a link of 1 Mbit/s.
constexpr auto sendPatience = std::chrono::minutes(3);

}  // namespace

BulkSender::BulkSender(client::PairedHost host, DeviceInfo device, Done done)
    : host_(std::move(host)),
      device_(std::move(device)),
      done_(std::move(done)),
      interrupt_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

BulkSender::~BulkSender() {
  {
    const std::scoped_lock guard(lock_);
    isEnding_ = true;
    next_.reset();
  }
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(interrupt_.get(), &one, sizeof one);
  if (thread_.joinable()) thread_.join();
}

void BulkSender::send(OutgoingFrame frame) {
  const std::scoped_lock guard(lock_);
  next_ = std::move(frame);
  if (isRunning_) return;
  if (thread_.joinable()) thread_.join();
  isRunning_ = true;
  thread_ = std::thread([this] { run(); });
}

void BulkSender::run() {
  for (;;) {
    std::optional<OutgoingFrame> frame;
    {
      const std::scoped_lock guard(lock_);
      frame = std::exchange(next_, std::nullopt);
      if (!frame || isEnding_) {
        isRunning_ = false;
        return;
      }
    }
    const auto delivered = deliver(*frame);
    done_(delivered ? std::nullopt : std::optional(delivered.error()));
  }
}

client::Outcome<void> BulkSender::deliver(const OutgoingFrame& frame) {
  client::Waiter waiter(interrupt_.get());
  auto opened =
      client::openPairedSession(host_, device_, waiter, within(connectPatience), client::Questions::refused);
  if (!opened) return std::unexpected(opened.error());
  auto& session = **opened;
  constexpr std::uint32_t sequence = 1;
  if (auto sent = session.send(frame); !sent) return sent;
  if (auto sent = session.send(ControlMessage(message::EchoRequest{{sequence, 0, {}}})); !sent) return sent;
  const auto deadline = within(sendPatience);
  for (;;) {
    const auto received = session.nextControl(deadline);
    if (!received) return std::unexpected(received.error());
    if (!*received)
      return client::failed(client::ExitCode::timedOut, "the host did not take the clipboard in time",
                            "The link may be too slow for a picture of this size.");
    const auto* reply = std::get_if<message::EchoReply>(&**received);
    if (reply != nullptr && reply->_0.seq == sequence) break;
  }
  session.finish(within(std::chrono::milliseconds(500)));
  return {};
}

}  // namespace quorl::viewer
