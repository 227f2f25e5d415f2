// SPDX-License-Identifier: GPL-3.0-or-later
#include "ClipboardFixture.h"

#include <fstream>
#include <future>
#include <random>
#include <stdexcept>

#include <Support/Eventually.h>

namespace quorl::test {

namespace {

constexpr std::chrono::seconds patience{30};

template <class T>
T take(std::future<T> future) {
  if (future.wait_for(patience) != std::future_status::ready) throw std::runtime_error("no answer");
  return future.get();
}

}  // namespace

ReadResult readNow(X11Pasteboard& pasteboard, PasteboardType type, std::size_t limit) {
  auto promise = std::make_shared<std::promise<ReadResult>>();
  auto answer = promise->get_future();
  pasteboard.read(type, limit, [promise](ReadResult result) { promise->set_value(std::move(result)); });
  return take(std::move(answer));
}

std::string textNow(X11Pasteboard& pasteboard) {
  const auto text = readNow(pasteboard, PasteboardType::text);
  return text ? textOf(*text) : "failure " + std::to_string(static_cast<int>(text.error()));
}

std::int64_t replaceNow(X11Pasteboard& pasteboard, PasteboardType type, Bytes content) {
  auto promise = std::make_shared<std::promise<std::int64_t>>();
  auto answer = promise->get_future();
  pasteboard.replace(type, std::move(content), [promise](std::int64_t count) { promise->set_value(count); });
  return take(std::move(answer));
}

Bytes noise(std::size_t size) {
  std::mt19937 random(4711);
  Bytes bytes(size);
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
  return bytes;
}

std::unique_ptr<X11Pasteboard> ClipboardTest::makePasteboard(const ClipboardLimits& limits) const {
  auto made = std::make_unique<X11Pasteboard>([name = server.display()] { return name; }, limits);
  // An answer shows that it has connected: reads wait for the first attempt.
  readNow(*made, PasteboardType::text);
  return made;
}

HelperProgram ClipboardTest::copyWith(const std::vector<std::string>& command) const {
  const auto before = pasteboard->changeCount();
  HelperProgram program = server.start(command);
  if (!eventually([&] { return pasteboard->changeCount() != before; }, patience))
    throw std::runtime_error(command.front() + " did not copy");
  return program;
}

HelperProgram ClipboardTest::copyTextWithXclip(const std::string& text) const {
  return copyWith({"xclip", "-quiet", "-selection", "clipboard", "-i", writeFile("text", viewOf(text))});
}

HelperProgram ClipboardTest::copyFileWithXclip(const std::string& target, const Bytes& content) const {
  return copyWith(
      {"xclip", "-quiet", "-selection", "clipboard", "-t", target, "-i", writeFile("content", content)});
}

std::string ClipboardTest::writeFile(const std::string& name, ByteView content) const {
  const std::string path = server.folder() + "/" + name;
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
  return path;
}

}  // namespace quorl::test
