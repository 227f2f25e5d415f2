// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/ClipboardBridge.h>

#include <chrono>

#include <QGuiApplication>
#include <QMimeData>

#include <QuorlKit/Protocol/OutgoingFrame.h>

#include <quorl-viewer/Link/HostLink.h>
#include <quorl-viewer/Windows/ClipboardPictures.h>

namespace quorl::viewer {

namespace {

const QString marker = QStringLiteral("application/x-quorl-clipboard");
const QString pngType = QStringLiteral("image/png");

QClipboard::Mode modeOf(Selection selection) {
  return selection == Selection::primary ? QClipboard::Selection : QClipboard::Clipboard;
}

std::optional<ClipboardKind> kindOf(const QStringList& formats) {
  if (formats.contains(QStringLiteral("text/plain"))) return ClipboardKind::text;
  if (formats.contains(pngType) || formats.contains(QStringLiteral("application/x-qt-image")))
    return ClipboardKind::image;
  return std::nullopt;
}

Bytes bytesFrom(const QByteArray& array) {
  return Bytes(array.begin(), array.end());
}

ControlMessage messageOf(const ClipboardItem& item) {
  if (item.kind == ClipboardKind::image)
    return message::Clipboard{{ClipboardContent(clipboardContent::Image{*item.bytes})}};
  return message::Clipboard{{ClipboardContent(clipboardContent::Text{textOf(*item.bytes)})}};
}

}  // namespace

ClipboardBridge::ClipboardBridge(Handlers handlers, ClipboardRules rules)
    : handlers_(std::move(handlers)), rules_(rules), sync_(rules) {
  worker_.setMaxThreadCount(1);
  QObject::connect(QGuiApplication::clipboard(), &QClipboard::changed, &gui_, [this](QClipboard::Mode mode) {
    if (mode == QClipboard::Clipboard) changed(Selection::clipboard);
    // Its owner is not bothered with each word that is marked.
    if (mode == QClipboard::Selection && rules_.primary) changed(Selection::primary);
  });
  changed(Selection::clipboard);
}

ClipboardBridge::~ClipboardBridge() {
  worker_.clear();
  worker_.waitForDone();
}

void ClipboardBridge::setRules(const ClipboardRules& rules) {
  rules_ = rules;
  perform(sync_.setRules(rules));
}

template <class Work, class Done>
void ClipboardBridge::later(Work work, Done done) {
  worker_.start([this, work = std::move(work), done = std::move(done)]() mutable {
    auto result = work();
    QMetaObject::invokeMethod(
        &gui_, [result = std::move(result), done = std::move(done)] { done(result); }, Qt::QueuedConnection);
  });
}

void ClipboardBridge::changed(Selection selection) {
  const auto* data = QGuiApplication::clipboard()->mimeData(modeOf(selection));
  LocalChange change{.selection = selection, .serial = ++serial_};
  // One question to the owner: each waits for seconds if it hangs.
  const auto formats = data != nullptr ? data->formats() : QStringList();
  change.isOurs = formats.contains(marker);
  change.kind = kindOf(formats);
  offered_[selection] = formats;
  perform(sync_.localChanged(change));
}

void ClipboardBridge::read(Selection selection, std::uint64_t serial) {
  const auto done = [this, selection, serial](const std::optional<ClipboardItem>& item) {
    perform(sync_.localRead(selection, serial, item));
  };
  const auto* data = QGuiApplication::clipboard()->mimeData(modeOf(selection));
  const auto& formats = offered_[selection];
  const auto kind = kindOf(formats);
  if (data == nullptr || !kind) return done(std::nullopt);
  if (*kind == ClipboardKind::text) return done(textItem(data->text().toStdString()));
  if (formats.contains(pngType))
    return later([png = bytesFrom(data->data(pngType))] { return pictureItem(png); }, done);
  later([picture = qvariant_cast<QImage>(data->imageData())] { return pictureItem(picture); }, done);
}

void ClipboardBridge::set(const ClipboardItem& item) {
  auto* data = new QMimeData;
  const auto& bytes = *item.bytes;
  const QByteArray content(reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size()));
  if (item.kind == ClipboardKind::text)
    data->setText(QString::fromUtf8(content));
  else
    data->setData(pngType, content);
  data->setData(marker, QByteArrayLiteral("1"));
  QGuiApplication::clipboard()->setMimeData(data, QClipboard::Clipboard);
}

void ClipboardBridge::sendItem(const ClipboardItem& item) {
  const auto message = messageOf(item);
  const auto frame = OutgoingFrame::control(message);
  // The link sends what is larger by a connection of its own, and reports its end.
  waitsForLarge_ = !frame || frame->size() > ClipboardSync::largeSize;
  handlers_.send(message);
  if (waitsForLarge_) return;
  echo_ = (echo_ + 1) | linkCommand::Send::firstEcho;
  handlers_.send(ControlMessage(message::EchoRequest{{echo_, 0, {}}}));
}

void ClipboardBridge::perform(const ClipboardActions& actions) {
  for (const auto& action : actions) {
    if (const auto* wanted = std::get_if<clipboardAction::ReadLocal>(&action)) {
      read(wanted->selection, wanted->serial);
    } else if (const auto* content = std::get_if<clipboardAction::SetLocal>(&action)) {
      set(content->item);
    } else if (const auto* sending = std::get_if<clipboardAction::Send>(&action)) {
      sendItem(sending->item);
    } else if (std::holds_alternative<clipboardAction::AskHost>(action)) {
      handlers_.send(ControlMessage(message::RequestClipboard{}));
    } else if (const auto* large = std::get_if<clipboardAction::ShowTooLarge>(&action)) {
      handlers_.notice(
          QStringLiteral("What is copied here has %1 MB and is too large for the host's clipboard")
              .arg(large->size / 1'000'000));
    }
  }
}

void ClipboardBridge::connected() {
  perform(sync_.connected());
}

void ClipboardBridge::disconnected() {
  waitsForLarge_ = false;
  sync_.disconnected();
}

void ClipboardBridge::setFocused(bool hasFocus) {
  if (hasFocus)
    perform(sync_.focusGained());
  else
    sync_.focusLost();
}

bool ClipboardBridge::take(const ControlMessage& message) {
  if (const auto* reply = std::get_if<message::EchoReply>(&message)) {
    if (reply->_0.seq == echo_ && !waitsForLarge_) perform(sync_.sent(std::chrono::steady_clock::now()));
    return true;
  }
  const auto* clipboard = std::get_if<message::Clipboard>(&message);
  if (clipboard == nullptr) return false;
  if (!rules_.fromHost) return true;
  const auto done = [this](const std::optional<ClipboardItem>& item) {
    if (item) perform(sync_.hostSent(*item, std::chrono::steady_clock::now()));
  };
  // Of those that wait for the thread only the newest is decoded.
  const auto number = ++hostContents_;
  const auto& content = clipboard->_0.content;
  if (const auto* text = std::get_if<clipboardContent::Text>(&content)) {
    // Also by the thread, so that it does not overtake a picture that came before it.
    later(
        [this, number, text = text->_0]() -> std::optional<ClipboardItem> {
          if (number != hostContents_) return std::nullopt;
          return textItem(text);
        },
        done);
  } else {
    later(
        [this, number,
         png = std::get<clipboardContent::Image>(content)._0]() -> std::optional<ClipboardItem> {
          if (number != hostContents_) return std::nullopt;
          return pictureItem(png);
        },
        done);
  }
  return true;
}

void ClipboardBridge::largeSent() {
  if (!std::exchange(waitsForLarge_, false)) return;
  perform(sync_.sent(std::chrono::steady_clock::now()));
}

}  // namespace quorl::viewer
