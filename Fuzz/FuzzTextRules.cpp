// SPDX-License-Identifier: GPL-3.0-or-later
// Rules for texts of peers and users. The first byte chooses the rule.
#include <string>

#include <QuorlKit/Foundation/Base64.h>
#include <QuorlKit/Foundation/Check.h>
#include <QuorlKit/Foundation/TextTools.h>
#include <QuorlKit/Foundation/UTF8.h>
#include <QuorlKit/Foundation/UUID.h>
#include <QuorlKit/Models/AgentCatalogModels.h>
#include <QuorlKit/Models/AgentModels.h>

using namespace quorl;

namespace {

void tryUTF8(std::string_view text) {
  const std::string repaired = repairedUTF8(text);
  QUORL_CHECK(isValidUTF8(repaired), "repaired text is valid");
  QUORL_CHECK(isValidUTF8(text) == (repaired == text), "only valid text is unchanged");
}

void tryBase64(std::string_view text) {
  if (const auto data = base64Decoded(text))
    QUORL_CHECK(base64Encoded(*data) == text, "every value has one text");
  QUORL_CHECK(base64Decoded(base64Encoded(viewOf(text))) == bytesOf(text), "bytes decode to themselves");
}

void tryUUID(std::string_view text) {
  if (const auto id = UUID::parse(text))
    QUORL_CHECK(UUID::parse(id->text()) == id, "a UUID reads back as itself");
}

void tryLabel(std::string_view text) {
  const std::string label = AgentSpawnConfig::shortLabel(text);
  QUORL_CHECK(!label.empty(), "every command has a label");
  QUORL_CHECK(firstCharacters(label, 40).size() == label.size(), "no label is longer than 40 characters");
  QUORL_CHECK(!isValidUTF8(text) || isValidUTF8(label), "a label is cut between characters");
  static_cast<void>(inferAgentTool(text));
}

void tryURL(std::string_view text) {
  const std::string url = CustomService::normalizeURLInput(text);
  QUORL_CHECK(url.empty() == trimmedBlanks(text).empty(), "every input with content gives a URL");
  QUORL_CHECK(url.empty() || url.find("://") != std::string::npos, "a URL has a scheme");
  QUORL_CHECK(CustomService::normalizeURLInput(url) == url, "a URL stays as it is");
}

void tryPath(std::string_view text) {
  const std::string_view last = lastPathComponent(text);
  QUORL_CHECK(last == "/" || last.find('/') == std::string_view::npos, "a component has no slash inside");
  QUORL_CHECK(last.empty() == text.empty(), "every path has a last component");
  QUORL_CHECK(trimmedWhiteSpace(trimmedWhiteSpace(text)) == trimmedWhiteSpace(text),
              "trimmed text is trimmed");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view text = textViewOf(ByteView(data + 1, size - 1));
  switch (data[0] % 6) {
    case 0:
      tryUTF8(text);
      break;
    case 1:
      tryBase64(text);
      break;
    case 2:
      tryUUID(text);
      break;
    case 3:
      tryLabel(text);
      break;
    case 4:
      tryURL(text);
      break;
    default:
      tryPath(text);
      break;
  }
  return 0;
}
