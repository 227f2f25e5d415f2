// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <QuorlHostCore/Relay/HTTPRelay.h>
#include <Support/FakePlatform.h>
#include <Support/LogRecorder.h>

namespace quorl::test {

// The token has every character that a URL needs escaped.
inline const std::string standardToken = "ab+/cd+/efghijklmnopqrstuvwxyz0123456789ABC=";
inline const std::string urlToken = "ab-_cd-_efghijklmnopqrstuvwxyz0123456789ABC";
inline const std::string escapedToken = "ab%2B%2Fcd%2B%2Fefghijklmnopqrstuvwxyz0123456789ABC%3D";

inline TrustedDevice deviceWithToken(const std::string& token) {
  return {UUID{}, "tablet", token, Date{}};
}

/// A relay on fakes, with one trusted device and the port 8080 allowed.
class RelayFixture : public testing::Test {
 protected:
  explicit RelayFixture(bool isPaired = true) {
    if (isPaired) {
      trustStore_->addDevice(UUID{}, "tablet");
      token_ = urlFormOf(trustStore_->trustedDevices().front().tokenBase64);
    }
    platform_.network->setAnswer({"127.0.0.1", 8080}, FakeAnswer::accepts);
    relay_->start();
    simulation_.runReady();
  }

  static std::string urlFormOf(std::string text) {
    for (char& letter : text) letter = letter == '+' ? '-' : letter == '/' ? '_' : letter;
    std::erase(text, '=');
    return text;
  }

  std::shared_ptr<FakePeer> connect() {
    auto peer = platform_.network->connect(HTTPRelay::port);
    simulation_.runReady();
    return peer;
  }
  std::shared_ptr<FakePeer> connectAndSend(const std::string& text) {
    auto peer = connect();
    send(*peer, text);
    return peer;
  }
  void send(FakePeer& peer, const std::string& text) {
    peer.write(viewOf(text));
    simulation_.runReady();
  }
  std::string received(FakePeer& peer) {
    simulation_.runReady();
    return textOf(peer.takeBytes());
  }
  std::string authorized(const std::string& line, const std::string& headers = "") const {
    return line + " HTTP/1.1\r\nX-Quorl-Token: " + token_ + "\r\n" + headers + "\r\n";
  }
  FakePeer& backend() { return *platform_.network->opened.back().peer; }
  static std::string rejection(const std::string& status) {
    return "HTTP/1.1 " + status + "\r\nConnection: close\r\nContent-Length: 0\r\n\r\n";
  }

  LogRecorder log_;
  SimulatedScheduler simulation_;
  FakePlatform platform_{simulation_};
  std::string token_;
  std::set<std::uint16_t> allowed_{8080};
  int allowedReads_ = 0;
  std::shared_ptr<TrustStore> trustStore_ = std::make_shared<TrustStore>(platform_.platform(), std::nullopt);
  std::shared_ptr<HTTPRelay> relay_ = std::make_shared<HTTPRelay>(platform_.platform(), trustStore_, [this] {
    ++allowedReads_;
    return allowed_;
  });
};

}  // namespace quorl::test
