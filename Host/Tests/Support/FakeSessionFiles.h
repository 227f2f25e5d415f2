// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/SessionFiles.h>

namespace quorl::test {

/// A tree of files in memory with the home "/home/ada". Folders exist while they contain files; entries are
/// listed by name. Each write changes the file's identity.
class FakeSessionFiles final : public SessionFiles {
 public:
  void write(const std::string& path, std::string text, Date modified = Date{1000});
  void makeDirectory(const std::string& path);
  /// Adds an entry that is neither a file nor a folder.
  void makeOther(const std::string& path) { others_.insert(path); }
  void remove(const std::string& path) { files_.erase(path); }
  /// Makes reads of this file fail.
  void lock(const std::string& path) { locked_.insert(path); }

  int reads = 0;

  std::string homeDirectory() override { return "/home/ada"; }
  std::expected<std::vector<Entry>, PortError> list(const std::string& directory) override;
  bool exists(const std::string& path) override;
  bool isDirectory(const std::string& path) override;
  std::expected<Bytes, PortError> read(const std::string& path, std::uint64_t offset,
                                       std::size_t length) override;
  std::string canonicalPath(const std::string& path) override { return path; }

 private:
  struct File {
    std::string text;
    Date modified;
    std::uint64_t id = 0;
  };

  std::optional<Entry> entryAt(const std::string& path) const;

  std::map<std::string, File> files_;
  std::set<std::string> directories_;
  std::set<std::string> others_;
  std::set<std::string> locked_;
  std::uint64_t lastID_ = 0;
};

}  // namespace quorl::test
