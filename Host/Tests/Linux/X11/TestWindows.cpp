// SPDX-License-Identifier: GPL-3.0-or-later
#include "TestWindows.h"

#include <unistd.h>
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Windows/X11AccessibleWindow.h>

namespace quorl::test {

namespace {

std::uint32_t atomOf(TestClient& client, const std::string& name) {
  auto* reply = xcb_intern_atom_reply(
      client.xcb(), xcb_intern_atom(client.xcb(), 0, static_cast<std::uint16_t>(name.size()), name.data()),
      nullptr);
  if (reply == nullptr) throw std::runtime_error("the display went away");
  const std::uint32_t atom = reply->atom;
  std::free(reply);
  return atom;
}

void change(TestClient& client, std::uint32_t window, const std::string& property, std::uint32_t type,
            const std::vector<std::uint32_t>& values) {
  xcb_change_property(client.xcb(), XCB_PROP_MODE_REPLACE, window, atomOf(client, property), type, 32,
                      static_cast<std::uint32_t>(values.size()), values.data());
  client.sync();
}

}  // namespace

void setNumbers(TestClient& client, std::uint32_t window, const std::string& property,
                const std::vector<std::uint32_t>& values) {
  change(client, window, property, XCB_ATOM_CARDINAL, values);
}

void setAtoms(TestClient& client, std::uint32_t window, const std::string& property,
              const std::vector<std::string>& names) {
  std::vector<std::uint32_t> atoms;
  for (const auto& name : names) atoms.push_back(atomOf(client, name));
  change(client, window, property, XCB_ATOM_ATOM, atoms);
}

void setText(TestClient& client, std::uint32_t window, const std::string& property, const std::string& text) {
  xcb_change_property(client.xcb(), XCB_PROP_MODE_REPLACE, window, atomOf(client, property),
                      atomOf(client, "UTF8_STRING"), 8, static_cast<std::uint32_t>(text.size()), text.data());
  client.sync();
}

void fixSize(TestClient& client, std::uint32_t window, PixelSize size) {
  constexpr std::uint32_t minimumAndMaximum = 1U << 4 | 1U << 5;
  std::vector<std::uint32_t> hints(18);
  hints[0] = minimumAndMaximum;
  hints[5] = hints[7] = static_cast<std::uint32_t>(size.width);
  hints[6] = hints[8] = static_cast<std::uint32_t>(size.height);
  change(client, window, "WM_NORMAL_HINTS", XCB_ATOM_WM_SIZE_HINTS, hints);
}

void removeDecoration(TestClient& client, std::uint32_t window) {
  constexpr std::uint32_t decorationsAreGiven = 2;
  change(client, window, "_MOTIF_WM_HINTS", atomOf(client, "_MOTIF_WM_HINTS"),
         {decorationsAreGiven, 0, 0, 0, 0});
}

void addState(TestClient& client, std::uint32_t window, const std::string& state,
              const std::string& secondState) {
  xcb_client_message_event_t event{};
  event.response_type = XCB_CLIENT_MESSAGE;
  event.format = 32;
  event.window = window;
  event.type = atomOf(client, "_NET_WM_STATE");
  event.data.data32[0] = 1;
  event.data.data32[1] = atomOf(client, state);
  event.data.data32[2] = secondState.empty() ? 0 : atomOf(client, secondState);
  event.data.data32[3] = 1;
  xcb_send_event(client.xcb(), 0, client.root(),
                 XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                 reinterpret_cast<const char*>(&event));
  client.sync();
}

namespace {

std::vector<std::string> openboxCommand(const XServer& server) {
  const std::string path = server.folder() + "/own-openbox.xml";
  std::ofstream(path) << "<openbox_config xmlns=\"http://openbox.org/3.4/rc\">"
                         "<theme><name>Clearlooks</name><animateIconify>no</animateIconify></theme>"
                         "<desktops><number>1</number></desktops></openbox_config>";
  return {"openbox", "--sm-disable", "--config-file", path};
}

}  // namespace

// openbox announces itself before it reads events, and misses windows that are mapped in between. It is ready
// once it has managed one.
Openbox::Openbox(const XServer& server) : program_(server.start(openboxCommand(server))) {
  const bool isReady = eventually(
      [&] {
        const HelperProgram probe = server.start({"xlogo"});
        return eventually(
            [&] {
              return server.run({"xprop", "-root", "_NET_ACTIVE_WINDOW"}).find("0x") != std::string::npos &&
                     server.run({"xprop", "-root", "_NET_CLIENT_LIST"}).find("0x") != std::string::npos;
            },
            std::chrono::seconds(2));
      },
      patience);
  if (!isReady) throw std::runtime_error("openbox did not start");
}

void Openbox::pause() const {
  ::kill(program_.pid(), SIGSTOP);
}

void Openbox::resume() const {
  ::kill(program_.pid(), SIGCONT);
}

std::vector<ListedWindow> WindowFixture::listWindows(WindowScope scope) {
  return control.windowList(scope).value_or(std::vector<ListedWindow>{});
}

std::optional<ListedWindow> WindowFixture::find(const std::string& title, WindowScope scope) {
  for (auto& window : listWindows(scope))
    if (window.title == title) return window;
  return std::nullopt;
}

std::optional<ListedWindow> WindowFixture::waitFor(const std::string& title) {
  std::optional<ListedWindow> found;
  eventuallyHolds([&] { return (found = find(title)) && found->isOnScreen; });
  return found;
}

std::uint32_t WindowFixture::makeWindow(const PixelRect& bounds, const std::string& title) {
  const auto window = client.makeWindow(bounds, TestClient::Managed::yes, title);
  EXPECT_TRUE(waitFor(title)) << title;
  return window;
}

WindowControl::Window WindowFixture::accessible(std::uint32_t window) {
  for (const auto& each : control.accessibleWindows(ownPid()))
    if (std::static_pointer_cast<X11AccessibleWindow>(each)->windowID() == window) return each;
  ADD_FAILURE() << "there is no accessible window " << window;
  return std::make_shared<X11AccessibleWindow>(session, window);
}

std::int32_t WindowFixture::ownPid() const {
  return ::getpid();
}

}  // namespace quorl::test
