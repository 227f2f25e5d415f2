// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Files/FileBrowser.h>

#include <algorithm>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include <QuorlHostCore/Files/EntryOrder.h>
#include <QuorlHostCore/Files/FileNames.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

namespace {

RemoteFileEntry described(const UserPlace::Entry& entry, const std::string& folder) {
  RemoteFileEntry described{.name = repairedUTF8(entry.name),
                            .path = repairedUTF8(joinedPath(folder, entry.name)),
                            .isDirectory = entry.isDirectory,
                            .byteCount = entry.isDirectory ? 0 : entry.byteCount,
                            .modified = entry.modified,
                            .kind = std::nullopt};
  if (!entry.isDirectory)
    if (std::string extension = partsOf(described.name).extension; !extension.empty())
      described.kind = std::move(extension);
  return described;
}

}  // namespace

FileBrowser::FileBrowser(Scheduler& scheduler, std::shared_ptr<FileArea> area,
                         std::shared_ptr<FileTransfer> transfer)
    : queue_(scheduler, "quorl.browser", QueueRank::service),
      area_(std::move(area)),
      transfer_(std::move(transfer)) {}

void FileBrowser::requestDirectory(std::string path, std::weak_ptr<StreamOutputSink> sink) {
  add({Kind::directory, std::move(path), std::move(sink)});
}

void FileBrowser::requestFile(std::string path, std::weak_ptr<StreamOutputSink> sink) {
  add({Kind::file, std::move(path), std::move(sink)});
}

void FileBrowser::add(Request request) {
  waitingBytes_ += request.size();
  queue_.async([self = shared_from_this(), request = std::move(request)]() mutable {
    self->queue_.assertCurrent();
    self->waiting_.push_back(std::move(request));
    if (!self->isWaitingForLink_) self->answerNext();
  });
}

void FileBrowser::answerNext() {
  isWaitingForLink_ = false;
  while (!waiting_.empty()) {
    const auto sink = waiting_.front().sink.lock();
    const FileTurn turn = sink ? sink->admitFile([weak = weak_from_this()] {
      const auto self = weak.lock();
      if (!self) return;
      self->queue_.async([self] {
        self->queue_.assertCurrent();
        self->answerNext();
      });
    })
                               : FileTurn{.kind = FileTurn::Kind::ended};
    if (turn.kind == FileTurn::Kind::wait) {
      isWaitingForLink_ = true;
      return;
    }
    const Request request = std::move(waiting_.front());
    waiting_.pop_front();
    if (turn.kind == FileTurn::Kind::go) {
      queue_.scheduler().blocking([&] {
        if (request.kind == Kind::directory)
          sink->sendControl(message::DirectoryListing{listing(request.path)});
        else
          answerFile(request);
      });
    }
    answered(request.size());
  }
}

void FileBrowser::answered(std::size_t bytes) {
  constexpr std::size_t resumeAt = mostWaiting / 2;
  const std::size_t before = waitingBytes_.fetch_sub(bytes);
  if (before > resumeAt && before - bytes <= resumeAt && onRoom_) onRoom_();
}

DirectoryListing FileBrowser::listing(const std::string& requested) const {
  const std::string path = area_->expand(requested);
  DirectoryListing listing{
      .path = path, .parent = std::nullopt, .entries = {}, .error = std::nullopt, .requestedPath = requested};
  const std::string folder = standardisedPath(path);
  auto place = area_->find(path);
  const auto isDenied = [](const auto& found) {
    return !found && found.error().why == FileArea::Refusal::denied;
  };
  // Without "..", the path may lead elsewhere if it passes a link.
  if (!isDenied(place) && folder != path) place = area_->find(folder);
  if (isDenied(place)) {
    listing.error = fmt::format("Access denied: {} is outside the browsable area", path);
    return listing;
  }
  listing.path = folder;
  if (path != "/") listing.parent = parentPath(folder);
  if (place)
    list(**place, listing);
  else
    listing.error = fmt::format("Can't read {}: {}", folder, place.error().error.description);
  return listing;
}

void FileBrowser::list(UserPlace& place, DirectoryListing& listing) const {
  auto entries = place.entries(mostEntries);
  if (!entries) {
    listing.error = fmt::format("Can't read {}: {}", listing.path, entries.error().description);
    return;
  }
  for (UserPlace::Entry& entry : *entries) {
    // A link that stays inside the area is shown as what it leads to.
    if (entry.isLink)
      if (const auto target = area_->find(joinedPath(listing.path, entry.name))) {
        const std::string name = std::move(entry.name);
        entry = (*target)->facts();
        entry.name = name;
      }
    listing.entries.push_back(described(entry, listing.path));
  }
  sortEntries(listing.entries);
}

void FileBrowser::answerFile(const Request& request) {
  const std::string path = area_->expand(request.path);
  const auto refuse = [&](const char* code, const char* what) {
    if (const auto sink = request.sink.lock())
      sink->sendControl(message::Error{WireError{code, fmt::format("{}: {}", what, path)}});
  };
  auto place = area_->find(path);
  if (!place && place.error().why == FileArea::Refusal::denied) return refuse("file.denied", "access denied");
  if (!place || (*place)->kind() == UserPlace::Kind::directory)
    return refuse("file.notFound", "no such file");
  if (!(*place)->isReadable()) return refuse("file.unreadable", "not readable");
  transfer_->sendFile(path, std::move(*place), request.sink);
}

}  // namespace quorl
