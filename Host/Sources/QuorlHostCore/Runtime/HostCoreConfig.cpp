// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Runtime/HostCoreConfig.h>

#include <QuorlKit/WireProtocol.h>

namespace quorl {

const HostCoreConfig HostCoreConfig::menuBar{
    .port = WireProtocol::defaultPort,
    .fixedPIN = std::nullopt,
    .trustStoreDirectory = std::nullopt,
    .advertiseBonjour = true,
    .enableRelay = true,
    .enableBackgroundServices = true,
    .multiUserPortHandoff = true,
    .enableTerminalBridge = true,
};

}  // namespace quorl
