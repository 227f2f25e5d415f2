// SPDX-License-Identifier: GPL-3.0-or-later
#include <filesystem>
#include <fstream>

#include <fmt/format.h>

#include <QuorlKit/Foundation/UTF8.h>
#include <QuorlUnix/AtomicFile.h>
#include <quorl-client/Base/Printable.h>
#include <quorl-client/Commands/AgentExchange.h>
#include <quorl-client/Commands/CommandContext.h>

namespace quorl::client {
namespace {

/// What a host takes.
constexpr std::size_t maxImage = 5'242'880;
constexpr std::size_t maxText = 16 << 20;
/// An empty clipboard gets no answer. Content that exists may come after later answers, because the program
/// that owns it is asked first.
constexpr auto patience = std::chrono::seconds(3);

bool isPNG(std::string_view bytes) {
  return bytes.starts_with("\x89PNG\r\n\x1A\n");
}

Outcome<std::string> readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string content(maxText + 1, '\0');
  file.read(content.data(), static_cast<std::streamsize>(content.size()));
  if (!file.is_open() || file.bad())
    return failed(ExitCode::usage, path + " cannot be read", "Check that the file exists and is readable.");
  content.resize(static_cast<std::size_t>(file.gcount()));
  return content;
}

Outcome<ClipboardContent> contentOf(std::string bytes) {
  if (isPNG(bytes)) {
    if (bytes.size() > maxImage)
      return failed(ExitCode::usage,
                    fmt::format("the picture has {} bytes; the limit is {}", bytes.size(), maxImage));
    return clipboardContent::Image{bytesOf(bytes)};
  }
  if (bytes.size() > maxText) return failed(ExitCode::usage, "the text is longer than 16 MiB");
  if (!isValidUTF8(bytes))
    return failed(ExitCode::usage, "this is neither a PNG picture nor UTF-8 text",
                  "Convert other pictures to PNG first.");
  return clipboardContent::Text{std::move(bytes)};
}

Outcome<std::string> givenContent(const Arguments& arguments, CommandContext& context) {
  const auto& words = arguments.positional();
  const auto file = arguments.text("--file");
  if (words.size() == 2 && file)
    return failed(ExitCode::usage, "give the content as an argument or with --file, not both");
  if (file && *file != "-") return readFile(*file);
  if (words.size() == 2 && words[1] != "-") return words[1];
  return readInput(context, maxText, "the content is longer than 16 MiB");
}

Outcome<void> runSet(const Arguments& arguments, CommandContext& context) {
  auto bytes = givenContent(arguments, context);
  if (!bytes) return std::unexpected(bytes.error());
  auto content = contentOf(std::move(*bytes));
  if (!content) return std::unexpected(content.error());
  const auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  if (auto sent = (*session)->send(ControlMessage(message::Clipboard{{std::move(*content)}})); !sent)
    return sent;
  auto settled = settle(**session, *deadline);
  if (settled) closeSession(**session);
  return settled;
}

Outcome<void> save(const std::filesystem::path& path, ByteView bytes) {
  const auto written = writeFileAtomically(path.string(), bytes, FileAccess::byUmask);
  return written ? Outcome<void>() : cannotWrite(path, written.error().message());
}

Outcome<void> printContent(const ClipboardContent& content, const std::optional<std::string>& path,
                           Output& output) {
  const auto* text = std::get_if<clipboardContent::Text>(&content);
  const auto* image = std::get_if<clipboardContent::Image>(&content);
  if (path) return save(*path, text != nullptr ? viewOf(text->_0) : ByteView(image->_0));
  if (text != nullptr && output.isTerminal()) {
    output.line(printable(text->_0));
  } else if (text != nullptr) {
    output.bytes(text->_0);
  } else if (output.isTerminal()) {
    return failed(ExitCode::usage, "the clipboard holds a picture, which a terminal cannot show",
                  "Name a file: quorl_client clipboard get picture.png");
  } else {
    output.bytes(textViewOf(image->_0));
  }
  return {};
}

Outcome<std::optional<ClipboardContent>> requestContent(Session& session, Deadline deadline) {
  constexpr std::uint32_t sequence = 0xC11B;
  if (auto sent = session.send(ControlMessage(message::RequestClipboard{})); !sent)
    return std::unexpected(sent.error());
  if (auto sent = session.send(ControlMessage(message::EchoRequest{{.seq = sequence}})); !sent)
    return std::unexpected(sent.error());
  bool isRead = false;
  for (auto end = deadline;;) {
    const auto received = session.nextControl(end);
    if (!received) return std::unexpected(received.error());
    if (!*received && isRead) return std::nullopt;
    if (!*received) return failed(ExitCode::timedOut, "the host did not answer in time");
    if (const auto* clipboard = std::get_if<message::Clipboard>(&**received)) return clipboard->_0.content;
    const auto* echo = std::get_if<message::EchoReply>(&**received);
    if (echo == nullptr || echo->_0.seq != sequence) continue;
    isRead = true;
    end = std::min(end, within(patience));
  }
}

Outcome<void> runGet(const Arguments& arguments, CommandContext& context) {
  const auto session = openSession(arguments, context);
  if (!session) return std::unexpected(session.error());
  const auto deadline = answerDeadline(arguments);
  if (!deadline) return std::unexpected(deadline.error());
  const auto content = requestContent(**session, *deadline);
  if (!content) return std::unexpected(content.error());
  closeSession(**session);
  if (!*content)
    return failed(ExitCode::failure, "the host's clipboard is empty or holds nothing that can be sent",
                  "Text and pictures up to 5 MiB can.");
  const auto& words = arguments.positional();
  return printContent(**content, words.size() == 2 ? std::optional(words[1]) : std::nullopt, context.output);
}

Outcome<void> runFollow(const Arguments& arguments, CommandContext& context) {
  const auto folder = arguments.text("--pictures");
  int number = 0;
  const auto followed = followMessages(arguments, context, [&](const ControlMessage& message) {
    const auto* clipboard = std::get_if<message::Clipboard>(&message);
    if (clipboard == nullptr) return;
    if (const auto* text = std::get_if<clipboardContent::Text>(&clipboard->_0.content)) {
      context.output.line(context.output.isTerminal() ? printable(text->_0) : text->_0);
      return;
    }
    const Bytes& png = std::get<clipboardContent::Image>(clipboard->_0.content)._0;
    if (!folder) return context.output.note(fmt::format("a picture of {} bytes", png.size()));
    const auto path = std::filesystem::path(*folder) / fmt::format("clipboard-{}.png", ++number);
    if (const auto saved = save(path, png); !saved)
      context.output.note("quorl_client: " + saved.error().what);
    else
      context.output.line(path.string());
  });
  return followed;
}

Outcome<void> runClipboard(const Arguments& arguments, CommandContext& context) {
  const auto& words = arguments.positional();
  if (words.empty() && arguments.has("--follow")) return runFollow(arguments, context);
  if (arguments.has("--follow")) return failed(ExitCode::usage, "--follow takes no get or set");
  if (words.empty()) return failed(ExitCode::usage, "say get, set or --follow");
  if (words[0] == "get") return runGet(arguments, context);
  if (words[0] == "set") return runSet(arguments, context);
  return failed(ExitCode::usage, fmt::format("'{}' is neither get nor set", words[0]));
}

}  // namespace

std::vector<Command> clipboardCommands() {
  std::vector<Command> commands;
  commands.push_back(
      {.name = "clipboard",
       .arguments = "get [FILE] | set [TEXT] | --follow",
       .summary = "read, set or follow a host's clipboard: text and PNG pictures",
       .details = "get writes the content to FILE or to standard output; a picture needs a FILE or a pipe.\n"
                  "set takes a TEXT, a --file or standard input; a file or input that is a PNG becomes a\n"
                  "picture, of at most 5 MiB. --follow prints what is copied on the host from now on.\n",
       .options = {{"--file", "FILE", "set: the content; '-' is standard input"},
                   {"--follow", "", "print every change until interrupted"},
                   {"--pictures", "FOLDER", "--follow: save pictures as FOLDER/clipboard-1.png and so on"}},
       .minimumPositional = 0,
       .maximumPositional = 2,
       .examples = {"clipboard get", "clipboard get picture.png", "clipboard set 'Hello, world'",
                    "clipboard set --file picture.png", "clipboard set < note.txt",
                    "clipboard --follow --pictures /tmp"},
       .run = runClipboard});
  return commands;
}

}  // namespace quorl::client
