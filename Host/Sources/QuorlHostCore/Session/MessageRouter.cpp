// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Session/MessageRouter.h>

#include <array>
#include <type_traits>
#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Agents/Registry/AgentRegistry.h>
#include <QuorlHostCore/Agents/Stores/AgentCatalog.h>
#include <QuorlHostCore/Agents/Stores/HostExtrasStore.h>
#include <QuorlHostCore/Clipboard/ClipboardSync.h>
#include <QuorlHostCore/HostState/HostStateProvider.h>
#include <QuorlHostCore/Network/NetworkStatusProvider.h>
#include <QuorlHostCore/Ports/MainThread.h>
#include <QuorlHostCore/Ports/Workspace.h>
#include <QuorlHostCore/Power/SystemControl.h>
#include <QuorlHostCore/Session/FileDesk.h>
#include <QuorlHostCore/Session/HostServices.h>
#include <QuorlHostCore/Session/InputRouter.h>
#include <QuorlHostCore/Session/StreamTable.h>
#include <QuorlHostCore/Session/UserRequests.h>
#include <QuorlHostCore/Sound/AudioStreamer.h>

namespace quorl {

namespace {

using Handler = void (*)(RoutedSession&, const ControlMessage&);
using Services = std::shared_ptr<HostServices>;

// One handler per message case, by the position of the case. Cases without a row are ignored.
class RoutingTable {
 public:
  template <class Case, class Function>
  consteval RoutingTable& on(Function) {
    handlers_[ControlMessage::indexOf<Case>()] = [](RoutedSession& session, const ControlMessage& message) {
      Function{}(session, std::get<Case>(message));
    };
    return *this;
  }

  void route(RoutedSession& session, const ControlMessage& message) const {
    if (const Handler handler = handlers_[message.index()]) handler(session, message);
  }

 private:
  std::array<Handler, std::variant_size_v<ControlMessageCases>> handlers_{};
};

void refuseHandshake(RoutedSession& session) {
  session.reply(message::Error{WireError{"auth.order", "already authenticated"}});
}

void startStream(RoutedSession& session, const StartStream& request) {
  // Nothing would stop a stream that is started after the end of the session.
  if (session.isClosed()) return;
  session.input().streamEnds(request.streamID);
  const auto started = session.streams().start(request, session.services()->makeStream, session.sink());
  if (started == StreamTable::Started::limitReached)
    session.reply(message::Error{WireError{
        "stream.limit", fmt::format("too many concurrent streams (max {})", StreamTable::maxStreams)}});
}

void launchApp(RoutedSession& session, const LaunchApp& request) {
  const Platform& platform = session.services()->platform;
  platform.mainThread->post([workspace = platform.workspace, identifier = request.identifier] {
    const auto path = identifier.starts_with('/') ? identifier : workspace->applicationPath(identifier);
    if (path) workspace->openApplication(*path);
  });
}

void findHostState(const Services& services, RoutedSession::Answer answer) {
  services->stateProvider->buildState(
      [answer = std::move(answer)](HostState state) { answer(message::HostState{std::move(state)}); });
}

void findNetworkStatus(const Services& services, RoutedSession::Answer answer) {
  services->network->snapshot([answer = std::move(answer)](NetworkStatus status) {
    answer(message::NetworkStatus{std::move(status)});
  });
}

void findClipboard(const Services& services, RoutedSession::Answer answer) {
  services->clipboard->currentPayload([answer = std::move(answer)](std::optional<ClipboardPayload> payload) {
    answer(payload ? std::optional<ControlMessage>(message::Clipboard{std::move(*payload)}) : std::nullopt);
  });
}

void controlAudio(RoutedSession& session, bool enabled) {
  const auto& audio = session.services()->audio;
  const auto sink = session.sink().lock();
  // Nothing would end a subscription that begins after the end of the session.
  if (!audio || !sink || session.isClosed()) return;
  if (enabled)
    audio->subscribe(sink);
  else
    audio->unsubscribe(sink, AudioStreamer::Acknowledge::yes);
}

void findAgentList(const Services& services, RoutedSession::Answer answer) {
  if (!services->agents) return answer(message::AgentList{});
  services->agents->currentList([answer = std::move(answer)](std::vector<AgentDescriptor> list) {
    answer(message::AgentList{std::move(list)});
  });
}

void findExternalAgents(const Services& services, RoutedSession::Answer answer) {
  services->agents->requestExternalAgents([answer = std::move(answer)](std::vector<ExternalAgent> list) {
    answer(message::ExternalAgentList{std::move(list)});
  });
}

// Runs `work` with the registry. Does nothing without a registry or after the end of the session.
template <class Work>
void withAgents(RoutedSession& session, Work work) {
  // Nothing would end a subscription that begins after the end of the session.
  if (const auto& agents = session.services()->agents; agents && !session.isClosed()) work(*agents);
}

// Broadcasts the services after a change of the user's own ones.
template <class Change>
void changeServices(RoutedSession& session, Change change) {
  HostServices& services = *session.services();
  if (!services.extras) return;
  change(*services.extras);
  if (services.broadcast) services.broadcast(message::ServiceList{services.serviceList()});
}

void setGUIAgentBundles(RoutedSession& session, const std::vector<std::string>& bundles) {
  withAgents(session, [&](AgentRegistry& agents) {
    agents.setGUIAgentBundles(bundles);
    const HostServices& services = *session.services();
    if (services.broadcast) services.broadcast(message::GUIAgentBundles{services.extras->guiAgentBundles()});
  });
}

consteval RoutingTable agentRoutes(RoutingTable table) {
  using Session = RoutedSession;
  return table
      .on<message::RequestAgentList>(
          [](Session& session, const auto&) { session.answer(Question::agentList, findAgentList); })
      .on<message::AgentCommand>([](Session& session, const message::AgentCommand& request) {
        withAgents(session, [&](AgentRegistry& agents) { agents.handle(request._0, session.sink().lock()); });
      })
      .on<message::RequestAgentCatalog>([](Session& session, const auto&) {
        if (const auto& catalog = session.services()->catalog)
          session.reply(message::AgentCatalog{catalog->all()});
      })
      .on<message::SaveAgentCatalogEntry>(
          [](Session& session, const message::SaveAgentCatalogEntry& request) {
            withAgents(session, [&](AgentRegistry& agents) {
              agents.broadcast(message::AgentCatalog{session.services()->catalog->upsert(request._0)});
            });
          })
      .on<message::DeleteAgentCatalogEntry>(
          [](Session& session, const message::DeleteAgentCatalogEntry& request) {
            withAgents(session, [&](AgentRegistry& agents) {
              agents.broadcast(message::AgentCatalog{session.services()->catalog->remove(request.id)});
            });
          })
      .on<message::LaunchCatalogEntry>([](Session& session, const message::LaunchCatalogEntry& request) {
        withAgents(session, [&](AgentRegistry& agents) { agents.launchCatalogEntry(request.id); });
      })
      .on<message::RequestExternalAgents>([](Session& session, const auto&) {
        withAgents(session,
                   [&](AgentRegistry&) { session.answer(Question::externalAgents, findExternalAgents); });
      })
      .on<message::AdoptExternalAgent>([](Session& session, const message::AdoptExternalAgent& request) {
        withAgents(session, [&](AgentRegistry& agents) { agents.adoptExternal(request.id); });
      })
      .on<message::SetGUIAgentBundles>([](Session& session, const message::SetGUIAgentBundles& request) {
        setGUIAgentBundles(session, request._0);
      })
      .on<message::RequestGUIAgentBundles>([](Session& session, const auto&) {
        if (const auto& extras = session.services()->extras)
          session.reply(message::GUIAgentBundles{extras->guiAgentBundles()});
      })
      .on<message::RequestServiceList>([](Session& session, const auto&) {
        session.reply(message::ServiceList{session.services()->serviceList()});
      })
      .on<message::AddCustomService>([](Session& session, const message::AddCustomService& request) {
        changeServices(session, [&](HostExtrasStore& extras) { extras.addService(request._0); });
      })
      .on<message::RemoveCustomService>([](Session& session, const message::RemoveCustomService& request) {
        changeServices(session, [&](HostExtrasStore& extras) { extras.removeService(request.id); });
      });
}

consteval RoutingTable sessionRoutes(RoutingTable table) {
  using Session = RoutedSession;
  return table.on<message::Hello>([](Session& session, const auto&) { refuseHandshake(session); })
      .on<message::PairRequest>([](Session& session, const auto&) { refuseHandshake(session); })
      .on<message::EchoRequest>([](Session& session, const message::EchoRequest& request) {
        session.noteProbe();
        session.reply(message::EchoReply{request._0});
      })
      .on<message::InsertText>([](Session& session, const message::InsertText& request) {
        session.input().insertText(request._0);
      })
      .on<message::LaunchApp>(
          [](Session& session, const message::LaunchApp& request) { launchApp(session, request._0); })
      .on<message::RequestHostState>(
          [](Session& session, const auto&) { session.answer(Question::hostState, findHostState); })
      .on<message::RequestNetworkStatus>([](Session& session, const auto&) {
        if (session.services()->network) session.answer(Question::networkStatus, findNetworkStatus);
      })
      .on<message::Bye>([](Session& session, const auto&) { session.end(); });
}

consteval RoutingTable streamRoutes(RoutingTable table) {
  using Session = RoutedSession;
  return table
      .on<message::StartStream>(
          [](Session& session, const message::StartStream& request) { startStream(session, request._0); })
      .on<message::StopStream>([](Session& session, const message::StopStream& request) {
        session.input().streamEnds(request.streamID);
        session.streams().stop(request.streamID);
      })
      .on<message::UpdateStream>([](Session& session, const message::UpdateStream& request) {
        if (auto* stream = session.streams().find(request._0.streamID)) stream->update(request._0.config);
      })
      .on<message::RequestKeyframe>([](Session& session, const message::RequestKeyframe& request) {
        if (auto* stream = session.streams().find(request.streamID)) stream->requestKeyframe();
      })
      .on<message::ScreenInfo>([](Session& session, const message::ScreenInfo& request) {
        if (auto* stream = session.streams().find(request.streamID))
          stream->updateAspect(request.pointsWide, request.pointsHigh);
      })
      .on<message::FitToScreen>([](Session& session, const message::FitToScreen& request) {
        if (auto* stream = session.streams().find(request.streamID)) stream->setAutoFit(request.enabled);
      })
      .on<message::WindowScale>([](Session& session, const message::WindowScale& request) {
        if (auto* stream = session.streams().find(request.streamID)) stream->setWindowScale(request.scale);
      })
      .on<message::VideoTransport>([](Session& session, const message::VideoTransport& request) {
        session.openVideoChannel(request.udpPort);
      });
}

consteval RoutingTable desktopRoutes(RoutingTable table) {
  using Session = RoutedSession;
  return table
      .on<message::AudioControl>([](Session& session, const message::AudioControl& request) {
        controlAudio(session, request.enabled);
      })
      .on<message::Clipboard>([](Session& session, const message::Clipboard& request) {
        if (const auto& clipboard = session.services()->clipboard) clipboard->apply(request._0);
      })
      .on<message::RequestClipboard>([](Session& session, const auto&) {
        if (session.services()->clipboard) session.answer(Question::clipboard, findClipboard);
      });
}

consteval RoutingTable machineRoutes(RoutingTable table) {
  using Session = RoutedSession;
  return table
      .on<message::SystemCommand>([](Session& session, const message::SystemCommand& request) {
        session.services()->system->handle(request._0);
      })
      .on<message::RequestUserList>(
          [](Session& session, const auto&) { session.answer(Question::userList, findUserList); })
      .on<message::SwitchUser>(
          [](Session& session, const message::SwitchUser& request) { switchUser(session, request._0); })
      .on<message::UnlockSession>([](Session& session, const message::UnlockSession& request) {
        unlockSession(session, request.password);
      })
      .on<message::VerifyCredentials>([](Session& session, const message::VerifyCredentials& request) {
        verifyCredentials(session, request._0);
      });
}

consteval RoutingTable fileRoutes(RoutingTable table) {
  using Session = RoutedSession;
  return table
      .on<message::FileOffer>([](Session& session, const message::FileOffer& request) {
        session.files().offer(*session.services(), request._0, session.sink());
      })
      .on<message::FileDone>([](Session& session, const message::FileDone& request) {
        session.files().done(request._0, session.sink());
      })
      .on<message::RequestDirectory>([](Session& session, const message::RequestDirectory& request) {
        session.files().requestDirectory(*session.services(), request.path, session.sink());
      })
      .on<message::RequestFile>([](Session& session, const message::RequestFile& request) {
        session.files().requestFile(*session.services(), request.path, session.sink());
      });
}

constexpr RoutingTable routes =
    fileRoutes(machineRoutes(agentRoutes(desktopRoutes(streamRoutes(sessionRoutes(RoutingTable{}))))));

}  // namespace

void routeMessage(RoutedSession& session, const ControlMessage& message) {
  routes.route(session, message);
}

}  // namespace quorl
