// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Record.h>
#include <QuorlKit/Foundation/TaggedUnion.h>
#include <QuorlKit/Foundation/UUID.h>
#include <QuorlKit/Models/AgentCatalogModels.h>
#include <QuorlKit/Models/AgentModels.h>
#include <QuorlKit/Models/Models.h>
#include <QuorlKit/Models/NetworkModels.h>
#include <QuorlKit/Models/UserModels.h>
#include <QuorlKit/Protocol/CodingError.h>
#include <QuorlKit/Protocol/Handshake.h>

namespace quorl {

/// The cases of a ControlMessage, in declared order. C: from the client to the host; H: from the host.
namespace message {

using Hello = UnlabelledCase<"hello", quorl::Hello>;                          // C
using HelloAck = UnlabelledCase<"helloAck", quorl::HelloAck>;                 // H
using PairRequest = UnlabelledCase<"pairRequest", quorl::PairRequest>;        // C
using PairResponse = UnlabelledCase<"pairResponse", quorl::PairResponse>;     // H
using RequestHostState = PlainCase<"requestHostState">;                       // C
using HostState = UnlabelledCase<"hostState", quorl::HostState>;              // H
using Metrics = UnlabelledCase<"metrics", SystemMetrics>;                     // H
using RequestNetworkStatus = PlainCase<"requestNetworkStatus">;               // C
using NetworkStatus = UnlabelledCase<"networkStatus", quorl::NetworkStatus>;  // H
using EchoRequest = UnlabelledCase<"echoRequest", EchoProbe>;                 // C
using EchoReply = UnlabelledCase<"echoReply", EchoProbe>;                     // H
using StartStream = UnlabelledCase<"startStream", quorl::StartStream>;        // C
using StreamStarted = UnlabelledCase<"streamStarted", quorl::StreamStarted>;  // H

// C
struct StopStream {
  static constexpr std::string_view key = "stopStream";
  std::uint32_t streamID = 0;

  bool operator==(const StopStream&) const = default;
};
BOOST_DESCRIBE_STRUCT(StopStream, (), (streamID))

using UpdateStream = UnlabelledCase<"updateStream", quorl::UpdateStream>;  // C

// C
struct RequestKeyframe {
  static constexpr std::string_view key = "requestKeyframe";
  std::uint32_t streamID = 0;

  bool operator==(const RequestKeyframe&) const = default;
};
BOOST_DESCRIBE_STRUCT(RequestKeyframe, (), (streamID))

// C
struct ScreenInfo {
  static constexpr std::string_view key = "screenInfo";
  std::uint32_t streamID = 0;
  double pointsWide = 0;
  double pointsHigh = 0;

  bool operator==(const ScreenInfo&) const = default;
};
BOOST_DESCRIBE_STRUCT(ScreenInfo, (), (streamID, pointsWide, pointsHigh))

// C
struct FitToScreen {
  static constexpr std::string_view key = "fitToScreen";
  std::uint32_t streamID = 0;
  bool enabled = false;

  bool operator==(const FitToScreen&) const = default;
};
BOOST_DESCRIBE_STRUCT(FitToScreen, (), (streamID, enabled))

// H
struct FitState {
  static constexpr std::string_view key = "fitState";
  std::uint32_t streamID = 0;
  bool fitted = false;

  bool operator==(const FitState&) const = default;
};
BOOST_DESCRIBE_STRUCT(FitState, (), (streamID, fitted))

// C
struct WindowScale {
  static constexpr std::string_view key = "windowScale";
  std::uint32_t streamID = 0;
  double scale = 0;

  bool operator==(const WindowScale&) const = default;
};
BOOST_DESCRIBE_STRUCT(WindowScale, (), (streamID, scale))

// C H
struct AudioControl {
  static constexpr std::string_view key = "audioControl";
  bool enabled = false;

  bool operator==(const AudioControl&) const = default;
};
BOOST_DESCRIBE_STRUCT(AudioControl, (), (enabled))

using AudioConfig = UnlabelledCase<"audioConfig", quorl::AudioConfig>;                     // H
using InsertText = UnlabelledCase<"insertText", std::string>;                              // C
using Clipboard = UnlabelledCase<"clipboard", ClipboardPayload>;                           // C H
using RequestClipboard = PlainCase<"requestClipboard">;                                    // C
using LaunchApp = UnlabelledCase<"launchApp", quorl::LaunchApp>;                           // C
using RequestAgentList = PlainCase<"requestAgentList">;                                    // C
using AgentList = UnlabelledCase<"agentList", std::vector<AgentDescriptor>>;               // H
using AgentEvent = UnlabelledCase<"agentEvent", quorl::AgentEvent>;                        // H
using AgentCommand = UnlabelledCase<"agentCommand", quorl::AgentCommand>;                  // C
using RequestServiceList = PlainCase<"requestServiceList">;                                // C
using ServiceList = UnlabelledCase<"serviceList", std::vector<ServiceDescriptor>>;         // H
using RequestAgentCatalog = PlainCase<"requestAgentCatalog">;                              // C
using AgentCatalog = UnlabelledCase<"agentCatalog", std::vector<AgentCatalogEntry>>;       // H
using SaveAgentCatalogEntry = UnlabelledCase<"saveAgentCatalogEntry", AgentCatalogEntry>;  // C

// C
struct DeleteAgentCatalogEntry {
  static constexpr std::string_view key = "deleteAgentCatalogEntry";
  UUID id;

  bool operator==(const DeleteAgentCatalogEntry&) const = default;
};
BOOST_DESCRIBE_STRUCT(DeleteAgentCatalogEntry, (), (id))

// C
struct LaunchCatalogEntry {
  static constexpr std::string_view key = "launchCatalogEntry";
  UUID id;

  bool operator==(const LaunchCatalogEntry&) const = default;
};
BOOST_DESCRIBE_STRUCT(LaunchCatalogEntry, (), (id))

using RequestExternalAgents = PlainCase<"requestExternalAgents">;                           // C
using ExternalAgentList = UnlabelledCase<"externalAgentList", std::vector<ExternalAgent>>;  // H

// C
struct AdoptExternalAgent {
  static constexpr std::string_view key = "adoptExternalAgent";
  UUID id;

  bool operator==(const AdoptExternalAgent&) const = default;
};
BOOST_DESCRIBE_STRUCT(AdoptExternalAgent, (), (id))

using AddCustomService = UnlabelledCase<"addCustomService", CustomService>;  // C

// C
struct RemoveCustomService {
  static constexpr std::string_view key = "removeCustomService";
  UUID id;

  bool operator==(const RemoveCustomService&) const = default;
};
BOOST_DESCRIBE_STRUCT(RemoveCustomService, (), (id))

using SetGUIAgentBundles = UnlabelledCase<"setGUIAgentBundles", std::vector<std::string>>;  // C
using RequestGUIAgentBundles = PlainCase<"requestGUIAgentBundles">;                         // C
using GUIAgentBundles = UnlabelledCase<"guiAgentBundles", std::vector<std::string>>;        // H
using FileOffer = UnlabelledCase<"fileOffer", quorl::FileOffer>;                            // C H
using FileAccept = UnlabelledCase<"fileAccept", quorl::FileAccept>;                         // H
using FileDone = UnlabelledCase<"fileDone", quorl::FileDone>;                               // C H

// C
struct RequestDirectory {
  static constexpr std::string_view key = "requestDirectory";
  std::string path;

  bool operator==(const RequestDirectory&) const = default;
};
BOOST_DESCRIBE_STRUCT(RequestDirectory, (), (path))

using DirectoryListing = UnlabelledCase<"directoryListing", quorl::DirectoryListing>;  // H

// C
struct RequestFile {
  static constexpr std::string_view key = "requestFile";
  std::string path;

  bool operator==(const RequestFile&) const = default;
};
BOOST_DESCRIBE_STRUCT(RequestFile, (), (path))

// C
struct VideoTransport {
  static constexpr std::string_view key = "videoTransport";
  std::uint16_t udpPort = 0;

  bool operator==(const VideoTransport&) const = default;
};
BOOST_DESCRIBE_STRUCT(VideoTransport, (), (udpPort))

// H
struct SessionClosed {
  static constexpr std::string_view key = "sessionClosed";
  std::string reason;

  bool operator==(const SessionClosed&) const = default;
};
BOOST_DESCRIBE_STRUCT(SessionClosed, (), (reason))

using SystemCommand = UnlabelledCase<"systemCommand", quorl::SystemCommand>;           // C
using RequestUserList = PlainCase<"requestUserList">;                                  // C
using UserList = UnlabelledCase<"userList", std::vector<UserAccount>>;                 // H
using SwitchUser = UnlabelledCase<"switchUser", SwitchUserRequest>;                    // C
using UserSwitchResult = UnlabelledCase<"userSwitchResult", quorl::UserSwitchResult>;  // H

// C
struct UnlockSession {
  static constexpr std::string_view key = "unlockSession";
  SecretText password;

  bool operator==(const UnlockSession&) const = default;
};
BOOST_DESCRIBE_STRUCT(UnlockSession, (), (password))

using VerifyCredentials = UnlabelledCase<"verifyCredentials", CredentialCheck>;      // C
using CredentialResult = UnlabelledCase<"credentialResult", CredentialCheckResult>;  // H
using Error = UnlabelledCase<"error", WireError>;                                    // H
using Bye = PlainCase<"bye">;                                                        // C H

}  // namespace message

using ControlMessageCases =
    std::variant<message::Hello, message::HelloAck, message::PairRequest, message::PairResponse,
                 message::RequestHostState, message::HostState, message::Metrics,
                 message::RequestNetworkStatus, message::NetworkStatus, message::EchoRequest,
                 message::EchoReply, message::StartStream, message::StreamStarted, message::StopStream,
                 message::UpdateStream, message::RequestKeyframe, message::ScreenInfo, message::FitToScreen,
                 message::FitState, message::WindowScale, message::AudioControl, message::AudioConfig,
                 message::InsertText, message::Clipboard, message::RequestClipboard, message::LaunchApp,
                 message::RequestAgentList, message::AgentList, message::AgentEvent, message::AgentCommand,
                 message::RequestServiceList, message::ServiceList, message::RequestAgentCatalog,
                 message::AgentCatalog, message::SaveAgentCatalogEntry, message::DeleteAgentCatalogEntry,
                 message::LaunchCatalogEntry, message::RequestExternalAgents, message::ExternalAgentList,
                 message::AdoptExternalAgent, message::AddCustomService, message::RemoveCustomService,
                 message::SetGUIAgentBundles, message::RequestGUIAgentBundles, message::GUIAgentBundles,
                 message::FileOffer, message::FileAccept, message::FileDone, message::RequestDirectory,
                 message::DirectoryListing, message::RequestFile, message::VideoTransport,
                 message::SessionClosed, message::SystemCommand, message::RequestUserList, message::UserList,
                 message::SwitchUser, message::UserSwitchResult, message::UnlockSession,
                 message::VerifyCredentials, message::CredentialResult, message::Error, message::Bye>;

template <class Case>
concept ControlMessageCase = []<class... Known>(std::variant<Known...>*) {
  return (std::is_same_v<Case, Known> || ...);
}(static_cast<ControlMessageCases*>(nullptr));

/// One control message: the variant of its cases, for `std::get_if` and `std::visit`. Copy, move, comparison
/// and destruction are compiled once, in ControlMessage.cpp: instantiating them for 63 cases takes half a
/// minute.
class ControlMessage : public ControlMessageCases {
 public:
  ControlMessage();
  ControlMessage(const ControlMessage& other);
  ControlMessage(ControlMessage&& other) noexcept;
  ControlMessage& operator=(const ControlMessage& other);
  ControlMessage& operator=(ControlMessage&& other) noexcept;
  ~ControlMessage();

  template <ControlMessageCase Case>
  ControlMessage(Case message) : ControlMessage(indexOf<Case>(), &message) {}

  /// The value of `index` for this case.
  template <ControlMessageCase Case>
  static consteval std::size_t indexOf() {
    return []<class... Known>(std::variant<Known...>*) {
      std::size_t index = 0;
      static_cast<void>(((std::is_same_v<Case, Known> || (++index, false)) || ...));
      return index;
    }(static_cast<ControlMessageCases*>(nullptr));
  }

  friend bool operator==(const ControlMessage& left, const ControlMessage& right) {
    return left.equals(right);
  }

 private:
  // `message` is the case of that index; it is moved from.
  ControlMessage(std::size_t index, void* message);
  bool equals(const ControlMessage& other) const;
};

/// Whether the message holds a `SecretText`, so that its bytes should be overwritten after use.
bool holdsSecret(const ControlMessage& message);

/// The JSON (RFC 8259) of control messages, in both directions:
///
/// - One object with exactly one known key, the case's name; its value is an object with the payload's keys.
///   Unknown keys are ignored there and in records. No known key, or more than one, fails with "Invalid
///   number of keys found, expected one.".
/// - Integers must be whole and in the range of their type; 1.0 decodes to 1. A number too large for a
///   double fails; one too small decodes to zero. A number that is not finite cannot be encoded.
/// - Bytes are Base64, UUIDs upper-case text, dates seconds since 1970, rectangles [[x,y],[width,height]].
/// - If a key occurs twice, both values must fit the field, and the last one counts.
/// - Input that is not UTF-8, an unpaired surrogate, a byte order mark or more than
///   `JsonReader::maxDepth` levels fail. Text that is not UTF-8 is encoded with U+FFFD in place of the bad
///   bytes.
///
/// Decoding accepts any input and takes time linear in its length. No state, any thread.
namespace ControlCoder {

std::expected<Bytes, CodingError> encode(const ControlMessage& message);
std::expected<ControlMessage, CodingError> decode(ByteView json);
/// The key of the case that `decode` would return, or its failure. It allocates no more than one escaped text
/// or one Base64 field at a time, while decoding a list of 32 MiB can take ten times its size.
std::expected<std::string_view, CodingError> judge(ByteView json);

}  // namespace ControlCoder

}  // namespace quorl
