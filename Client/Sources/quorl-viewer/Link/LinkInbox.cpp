// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/eventfd.h>
#include <unistd.h>

#include <utility>

#include <quorl-viewer/Link/LinkWorker.h>

namespace quorl::viewer {

LinkInbox::LinkInbox() : wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

void LinkInbox::change(const std::function<void()>& change) {
  const std::scoped_lock guard(lock_);
  const bool wasEmpty = contents_.commands.empty() && contents_.clipboardResults.empty() && !contents_.ends;
  change();
  if (!wasEmpty) return;
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(wake_.get(), &one, sizeof one);
}

void LinkInbox::post(LinkCommand command) {
  change([&] { contents_.commands.push_back(std::move(command)); });
}

void LinkInbox::postClipboardResult(std::optional<client::ClientError> error) {
  change([&] { contents_.clipboardResults.push_back(std::move(error)); });
}

void LinkInbox::end() {
  change([&] { contents_.ends = true; });
}

LinkInbox::Contents LinkInbox::take() {
  const std::scoped_lock guard(lock_);
  std::uint64_t ignored = 0;
  [[maybe_unused]] const auto count = ::read(wake_.get(), &ignored, sizeof ignored);
  Contents taken{std::exchange(contents_.commands, {}), std::exchange(contents_.clipboardResults, {}),
                 contents_.ends};
  contents_.ends = false;
  return taken;
}

}  // namespace quorl::viewer
