// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include <QuorlHostCore/Files/FileArea.h>
#include <QuorlHostCore/Files/FileNames.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <Support/FakeUserFiles.h>

namespace {

using namespace quorl;
using quorl::test::FakeUserFiles;

void require(bool holds) {
  if (!holds) std::abort();
}

bool isPlain(const std::string& path) {
  return path == "/" ||
         (path.starts_with('/') && !path.ends_with('/') && (path + "/").find("/../") == std::string::npos &&
          (path + "/").find("/./") == std::string::npos && path.find("//") == std::string::npos);
}

bool isInside(const std::string& path) {
  return isWithin(path, "/home/anna") || isWithin(path, "/media") || isWithin(path, "/tmp");
}

void checkNames(const std::string& text) {
  const NameParts parts = partsOf(text);
  require((parts.extension.empty() ? parts.stem : parts.stem + "." + parts.extension) == text);
  const auto name = dedupedName(
      text, [&](const std::string& candidate) { return candidate == text; }, [] { return UUID{}; });
  require(name && name->find('/') == std::string::npos && *name != ".." && *name != ".");
  const std::string plain = standardisedPath(text);
  require(isPlain(plain) && standardisedPath(plain) == plain);
  require(isPlain(parentPath(plain)));
}

}  // namespace

// The input is the target of a link, and after the first NUL the path that a client asks for.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = textOf({data, size});
  const auto cut = std::min(text.find('\0'), text.size());
  const std::string target = text.substr(0, cut);
  const std::string path = text.substr(std::min(cut + 1, text.size()));
  checkNames(path);

  const auto files = std::make_shared<FakeUserFiles>();
  files->addFile("/home/anna/file", "inside");
  files->addFile("/etc/passwd", "outside");
  files->addLink("/home/anna/out", "/etc");
  files->addLink("/home/anna/up", "/home");
  // A link in a circle would never end in memory; the system ends it after forty.
  if (target.starts_with('/') && target.find("link") == std::string::npos)
    files->addLink("/media/link", target);
  const FileArea area(files);
  for (const std::string& asked : {path, "~/" + path, "/media/link/" + path, "/home/anna/out/" + path}) {
    const auto place = area.find(area.expand(asked));
    if (place) require(isInside((*place)->canonicalPath()));
    if (!place && place.error().why == FileArea::Refusal::failed)
      require(isInside(files->canonicalPath(area.expand(asked).starts_with('/') ? area.expand(asked)
                                                                                : "/" + area.expand(asked))));
  }
  return 0;
}
