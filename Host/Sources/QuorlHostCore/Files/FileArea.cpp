// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Files/FileArea.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include <QuorlHostCore/Files/FileNames.h>

namespace quorl {

namespace {

std::vector<std::string> canonicalRoots(UserFiles& files) {
  std::vector<std::string> roots{files.homeDirectory()};
  std::ranges::move(files.volumeDirectories(), std::back_inserter(roots));
  roots.push_back(files.temporaryDirectory());
  for (std::string& root : roots) root = files.canonicalPath(root);
  // A root that has no path would hold every path.
  std::erase_if(roots, [](const std::string& root) { return !root.starts_with('/'); });
  return roots;
}

}  // namespace

FileArea::FileArea(std::shared_ptr<UserFiles> files) : files_(std::move(files)) {}

const FileArea::Places& FileArea::places() const {
  std::call_once(isDetermined_, [this] { places_ = {files_->homeDirectory(), canonicalRoots(*files_)}; });
  return places_;
}

std::string FileArea::expand(const std::string& requested) const {
  if (requested.empty()) return places().home;
  if (!requested.starts_with('~')) return requested;
  const auto slash = std::min(requested.find('/'), requested.size());
  const std::string user = requested.substr(1, slash - 1);
  const auto home = user.empty() ? std::optional(places().home) : files_->homeDirectoryOf(user);
  return home ? *home + requested.substr(slash) : requested;
}

bool FileArea::contains(const std::string& canonicalPath) const {
  return std::ranges::any_of(places().roots,
                             [&](const std::string& root) { return isWithin(canonicalPath, root); });
}

std::expected<std::unique_ptr<UserPlace>, FileArea::Refused> FileArea::find(const std::string& path) const {
  // The working folder of the process means nothing to a client.
  const std::string absolute = path.starts_with('/') ? path : "/" + path;
  auto place = files_->find(absolute);
  if (!contains(place ? (*place)->canonicalPath() : files_->canonicalPath(absolute)))
    return std::unexpected(Refused{Refusal::denied, {}});
  if (!place) return std::unexpected(Refused{Refusal::failed, place.error()});
  return std::move(*place);
}

}  // namespace quorl
