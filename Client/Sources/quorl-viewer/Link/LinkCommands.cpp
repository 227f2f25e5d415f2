// SPDX-License-Identifier: GPL-3.0-or-later
// The commands of a window, on the link's thread.
#include <utility>

#include <quorl-viewer/Link/LinkWorker.h>

namespace quorl::viewer {
namespace {

// Larger frames delay input noticeably on a slow link: 64 KiB take half a second at 1 Mbit/s.
constexpr std::size_t maxInline = 65'536;

// Replaces the key in a message about a stream by the number on the wire. False if there is no such stream.
bool translate(ControlMessage& control, const LinkStreams& streams) {
  const auto replace = [&](auto* message) {
    if (message == nullptr) return true;
    const auto id = streams.wireID(message->streamID);
    if (id) message->streamID = *id;
    return id.has_value();
  };
  return replace(std::get_if<message::FitToScreen>(&control)) &&
         replace(std::get_if<message::WindowScale>(&control)) &&
         replace(std::get_if<message::ScreenInfo>(&control)) &&
         replace(std::get_if<message::RequestKeyframe>(&control));
}

bool translate(InputEvent& event, const LinkStreams& streams) {
  return std::visit(
      [&](auto& held) {
        if constexpr (requires { held.streamID; }) {
          const auto id = streams.wireID(held.streamID);
          if (id) held.streamID = *id;
          return id.has_value();
        } else {
          return true;
        }
      },
      event.value);
}

}  // namespace

void LinkWorker::handleInbox() {
  auto contents = inbox_.take();
  if (contents.ends) ends_ = true;
  for (auto& command : contents.commands) std::visit([this](auto& held) { handle(held); }, command);
  for (const auto& result : contents.clipboardResults) listener_.onClipboardSent(result);
}

void LinkWorker::handle(linkCommand::StartStream& command) {
  streams_.start(command.stream, std::move(command.wanted), Clock::now());
}

void LinkWorker::handle(linkCommand::StopStream& command) {
  streams_.stop(command.stream);
}

void LinkWorker::handle(linkCommand::UpdateStream& command) {
  streams_.update(command.stream, command.config);
}

void LinkWorker::handle(linkCommand::ResizeView& command) {
  streams_.resize(command.stream, command.view);
}

void LinkWorker::handle(linkCommand::SetHidden& command) {
  streams_.setHidden(command.stream, command.isHidden, Clock::now());
}

void LinkWorker::handle(linkCommand::RequestKeyframe& command) {
  streams_.requestKeyframe(command.stream, Clock::now());
}

void LinkWorker::handle(linkCommand::SetTransport& command) {
  if (std::exchange(transport_, command.transport) == command.transport || !session_) return;
  const auto now = Clock::now();
  if (transport_ == client::VideoTransport::udp) return openDatagrams(now);
  closeDatagrams();
  send(ControlMessage(message::VideoTransport{0}));
  streams_.lose(now);
}

void LinkWorker::handle(linkCommand::SetSound& command) {
  if (std::exchange(wantsSound_, command.isWanted) == command.isWanted) return;
  send(ControlMessage(message::AudioControl{wantsSound_}));
}

void LinkWorker::handle(linkCommand::Send& command) {
  if (!session_ || !translate(command.message, streams_)) return;
  auto frame = OutgoingFrame::control(command.message);
  const bool isClipboard = std::holds_alternative<message::Clipboard>(command.message);
  if (!frame) {
    if (isClipboard)
      listener_.onClipboardSent(client::ClientError{client::ExitCode::failure, "the clipboard is too large",
                                                    "Copy less, or send it as a file."});
    return;
  }
  if (isClipboard && frame->size() > maxInline) return bulk_.send(std::move(*frame));
  queue(std::move(*frame));
}

void LinkWorker::handle(linkCommand::Input& command) {
  if (!session_ || !translate(command.event, streams_)) return;
  if (!outbox_.push(command.event)) hasOverflowed_ = true;
}

void LinkWorker::handle(linkCommand::SetMeasuring& command) {
  if (!std::exchange(measures_, command.isWanted)) measureAt_ = Clock::now();
}

void LinkWorker::handle(linkCommand::ReconnectNow&) {
  apply(machine_.reconnectNow(Clock::now()));
}

void LinkWorker::handle(linkCommand::Cancel&) {
  apply(machine_.cancel(Clock::now()));
}

}  // namespace quorl::viewer
