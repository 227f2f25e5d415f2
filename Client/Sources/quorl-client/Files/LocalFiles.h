// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlUnix/Descriptor.h>
#include <quorl-client/Base/ClientError.h>

namespace quorl::client {

/// A regular file that is read from its beginning to its end.
///
/// *Queue*: one thread. *Blocking*: on the disk.
class LocalSource {
 public:
  /// Fails for anything but a regular file, without waiting for it.
  static Outcome<LocalSource> open(const std::filesystem::path& path);

  const std::filesystem::path& path() const { return path_; }
  /// When it was opened.
  std::uint64_t size() const { return size_; }
  /// Reads the next bytes, at most `limit`, into `bytes`, whose size becomes their number: 0 at the end.
  Outcome<void> read(Bytes& bytes, std::size_t limit);

 private:
  LocalSource(std::filesystem::path path, Descriptor file, std::uint64_t size);

  std::filesystem::path path_;
  Descriptor file_;
  std::uint64_t size_;
};

/// A file that is being received. It has a hidden name until it is kept; destruction before that removes it.
///
/// *Queue*: one thread. *Blocking*: on the disk.
class LocalTarget {
 public:
  enum class Existing : std::uint8_t { keep, replace };

  /// Fails with a text for the user if there is something at `path` and it is to be kept.
  static Outcome<void> check(const std::filesystem::path& path, Existing existing);
  /// Creates the hidden file beside `path`. With `Existing::keep`, fails if there is something at `path`.
  static Outcome<LocalTarget> create(std::filesystem::path path, Existing existing);
  LocalTarget(LocalTarget&& other) noexcept = default;
  LocalTarget& operator=(LocalTarget&&) = delete;
  ~LocalTarget();

  const std::filesystem::path& path() const { return path_; }
  Outcome<void> write(std::uint64_t offset, ByteView bytes);
  /// Gives it its name in one step. With `Existing::keep`, fails if the name was taken meanwhile.
  Outcome<void> keep();

 private:
  LocalTarget(std::filesystem::path path, Existing existing, Descriptor folder, Descriptor file,
              std::string hiddenName);

  std::filesystem::path path_;
  Existing existing_;
  Descriptor folder_;
  Descriptor file_;  // open until it is kept or removed
  std::string hiddenName_;
};

/// The name that a file from a host gets: without its slashes. Fails for names that are none (".", "..", an
/// empty one, one with a NUL).
Outcome<std::string> localName(const std::string& offered);

}  // namespace quorl::client
