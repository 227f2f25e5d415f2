// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Session/FileDesk.h>

#include <utility>

#include <QuorlHostCore/Files/FileBrowser.h>
#include <QuorlHostCore/Files/FileTransfer.h>
#include <QuorlHostCore/Session/HostServices.h>

namespace quorl {

FileTransfer* FileDesk::transfer(const HostServices& services) {
  const Platform& platform = services.platform;
  if (isClosed_ || !platform.userFiles) return nullptr;
  if (!transfer_) {
    transfer_ = std::make_shared<FileTransfer>(*platform.scheduler, platform.userFiles, platform.random);
    transfer_->onRoom(whenRoom_);
  }
  return transfer_.get();
}

FileBrowser* FileDesk::browser(const HostServices& services) {
  if (!transfer(services) || !services.fileArea) return nullptr;
  if (!browser_) {
    browser_ = std::make_shared<FileBrowser>(*services.platform.scheduler, services.fileArea, transfer_);
    browser_->onRoom(whenRoom_);
  }
  return browser_.get();
}

void FileDesk::offer(const HostServices& services, FileOffer offer, std::weak_ptr<StreamOutputSink> sink) {
  if (FileTransfer* files = transfer(services)) files->handleOffer(std::move(offer), std::move(sink));
}

// Without a transfer there was no offer, so the chunk is of an unknown file.
void FileDesk::chunk(Bytes payload) {
  if (transfer_ && !isClosed_) transfer_->handleChunk(std::move(payload));
}

void FileDesk::done(FileDone done, std::weak_ptr<StreamOutputSink> sink) {
  if (transfer_ && !isClosed_) transfer_->handleDone(std::move(done), std::move(sink));
}

void FileDesk::requestDirectory(const HostServices& services, std::string path,
                                std::weak_ptr<StreamOutputSink> sink) {
  if (FileBrowser* files = browser(services)) files->requestDirectory(std::move(path), std::move(sink));
}

void FileDesk::requestFile(const HostServices& services, std::string path,
                           std::weak_ptr<StreamOutputSink> sink) {
  if (FileBrowser* files = browser(services)) files->requestFile(std::move(path), std::move(sink));
}

bool FileDesk::hasRoom() const {
  return (!transfer_ || transfer_->hasRoom()) && (!browser_ || browser_->hasRoom());
}

void FileDesk::close() {
  isClosed_ = true;
  if (transfer_) transfer_->abortAll();
}

}  // namespace quorl
