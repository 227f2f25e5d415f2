// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/UserFiles.h>

namespace quorl::test {

/// A file system in memory, with folders, links and files of other kinds.
///
/// *Queue*: the simulation's one thread. *Lifetime*: what it returns shares its content.
class FakeUserFiles final : public UserFiles {
 public:
  struct Node {
    UserPlace::Kind kind = UserPlace::Kind::file;
    Bytes content;
    std::string target;  // of a link; else empty
    bool isReadable = true;
    Date modified;
  };
  /// By path. Folders without a node exist too if something is below them.
  using Nodes = std::map<std::string, Node>;

  FakeUserFiles();

  void addFile(const std::string& path, const std::string& text);
  void addFolder(const std::string& path) { (*nodes)[path].kind = UserPlace::Kind::directory; }
  void addLink(const std::string& path, const std::string& target) { (*nodes)[path].target = target; }
  /// The content of a file; nothing if there is none.
  std::optional<std::string> text(const std::string& path) const;
  std::vector<std::string> namesIn(const std::string& folder) const;

  std::string homeDirectory() override { return "/home/anna"; }
  std::optional<std::string> homeDirectoryOf(const std::string& userName) override;
  std::vector<std::string> volumeDirectories() override { return {"/media"}; }
  std::string temporaryDirectory() override { return temporary; }
  std::optional<std::string> downloadsDirectory() override { return downloads; }
  std::string canonicalPath(const std::string& path) override;
  std::expected<std::unique_ptr<UserPlace>, PortError> find(const std::string& path) override;
  std::expected<bool, PortError> isTaken(const std::string& folder, const std::string& name) override;
  std::expected<std::unique_ptr<IncomingFile>, PortError> create(const std::string& folder) override;

  std::shared_ptr<Nodes> nodes = std::make_shared<Nodes>();
  std::optional<std::string> downloads;
  std::string temporary = "/tmp";  // empty: it has no canonical path
  std::optional<PortError> createError;
  std::optional<PortError> readError;  // of files that are open for reading
  /// Writes fail once this many bytes are stored in arriving files.
  std::shared_ptr<std::size_t> room = std::make_shared<std::size_t>(SIZE_MAX);
  /// Runs before a file is kept, as another program might act at that moment.
  std::shared_ptr<std::function<void()>> beforeKeep = std::make_shared<std::function<void()>>();
  /// Runs before an arriving file is read.
  std::shared_ptr<std::function<void()>> beforeRead = std::make_shared<std::function<void()>>();
  std::shared_ptr<std::size_t> secondPasses = std::make_shared<std::size_t>(0);  // reads of arriving files
  std::shared_ptr<std::size_t> open = std::make_shared<std::size_t>(0);          // open files
  std::size_t rootQuestions = 0;
};

}  // namespace quorl::test
