// SPDX-License-Identifier: GPL-3.0-or-later
#include <Support/FakeUserFiles.h>

#include <algorithm>

namespace quorl::test {
namespace {

using Kind = UserPlace::Kind;

std::string above(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == 0 ? "/" : path.substr(0, slash);
}

bool exists(const FakeUserFiles::Nodes& nodes, const std::string& path) {
  if (path == "/" || nodes.contains(path)) return true;
  const auto below = nodes.lower_bound(path + "/");
  return below != nodes.end() && below->first.starts_with(path + "/");
}

std::size_t copyOf(const Bytes& content, std::uint64_t offset, std::span<std::uint8_t> into) {
  if (offset >= content.size()) return 0;
  const std::size_t count = std::min(into.size(), content.size() - static_cast<std::size_t>(offset));
  std::copy_n(content.begin() + static_cast<std::ptrdiff_t>(offset), count, into.begin());
  return count;
}

class OpenCount {
 public:
  explicit OpenCount(std::shared_ptr<std::size_t> count) : count_(std::move(count)) { ++*count_; }
  OpenCount(const OpenCount&) = delete;
  OpenCount& operator=(const OpenCount&) = delete;
  ~OpenCount() { --*count_; }

 private:
  std::shared_ptr<std::size_t> count_;
};

class FakeOutgoing final : public OutgoingFile {
 public:
  FakeOutgoing(Bytes content, std::optional<PortError> error, std::shared_ptr<std::size_t> count)
      : content_(std::move(content)), error_(std::move(error)), open_(std::move(count)) {}
  std::uint64_t size() const override { return content_.size(); }
  std::expected<std::size_t, PortError> read(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
    if (error_ && offset > 0) return std::unexpected(*error_);
    return copyOf(content_, offset, bytes);
  }

 private:
  const Bytes content_;
  const std::optional<PortError> error_;
  OpenCount open_;
};

class FakePlace final : public UserPlace {
 public:
  FakePlace(const FakeUserFiles& files, std::string path) : nodes_(files.nodes), path_(std::move(path)) {
    if (const auto node = nodes_->find(path_); node != nodes_->end())
      node_ = node->second;
    else
      node_.kind = Kind::directory;
    error_ = files.readError;
    open_ = files.open;
  }
  const std::string& canonicalPath() const override { return path_; }
  Kind kind() const override { return node_.kind; }
  Entry facts() const override { return described({}, node_); }
  bool isReadable() const override { return node_.isReadable; }
  std::expected<std::unique_ptr<OutgoingFile>, PortError> openForReading() override {
    if (kind() != Kind::file) return std::unexpected(PortError{"Not a regular file"});
    return std::make_unique<FakeOutgoing>(node_.content, error_, open_);
  }
  std::expected<std::vector<Entry>, PortError> entries(std::size_t limit) override {
    if (kind() != Kind::directory) return std::unexpected(PortError{"Not a directory"});
    if (!node_.isReadable) return std::unexpected(PortError{"Permission denied"});
    std::vector<Entry> found;
    for (const auto& [path, node] : *nodes_)
      if (above(path) == path_ && path != "/" && found.size() < limit)
        found.push_back(described(path.substr(path.rfind('/') + 1), node));
    std::ranges::reverse(found);  // a folder has no order
    return found;
  }

 private:
  static Entry described(std::string name, const FakeUserFiles::Node& node) {
    return {.name = std::move(name),
            .isDirectory = node.kind == Kind::directory,
            .isLink = !node.target.empty(),
            .byteCount = node.target.empty() ? node.content.size() : node.target.size(),
            .modified = node.modified};
  }

  std::shared_ptr<FakeUserFiles::Nodes> nodes_;
  const std::string path_;
  FakeUserFiles::Node node_;
  std::optional<PortError> error_;
  std::shared_ptr<std::size_t> open_;
};

class FakeIncoming final : public IncomingFile {
 public:
  FakeIncoming(const FakeUserFiles& files, std::string folder)
      : nodes_(files.nodes),
        room_(files.room),
        beforeKeep_(files.beforeKeep),
        beforeRead_(files.beforeRead),
        secondPasses_(files.secondPasses),
        folder_(std::move(folder)),
        open_(files.open) {}
  std::expected<void, PortError> write(std::uint64_t offset, ByteView bytes) override {
    if (*room_ < bytes.size()) return std::unexpected(PortError{"No space left on device"});
    if (bytes.empty()) return {};  // does not extend a file
    *room_ -= bytes.size();
    content_.resize(std::max<std::size_t>(content_.size(), offset + bytes.size()));
    std::ranges::copy(bytes, content_.begin() + static_cast<std::ptrdiff_t>(offset));
    return {};
  }
  std::expected<std::size_t, PortError> read(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
    if (*beforeRead_) (*beforeRead_)();
    ++*secondPasses_;
    return copyOf(content_, offset, bytes);
  }
  std::expected<Kept, PortError> keep(const std::string& name) override {
    if (*beforeKeep_) (*beforeKeep_)();
    const std::string path = folder_ + "/" + name;
    if (exists(*nodes_, path)) return Kept::nameIsTaken;
    (*nodes_)[path].content = content_;
    return Kept::yes;
  }

 private:
  std::shared_ptr<FakeUserFiles::Nodes> nodes_;
  std::shared_ptr<std::size_t> room_;
  std::shared_ptr<std::function<void()>> beforeKeep_;
  std::shared_ptr<std::function<void()>> beforeRead_;
  std::shared_ptr<std::size_t> secondPasses_;
  const std::string folder_;
  OpenCount open_;
  Bytes content_;
};

}  // namespace

FakeUserFiles::FakeUserFiles() {
  for (const char* folder : {"/home/anna", "/home/anna/Downloads", "/media", "/tmp", "/etc"})
    addFolder(folder);
}

void FakeUserFiles::addFile(const std::string& path, const std::string& text) {
  (*nodes)[path].content = bytesOf(text);
}

std::optional<std::string> FakeUserFiles::text(const std::string& path) const {
  const auto node = nodes->find(path);
  if (node == nodes->end() || node->second.kind != Kind::file) return std::nullopt;
  return textOf(node->second.content);
}

std::vector<std::string> FakeUserFiles::namesIn(const std::string& folder) const {
  std::vector<std::string> names;
  for (const auto& [path, node] : *nodes)
    if (above(path) == folder) names.push_back(path.substr(folder.size() + 1));
  return names;
}

std::optional<std::string> FakeUserFiles::homeDirectoryOf(const std::string& userName) {
  if (userName == "anna" || userName == "bert") return "/home/" + userName;
  return std::nullopt;
}

std::string FakeUserFiles::canonicalPath(const std::string& path) {
  if (path == "/home/anna") ++rootQuestions;
  if (path.empty()) return {};
  std::string resolved;
  for (std::size_t start = 1; start <= path.size();) {
    const std::size_t end = std::min(path.find('/', start), path.size());
    const std::string part = path.substr(start, end - start);
    start = end + 1;
    if (part == "..") resolved = above(resolved.empty() ? "/" : resolved) == "/" ? "" : above(resolved);
    if (part.empty() || part == "." || part == "..") continue;
    resolved += "/" + part;
    const auto node = nodes->find(resolved);
    if (node != nodes->end() && !node->second.target.empty()) resolved = canonicalPath(node->second.target);
    if (resolved == "/") resolved.clear();
  }
  return resolved.empty() ? "/" : resolved;
}

std::expected<std::unique_ptr<UserPlace>, PortError> FakeUserFiles::find(const std::string& path) {
  std::string canonical = canonicalPath(path);
  if (!exists(*nodes, canonical)) return std::unexpected(PortError{"No such file or directory"});
  return std::make_unique<FakePlace>(*this, std::move(canonical));
}

std::expected<bool, PortError> FakeUserFiles::isTaken(const std::string& folder, const std::string& name) {
  if (name.size() > 255) return std::unexpected(PortError{"File name too long"});
  if (name.empty() || name == "." || name == "..") return true;
  return exists(*nodes, folder + "/" + name);
}

std::expected<std::unique_ptr<IncomingFile>, PortError> FakeUserFiles::create(const std::string& folder) {
  if (createError) return std::unexpected(*createError);
  return std::make_unique<FakeIncoming>(*this, folder);
}

}  // namespace quorl::test
