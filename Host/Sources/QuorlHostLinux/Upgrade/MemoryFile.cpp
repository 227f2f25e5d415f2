// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Upgrade/MemoryFile.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace quorl {

namespace {

constexpr int seals = F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;
// Above the standard streams and the number that a trial uses.
constexpr int firstDescriptor = 10;

bool writeAll(int file, ByteView bytes) {
  while (!bytes.empty()) {
    const auto written = ::write(file, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

Descriptor sealedMemoryFile(ByteView bytes) {
  const Descriptor low(::memfd_create("quorl-handover", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  if (!low.isOpen()) return {};
  Descriptor file(::fcntl(low.get(), F_DUPFD_CLOEXEC, firstDescriptor));
  if (!file.isOpen() || !writeAll(file.get(), bytes)) return {};
  if (::fcntl(file.get(), F_ADD_SEALS, seals) != 0) return {};
  return file;
}

// Read from the start, whatever the file's position is: a trial shares it.
std::optional<Bytes> readSealedMemoryFile(int descriptor, std::size_t most) {
  struct stat facts{};
  if (::fcntl(descriptor, F_GET_SEALS) != seals || ::fstat(descriptor, &facts) != 0) return std::nullopt;
  const auto size = static_cast<std::size_t>(facts.st_size);
  if (size > most) return std::nullopt;
  Bytes bytes(size);
  std::size_t done = 0;
  while (done < size) {
    const auto count = ::pread(descriptor, bytes.data() + done, size - done, static_cast<off_t>(done));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return std::nullopt;
    done += static_cast<std::size_t>(count);
  }
  return bytes;
}

}  // namespace quorl
