// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Link/HostLink.h>

#include <utility>

#include <quorl-viewer/Link/LinkWorker.h>

namespace quorl::viewer {

HostLink::HostLink(LinkSettings settings, LinkListener& listener) : inbox_(std::make_unique<LinkInbox>()) {
  thread_ = std::thread([this, settings = std::move(settings), &listener]() mutable {
    LinkWorker(std::move(settings), listener, *inbox_, waits_).run();
  });
}

HostLink::~HostLink() {
  end();
}

void HostLink::end() {
  if (!thread_.joinable()) return;
  inbox_->end();
  thread_.join();
}

void HostLink::post(LinkCommand command) {
  inbox_->post(std::move(command));
}

}  // namespace quorl::viewer
