// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Handover/HandOver.h>

#include <algorithm>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Handover/HandOverReader.h>
#include <QuorlHostCore/Text/TerminalText.h>
#include <QuorlKit/Protocol/Bytes.h>

namespace quorl::HandOverFormat {

namespace {

constexpr std::string_view magic = "QHHO";
// What hosts wrote before tabs had a status. It is still written where it says everything, so that what is
// read has one form only.
constexpr std::uint32_t versionWithoutStatus = 1;

// Bounds of what a host can have.
constexpr std::uint32_t maxSessions = 10'000;
constexpr std::uint32_t maxFailures = 1000;
constexpr std::size_t maxModes = 64U << 10;
constexpr std::size_t maxUnwritten = 64U << 20;
constexpr std::uint64_t maxAge = 1ULL << 62;

// Writing

template <class T, class Put>
void putOptional(ByteWriter& writer, const std::optional<T>& value, Put put) {
  writer.put(value.has_value());
  if (value) put(*value);
}

void putDuration(ByteWriter& writer, Duration value) {
  writer.put(static_cast<std::uint64_t>(std::max(value, Duration::zero()).count()));
}

template <class Enum>
void putEnum(ByteWriter& writer, Enum value) {
  writer.put(static_cast<std::uint8_t>(value));
}

void put(ByteWriter& writer, const PairingSnapshot& pairing) {
  writer.putString(pairing.pin);
  writer.put(static_cast<std::uint32_t>(pairing.recentFailures.size()));
  for (const Date& failure : pairing.recentFailures) writer.put(failure.secondsSince1970);
  putOptional(writer, pairing.lockedUntil, [&](const Date& date) { writer.put(date.secondsSince1970); });
}

void put(ByteWriter& writer, const AgentStatusMachine::Snapshot& status) {
  putEnum(writer, status.status);
  putDuration(writer, status.sinceCreation);
  putDuration(writer, status.sinceOutput);
  putDuration(writer, status.sinceTick);
  putOptional(writer, status.sinceAttention, [&](Duration value) { putDuration(writer, value); });
  writer.put(status.sawBell);
  writer.put(status.bellWasConsumed);
}

void put(ByteWriter& writer, const ReleasedTerminal& terminal) {
  writer.put(terminal.pid);
  writer.putBlob(viewOf(terminal.deviceName));
  writer.put(terminal.handle);
  writer.putBlob(terminal.unwritten);
}

void put(ByteWriter& writer, const AgentsSnapshot::Spawned& spawned) {
  const PTYSessionSnapshot& session = spawned.session;
  putEnum(writer, spawned.kind);
  writer.putBlob(viewOf(spawned.detail));
  writer.put(session.id);
  writer.putBlob(viewOf(session.displayName));
  writer.putBlob(viewOf(session.command));
  writer.putBlob(viewOf(session.workingDirectory));
  putEnum(writer, session.adapter);
  writer.putBlob(viewOf(session.ttyName));
  writer.put(session.pid);
  putOptional(writer, session.terminal, [&](const ReleasedTerminal& terminal) { put(writer, terminal); });
  putOptional(writer, session.exitCode, [&](std::int32_t code) { writer.put(code); });
  writer.putBlob(session.scrollback);
  writer.putBlob(session.modesAtBegin);
  writer.put(session.isAlternateScreen);
  writer.put(session.lastOutput.secondsSince1970);
  put(writer, session.status);
  putOptional(writer, session.killDelay, [&](Duration value) { putDuration(writer, value); });
}

std::uint32_t versionOf(const AgentsSnapshot& agents) {
  const auto hasStatus = [](const auto& adopted) { return adopted.status.has_value(); };
  return std::ranges::any_of(agents.adopted, hasStatus) ? version : versionWithoutStatus;
}

void put(ByteWriter& writer, const AgentsSnapshot::Adopted& adopted, std::uint32_t form) {
  const ExternalAgent& agent = adopted.agent;
  const auto putText = [&](const std::string& text) { writer.putBlob(viewOf(text)); };
  writer.put(agent.id);
  writer.put(agent.pid);
  putText(agent.command);
  putText(agent.name);
  putOptional(writer, agent.tty, putText);
  putEnum(writer, agent.terminal);
  writer.put(agent.adoptable);
  putOptional(writer, agent.cwd, putText);
  writer.put(adopted.startTime);
  if (form == versionWithoutStatus) return;
  putOptional(writer, adopted.status, [&](AgentStatus status) { putEnum(writer, status); });
}

// Reading

PairingSnapshot readPairing(HandOverReader& reader) {
  PairingSnapshot pairing;
  pairing.pin = reader.text();
  const std::uint32_t count = reader.count(maxFailures);
  for (std::uint32_t i = 0; i < count; ++i) pairing.recentFailures.push_back(reader.date());
  pairing.lockedUntil = reader.optional([&] { return reader.date(); });
  return pairing;
}

AgentStatusMachine::Snapshot readStatus(HandOverReader& reader) {
  AgentStatusMachine::Snapshot status;
  status.status = reader.enumerator(AgentStatus::error);
  status.sinceCreation = reader.duration(maxAge);
  status.sinceOutput = reader.duration(maxAge);
  status.sinceTick = reader.duration(maxAge);
  status.sinceAttention = reader.optional([&] { return reader.duration(maxAge); });
  status.sawBell = reader.boolean();
  status.bellWasConsumed = reader.boolean();
  return status;
}

ReleasedTerminal readTerminal(HandOverReader& reader) {
  ReleasedTerminal terminal;
  terminal.pid = reader.i32();
  terminal.deviceName = reader.text();
  terminal.handle = reader.i32();
  terminal.unwritten = reader.bytes(maxUnwritten);
  if (terminal.pid < 1 || terminal.handle < 0) reader.fail("a terminal without a process or a descriptor");
  return terminal;
}

AgentsSnapshot::Spawned readSpawned(HandOverReader& reader) {
  AgentsSnapshot::Spawned spawned;
  PTYSessionSnapshot& session = spawned.session;
  spawned.kind = reader.enumerator(AgentKind::externalTerminal);
  spawned.detail = reader.text();
  session.id = reader.uuid();
  session.displayName = reader.text();
  session.command = reader.text();
  session.workingDirectory = reader.text();
  session.adapter = reader.enumerator(AgentAdapter::generic);
  session.ttyName = reader.text();
  session.pid = reader.i32();
  session.terminal = reader.optional([&] { return readTerminal(reader); });
  session.exitCode = reader.optional([&] { return reader.i32(); });
  session.scrollback = reader.bytes(Scrollback::limit);
  session.modesAtBegin = reader.bytes(maxModes);
  session.isAlternateScreen = reader.boolean();
  session.lastOutput = reader.date();
  session.status = readStatus(reader);
  session.killDelay = reader.optional([&] { return reader.duration(maxAge); });
  if (session.terminal.has_value() == session.exitCode.has_value())
    reader.fail("a session that is neither alive nor ended");
  if ((session.status.status == AgentStatus::exited) != session.exitCode.has_value())
    reader.fail("a status that contradicts the process");
  return spawned;
}

AgentsSnapshot::Adopted readAdopted(HandOverReader& reader, std::uint32_t form) {
  AgentsSnapshot::Adopted adopted;
  ExternalAgent& agent = adopted.agent;
  agent.id = reader.uuid();
  agent.pid = reader.i32();
  agent.command = reader.text();
  agent.name = reader.text();
  agent.tty = reader.optional([&] { return reader.text(); });
  agent.terminal = reader.enumerator(TerminalKind::unknown);
  agent.adoptable = reader.boolean();
  agent.cwd = reader.optional([&] { return reader.text(); });
  adopted.startTime = reader.u64();
  if (form != versionWithoutStatus)
    adopted.status = reader.optional([&] { return reader.enumerator(AgentStatus::error); });
  return adopted;
}

void refuseTwins(HandOverReader& reader, const AgentsSnapshot& agents) {
  std::set<UUID> identities;
  std::set<std::int32_t> handles;
  for (const auto& one : agents.spawned) {
    const auto& terminal = one.session.terminal;
    if (!identities.insert(one.session.id).second || (terminal && !handles.insert(terminal->handle).second))
      reader.fail("an agent that occurs twice");
  }
  for (const auto& tab : agents.adopted)
    if (!identities.insert(tab.agent.id).second) reader.fail("a tab that occurs twice");
}

HandOver readBody(HandOverReader& reader, std::uint32_t form) {
  HandOver handOver;
  handOver.pairing = readPairing(reader);
  AgentsSnapshot& agents = handOver.agents;
  for (std::uint32_t left = reader.count(maxSessions); left > 0 && reader.isGood(); --left)
    agents.spawned.push_back(readSpawned(reader));
  for (std::uint32_t left = reader.count(maxSessions); left > 0 && reader.isGood(); --left)
    agents.adopted.push_back(readAdopted(reader, form));
  if (form != versionOf(agents)) reader.fail("a version without need");
  for (std::uint32_t left = reader.count(maxSessions); left > 0 && reader.isGood(); --left) {
    std::string bundle = reader.text();
    const UUID id = reader.uuid();
    if (!agents.guiAppIDs.empty() && bundle <= agents.guiAppIDs.rbegin()->first)
      reader.fail("applications out of order");
    agents.guiAppIDs.emplace(std::move(bundle), id);
  }
  refuseTwins(reader, agents);
  return handOver;
}

}  // namespace

Bytes encode(const HandOver& handOver) {
  ByteWriter body;
  put(body, handOver.pairing);
  body.put(static_cast<std::uint32_t>(handOver.agents.spawned.size()));
  for (const auto& spawned : handOver.agents.spawned) put(body, spawned);
  body.put(static_cast<std::uint32_t>(handOver.agents.adopted.size()));
  const std::uint32_t form = versionOf(handOver.agents);
  for (const auto& adopted : handOver.agents.adopted) put(body, adopted, form);
  body.put(static_cast<std::uint32_t>(handOver.agents.guiAppIDs.size()));
  for (const auto& [bundle, id] : handOver.agents.guiAppIDs) {
    body.putBlob(viewOf(bundle));
    body.put(id);
  }
  ByteWriter whole(body.data().size() + 16);
  whole.putBytes(viewOf(magic));
  whole.put(form);
  whole.put(static_cast<std::uint64_t>(body.data().size()));
  whole.putBytes(body.data());
  return whole.take();
}

std::expected<HandOver, std::string> decode(ByteView bytes) {
  if (bytes.size() > maxSize) return std::unexpected("too large");
  if (bytes.size() < magic.size() || textViewOf(bytes.first(magic.size())) != magic)
    return std::unexpected("not a hand-over");
  HandOverReader reader(bytes.subspan(magic.size()));
  const std::uint32_t found = reader.u32();
  if (reader.isGood() && found != version && found != versionWithoutStatus)
    return std::unexpected(fmt::format("version {} instead of {}", found, version));
  if (reader.u64() != reader.remaining()) reader.fail("another length than it says");
  HandOver handOver = readBody(reader, found);
  if (reader.remaining() > 0) reader.fail("bytes after the end");
  if (!reader.isGood()) return std::unexpected(reader.error());
  return handOver;
}

HandOver sample() {
  const UUID first{{1}};
  const UUID second{{2}};
  HandOver sample;
  sample.pairing = {.pin = "012345", .recentFailures = {Date{1.5}, Date{2}}, .lockedUntil = Date{3}};
  PTYSessionSnapshot live{
      .id = first,
      .displayName = "agent",
      .command = "agent --go",
      .workingDirectory = "~/work",
      .adapter = AgentAdapter::codex,
      .ttyName = "/dev/pts/1",
      .pid = 4001,
      .terminal =
          ReleasedTerminal{
              .pid = 4001, .deviceName = "/dev/pts/1", .handle = 1000, .unwritten = bytesOf("typed")},
      .exitCode = {},
      .scrollback = bytesOf("line\r\n\x1b[1mbold"),
      .modesAtBegin = bytesOf("\x1b[?2004h"),
      .isAlternateScreen = true,
      .lastOutput = Date{4.25},
      .status = {.status = AgentStatus::waitingInput,
                 .sinceCreation = Duration(40),
                 .sinceOutput = Duration(30),
                 .sinceTick = Duration(20),
                 .sinceAttention = Duration(10),
                 .sawBell = true,
                 .bellWasConsumed = true},
      .killDelay = Duration(5)};
  PTYSessionSnapshot ended = live;
  ended.id = second;
  ended.terminal.reset();
  ended.killDelay.reset();
  ended.exitCode = 256;
  ended.status = {.status = AgentStatus::exited};
  sample.agents.spawned = {{.session = live, .kind = AgentKind::pty, .detail = "agent --go — ~/work"},
                           {.session = ended, .kind = AgentKind::claudeCode, .detail = "session"}};
  sample.agents.adopted = {{.agent = {.id = UUID{{3}},
                                      .pid = 50,
                                      .command = "agent",
                                      .name = "Agent",
                                      .tty = "/dev/pts/5",
                                      .terminal = TerminalKind::iterm,
                                      .adoptable = true,
                                      .cwd = "/home"},
                            .startTime = 7,
                            .status = AgentStatus::waitingInput}};
  sample.agents.guiAppIDs = {{"com.example.agent", UUID{{4}}}};
  return sample;
}

}  // namespace quorl::HandOverFormat
